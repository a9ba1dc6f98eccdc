#include "platform/sdk/Commands.h"
#include "platform/sdk/Pcap.h"

#include "sdk/Trace.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>

/// Packet captures of the APDUs.
class tst_Trace : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void everyApduIsInTheFile();
    void everyPartOfALongAnswerIsThere();
    void packetsAreThereAtOnce();
    void apduWithoutAnAnswerIsNotThere();
    void longestApduFits();
    void nextFileTakesOver();
    void shutDownEndsTheFile();
    void fileOfTheEnvironmentGoesOn();
    void environmentIsReadOnce();
    void fileThatCannotBeWritten_data();
    void fileThatCannotBeWritten();
    void pipeThatNobodyReadsHoldsNothingUp();
    void fullDiskIsToldOnce();
    void environmentThatCannotBeWrittenIsTold();

private:
    QString path(const char *name) const { return m_folder.filePath(name); }
    QStringList payloads(const QString &file);

    QTemporaryDir m_folder;
    std::shared_ptr<Script> m_script;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

bool trace(const QString &path)
{
    std::string error;
    return sdk::setTraceFile(QFile::encodeName(path).toStdString(), &error) && error.empty();
}

/// No file of this process may grow beyond `bytes`, as long as this lives.
class SizeLimit
{
public:
    explicit SizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    SizeLimit(const SizeLimit &) = delete;
    SizeLimit &operator=(const SizeLimit &) = delete;

private:
    rlimit m_before = {};
    void (*m_handler)(int);
};

} // namespace

void tst_Trace::initTestCase()
{
    QVERIFY(m_folder.isValid());
    // The library reads it when the first device comes, once for the whole process.
    qputenv("STK_TRACE", QFile::encodeName(path("environment.pcap")));
}

void tst_Trace::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Trace::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

QStringList tst_Trace::payloads(const QString &file)
{
    QString error;
    QStringList all;
    for (const pcap::Packet &packet : pcap::read(file, &error))
        all.append(packet.payload);
    return error.isEmpty() ? all : QStringList{error};
}

void tst_Trace::everyApduIsInTheFile()
{
    const QString file = path("session.pcap");
    QVERIFY(trace(file));
    const qint64 before = QDateTime::currentMSecsSinceEpoch() * 1000;
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    const qint64 after = (QDateTime::currentMSecsSinceEpoch() + 1) * 1000;
    const QString menu = QString(vectors::setUpMenu).remove(' ');
    QCOMPARE(payloads(file), (QStringList{
                                 QString(vectors::terminalProfile) + "911E",
                                 vectors::fetchSetUpMenu + menu + "9000",
                                 QString(vectors::setUpMenuDone) + "9000",
                                 QString(vectors::chooseNews) + "9000",
                             }));
    QString error;
    qint64 last = before;
    for (const pcap::Packet &packet : pcap::read(file, &error)) {
        QVERIFY2(packet.microseconds >= last && packet.microseconds <= after,
                 qPrintable(QString::number(packet.microseconds - before)));
        last = packet.microseconds;
    }
    QVERIFY(events::notes().isEmpty());
}

void tst_Trace::everyPartOfALongAnswerIsThere()
{
    const QString file = path("parts.pcap");
    QVERIFY(trace(file));
    m_script = std::make_shared<Script>();
    m_script->answers("6C05").answers("6102").answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(payloads(file), (QStringList{QString(vectors::terminalProfile) + "6C05",
                                          QString(vectors::terminalProfile) + "056102", "00C00000029000"}));
}

void tst_Trace::packetsAreThereAtOnce()
{
    const QString file = path("atonce.pcap");
    QVERIFY(trace(file));
    QCOMPARE(payloads(file), QStringList());
    m_script = commands::open(commands::displayText, 1);
    QVERIFY(m_script);
    QCOMPARE(payloads(file).size(), 5);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(payloads(file).size(), 6);
}

void tst_Trace::apduWithoutAnAnswerIsNotThere()
{
    const QString file = path("gone.pcap");
    QVERIFY(trace(file));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->vanishes();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(payloads(file).size(), 3);
}

void tst_Trace::longestApduFits()
{
    const QString file = path("longest.pcap");
    std::string error;
    const auto trace = sdk::TraceFile::create(QFile::encodeName(file).toStdString(), &error);
    QVERIFY(trace);
    const cat::Bytes command(5 + 255, 0x80);
    const cat::Bytes answer(256 + 2, 0x90);
    QVERIFY(trace->add(std::chrono::system_clock::time_point(), command, answer, &error));
    QCOMPARE(payloads(file), QStringList{QString("80").repeated(260) + QString("90").repeated(258)});
}

