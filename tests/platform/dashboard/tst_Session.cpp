#include "dashboard/Session.h"

#include "platform/dashboard/ReaderDouble.h"
#include "sdk/MDSVStk.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QThread>

using namespace dashboard;

class tst_Session : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void attachedCardInstallsItsMenu();
    void detachedDeviceHasNoMenu();
    void detachWithoutDeviceDoesNothing();
    void brokenProfileIsRefused_data();
    void brokenProfileIsRefused();
    void brokenProfileLeavesTheDeviceAsItWas();
    void hostEntriesAreAdded();
    void entriesComeOnTheUserInterfaceThread();
    void canEndAtAnyTime();
    void idleTextIsTheCards();
    void idleTextGoesWithTheDevice();
    void turnsAreTold();
    void turnsThatComeLateAreDropped();
    void readerMayBeEmpty();
    void traceIsWritten();
    void traceThatCannotBeWrittenIsRefused();
    void limitsReachTheLibrary();
    void unattendedLimitReachesTheLibrary();

private:
    QString write(const QString &name, const QByteArray &content) const;

    QTemporaryDir m_folder;
    Options m_options;
};

QString tst_Session::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName() : QString();
}

void tst_Session::initTestCase()
{
    m_options.card = write("card.yaml", "name: Test\nmenu:\n  title: Test menu\n  items:\n    - text: One\n");
    QVERIFY(!m_options.card.isEmpty());
}

void tst_Session::attachedCardInstallsItsMenu()
{
    Session session(m_options);
    QSignalSpy attached(&session, &Session::attachedChanged);
    QStringList lines;
    connect(&session, &Session::entryAdded, [&lines](const SessionEntry &entry) { lines << toLine(entry); });
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QVERIFY(session.isAttached());
    QCOMPARE(attached.count(), 1);
    QCOMPARE(attached.at(0).at(0).toBool(), true);
    QTRY_COMPARE(session.menuTitle(), QString("Test menu"));
    QTRY_VERIFY(lines.filter("card asks: SET UP MENU").size() == 1);
    QTRY_VERIFY(lines.filter("answer: SET UP MENU").size() == 1);
    QVERIFY(lines.value(0).startsWith("host: attaches the virtual card"));
}

void tst_Session::detachedDeviceHasNoMenu()
{
    Session session(m_options);
    QString error;
    QVERIFY(session.attach(&error));
    QTRY_VERIFY(!session.menuTitle().isEmpty());
    QSignalSpy attached(&session, &Session::attachedChanged);
    session.detach();
    QVERIFY(!session.isAttached());
    QVERIFY(session.menuTitle().isEmpty());
    QCOMPARE(attached.count(), 1);
    QCOMPARE(attached.at(0).at(0).toBool(), false);
    QVERIFY(session.attach(&error));
    QTRY_COMPARE(session.menuTitle(), QString("Test menu"));
}

void tst_Session::detachWithoutDeviceDoesNothing()
{
    Session session(m_options);
    QSignalSpy attached(&session, &Session::attachedChanged);
    QSignalSpy entries(&session, &Session::entryAdded);
    session.detach();
    QCoreApplication::processEvents();
    QCOMPARE(attached.count(), 0);
    QCOMPARE(entries.count(), 0);
}

void tst_Session::brokenProfileIsRefused_data()
{
    QTest::addColumn<QString>("file");

    QTest::newRow("no file") << m_folder.filePath("missing.yaml");
    QTest::newRow("folder") << m_folder.path();
    QTest::newRow("empty file") << write("empty.yaml", "");
    QTest::newRow("no YAML") << write("text.yaml", "menu: [\n");
    QTest::newRow("no profile") << write("other.yaml", "colour: blue\n");
}

void tst_Session::brokenProfileIsRefused()
{
    QFETCH(QString, file);
    Options options = m_options;
    options.card = file;
    Session session(options);
    QString error;
    QVERIFY(!session.attach(&error));
    QVERIFY2(error.startsWith(file + ":"), qPrintable(error));
    QVERIFY(!session.isAttached());
}

void tst_Session::brokenProfileLeavesTheDeviceAsItWas()
{
    Options options = m_options;
    options.card = write("changing.yaml", "name: A\nmenu:\n  title: First\n  items:\n    - text: One\n");
    Session session(options);
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QTRY_COMPARE(session.menuTitle(), QString("First"));
    write("changing.yaml", "menu: [\n");
    QVERIFY(!session.attach(&error));
    QVERIFY(session.isAttached());
    QCOMPARE(session.menuTitle(), QString("First"));
}

void tst_Session::hostEntriesAreAdded()
{
    Session session(m_options);
    QString line;
    connect(&session, &Session::entryAdded, [&line](const SessionEntry &entry) { line = toLine(entry); });
    session.addHostEntry("does something");
    QTRY_COMPARE(line, QString("host: does something"));
}

void tst_Session::entriesComeOnTheUserInterfaceThread()
{
    Session session(m_options);
    int elsewhere = 0;
    int here = 0;
    connect(
        &session, &Session::entryAdded, &session,
        [&] { (QThread::currentThread() == session.thread() ? here : elsewhere) += 1; }, Qt::DirectConnection);
    QString error;
    QVERIFY(session.attach(&error));
    QTRY_VERIFY(here >= 3);
    QCOMPARE(elsewhere, 0);
}

void tst_Session::canEndAtAnyTime()
{
    for (int round = 0; round < 20; ++round) {
        Options options = m_options;
        options.callbackOnUiThread = round % 2 == 1;
        Session session(options);
        QString error;
        QVERIFY(session.attach(&error));
        if (round % 4 >= 2)
            QCoreApplication::processEvents();
    }
}

void tst_Session::idleTextIsTheCards()
{
    Options options = m_options;
    options.card = write("idle.yaml", "name: A\nat-start:\n  - idle-text: \"Good\\nmorning\"\n");
    Session session(options);
    QSignalSpy changes(&session, &Session::idleTextChanged);
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QTRY_COMPARE(session.idleText(), QString("Good\\nmorning"));
    QCOMPARE(changes.count(), 1);
}

void tst_Session::idleTextGoesWithTheDevice()
{
    Options options = m_options;
    options.card = write("idle.yaml", "name: A\nat-start:\n  - idle-text: Hello\n");
    Session session(options);
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QTRY_COMPARE(session.idleText(), QString("Hello"));
    session.detach();
    QCOMPARE(session.idleText(), QString());
}

void tst_Session::turnsAreTold()
{
    Options options = m_options;
    options.card = write("asks.yaml", "name: A\nat-start:\n  - display: Hello\n");
    Session session(options);
    QCOMPARE(session.turn(), sdk::Turn::NoCard);
    QVERIFY(!session.hasCard());
    QSignalSpy turns(&session, &Session::turnChanged);
    QString error;
    QVERIFY(session.attach(&error));
    QVERIFY(session.hasCard());
    QTRY_COMPARE(session.turn(), sdk::Turn::User);
    session.detach();
    QCOMPARE(session.turn(), sdk::Turn::NoCard);
    QVERIFY(turns.count() >= 3);
}

void tst_Session::turnsThatComeLateAreDropped()
{
    Session session(m_options);
    QString error;
    QVERIFY(session.attach(&error));
    const QDeadlineTimer limit(20000);
    while (!sdk::menuTitle() && !limit.hasExpired())
        QThread::msleep(1); // what the library tells meanwhile waits for the event loop
    QVERIFY(sdk::menuTitle());
    session.detach();
    QSignalSpy turns(&session, &Session::turnChanged);
    QCoreApplication::processEvents();
    QCOMPARE(turns.count(), 0);
    QCOMPARE(session.turn(), sdk::Turn::NoCard);
}

void tst_Session::readerMayBeEmpty()
{
    ReaderDouble reader(m_options.card.toStdString());
    Session session(m_options);
    QString error;
    QVERIFY(session.attach(&error));
    sdk::attachDevice(reader.channel());
    QTRY_VERIFY(!session.hasCard());
    QVERIFY(session.isAttached());
    QVERIFY(!session.hasNetwork());
    QCOMPARE(session.menuTitle(), QString());
    reader.insert();
    QTRY_COMPARE(session.menuTitle(), QString("Test menu"));
    QVERIFY(session.hasCard());
    reader.pull();
    QTRY_VERIFY(!session.hasCard());
    reader.insert();
    QTRY_COMPARE(session.turn(), sdk::Turn::Rest);
    QCOMPARE(session.menuTitle(), QString("Test menu"));
}

void tst_Session::traceIsWritten()
{
    Options options = m_options;
    options.traceFile = m_folder.filePath("trace.pcap");
    Session session(options);
    QString error;
    QVERIFY2(session.startTrace(&error), qPrintable(error));
    const qint64 empty = QFileInfo(options.traceFile).size();
    QVERIFY(session.attach(&error));
    QTRY_VERIFY(QFileInfo(options.traceFile).size() > empty);
}

void tst_Session::traceThatCannotBeWrittenIsRefused()
{
    Options options = m_options;
    options.traceFile = m_folder.filePath("missing/trace.pcap");
    Session session(options);
    QString error;
    QVERIFY(!session.startTrace(&error));
    QVERIFY2(error.contains(options.traceFile + ":"), qPrintable(error));
}

/// Nobody answers: each text is ended by the limit of its own command.
void tst_Session::limitsReachTheLibrary()
{
    Options options = m_options;
    options.card = write("limits.yaml", "name: A\nat-start:\n  - display: Hello\n");
    options.responseLimits = {{std::nullopt, std::chrono::milliseconds(3600000)},
                              {MDSV_STKTYPE_DISPLAY_TEXT, std::chrono::milliseconds(50)}};
    Session session(options);
    QStringList lines;
    connect(&session, &Session::entryAdded, [&lines](const SessionEntry &entry) { lines << toLine(entry); });
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QTRY_VERIFY2(!lines.filter("answer: DISPLAY TEXT: 12").isEmpty(), qPrintable(lines.join('\n')));
}

void tst_Session::unattendedLimitReachesTheLibrary()
{
    Options options = m_options;
    options.card =
        write("unattended.yaml", "name: A\nat-start:\n  - display: {text: Hello, clear: auto, duration: 100ms}\n");
    options.responseLimits = {{std::nullopt, std::chrono::milliseconds(3600000)}};
    options.unattendedLimit = std::chrono::milliseconds(50);
    Session session(options);
    QStringList lines;
    connect(&session, &Session::entryAdded, [&lines](const SessionEntry &entry) { lines << toLine(entry); });
    QString error;
    QVERIFY2(session.attach(&error), qPrintable(error));
    QTRY_VERIFY2(!lines.filter("answer: DISPLAY TEXT").isEmpty(), qPrintable(lines.join('\n')));
}

QTEST_GUILESS_MAIN(tst_Session)
#include "tst_Session.moc"