void tst_Trace::nextFileTakesOver()
{
    QVERIFY(trace(path("first.pcap")));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QVERIFY(trace(path("second.pcap")));
    m_script->answers("9000", 2);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(trace(QString()));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::count("STK 99") == 2; }));
    QCOMPARE(payloads(path("first.pcap")).size(), 3);
    QCOMPARE(payloads(path("second.pcap")), QStringList{QString(vectors::chooseNews) + "9000"});
}

void tst_Trace::shutDownEndsTheFile()
{
    QVERIFY(trace(path("ended.pcap")));
    sdk::shutDown();
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(payloads(path("ended.pcap")), QStringList());
}

void tst_Trace::fileOfTheEnvironmentGoesOn()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    const int before = payloads(path("environment.pcap")).size();
    QVERIFY(before >= 3);
    sdk::shutDown();
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(payloads(path("environment.pcap")).size(), before + 3);
}

void tst_Trace::environmentIsReadOnce()
{
    const QByteArray before = qgetenv("STK_TRACE");
    qputenv("STK_TRACE", QFile::encodeName(path("once.pcap")));
    sdk::Trace trace;
    std::string error;
    QVERIFY(trace.openFromEnvironment(&error));
    QVERIFY(trace.add({}, {0x80}, {0x90, 0x00}, &error));
    QVERIFY(trace.openFromEnvironment(&error));
    qputenv("STK_TRACE", "");
    sdk::Trace none;
    QVERIFY(none.openFromEnvironment(&error));
    QVERIFY(none.add({}, {0x80}, {0x90, 0x00}, &error));
    qputenv("STK_TRACE", before);
    QCOMPARE(payloads(path("once.pcap")), QStringList{"809000"});
}

void tst_Trace::fileThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");
    QTest::newRow("folder is missing") << path("missing/trace.pcap") << "No such file or directory";
    QTest::newRow("is a folder") << path(".") << "Is a directory";
    QTest::newRow("is a device") << "/dev/null"
                                 << "not a regular file";
}

void tst_Trace::fileThatCannotBeWritten()
{
    QFETCH(QString, file);
    QFETCH(QString, reason);
    QVERIFY(trace(path("good.pcap")));
    std::string error;
    QVERIFY(!sdk::setTraceFile(QFile::encodeName(file).toStdString(), &error));
    QCOMPARE(QString::fromStdString(error), "cannot write the trace " + file + ": " + reason);
    // The session does not mind; and nothing goes to the file of before.
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(payloads(path("good.pcap")), QStringList());
    QVERIFY(events::notes().isEmpty());
}

void tst_Trace::pipeThatNobodyReadsHoldsNothingUp()
{
    const QByteArray pipe = QFile::encodeName(path("pipe"));
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    std::string error;
    QVERIFY(!sdk::setTraceFile(pipe.toStdString(), &error));
    QVERIFY(!error.empty());
}

void tst_Trace::fullDiskIsToldOnce()
{
    const QString file = path("full.pcap");
    QVERIFY(trace(file));
    {
        const SizeLimit limit(24 + 100 + 50); // one packet fits, half of another
        m_script = vectors::attachWithMenu();
    }
    QVERIFY(m_script);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QStringList notes = events::notes();
    QCOMPARE(notes.filter(file), QStringList{"cannot write the trace " + file + ": File too large; it ends here"});
    // What is in it can be read.
    QCOMPARE(payloads(file), QStringList{QString(vectors::terminalProfile) + "911E"});
}

void tst_Trace::environmentThatCannotBeWrittenIsTold()
{
    const QByteArray before = qgetenv("STK_TRACE");
    qputenv("STK_TRACE", QFile::encodeName(path("missing/trace.pcap")));
    sdk::Trace trace;
    std::string error;
    QVERIFY(!trace.openFromEnvironment(&error));
    QVERIFY(trace.openFromEnvironment(&error)); // told once
    qputenv("STK_TRACE", before);
    QCOMPARE(QString::fromStdString(error),
             "cannot write the trace " + path("missing/trace.pcap") + ": No such file or directory");
}

QTEST_GUILESS_MAIN(tst_Trace)
#include "tst_Trace.moc"
