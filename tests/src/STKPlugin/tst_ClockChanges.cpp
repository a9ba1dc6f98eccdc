// The waiter by the machine's own clock functions at any time of day: this program starts itself again under faketime,
// once for each row and all at the same time, and each child waits like the window after a choice.
#include "support/Peek.h"
#include "support/SdkDouble.h"

#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QProcess>
#include <QtTest/QtTest>

#include <cstdio>
#include <map>
#include <memory>

namespace
{

const int LIMIT_MS = 45000;
const int ANSWER_MS = 8000; ///< when the card of a child answers, if the wait has not ended by then

struct Row {
    const char *name;
    const char *start;
    int timeOut; ///< seconds
    int lasts;   ///< seconds that the clock has to go on, or -1: until the card answers
};

/// The time of day at which a child begins; it is given some moments more or less by the start of the program.
const Row ROWS[] = {
    {"within a minute", "09:30:15", 3, 3},
    {"leading zeros are no octal number", "00:08:08", 3, 3},
    {"over a minute the clock jumps by 40", "09:30:56", 20, 4},
    {"behind the jump it goes on by seconds", "09:30:56", 46, 6},
    {"over an hour the clock jumps by 4040", "10:59:56", 4040, 4},
    {"up to midnight", "23:59:50", 5, 5},
    {"over midnight only the card ends it", "23:59:55", 20, -1},
};

/// What a child tells: "<start> <end> <milliseconds>", times of day by its clock, length by a clock that runs on.
void wait(int timeOut)
{
    support::SdkDouble sdk;
    STKLogic *logic = STKLogic::CreateInstance();
    std::unique_ptr<STKThread> thread(new STKThread);
    logic->RegisterSTKCB();
    const QTime start = QTime::currentTime();
    QElapsedTimer length;
    length.start();
    thread->SetTimeOut(timeOut);
    thread->start(QThread::InheritPriority);
    if (!thread->wait(ANSWER_MS))
        sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1, 0, support::SdkDouble::Elsewhere);
    const bool isOver = thread->wait(1000);
    std::printf("%s %s %d %d\n", qPrintable(start.toString("HH:mm:ss")),
                qPrintable(QTime::currentTime().toString("HH:mm:ss")), int(length.elapsed()), isOver);
    logic->UnresgisterSTKCB();
    thread.reset();
    STKLogic::DestroyInst();
}

} // namespace

class tst_ClockChanges : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void wait_data();
    void wait();

private:
    std::map<std::string, std::unique_ptr<QProcess>> m_children;
};

/// Starts all children.
void tst_ClockChanges::initTestCase()
{
    for (const Row &row : ROWS) {
        std::unique_ptr<QProcess> child(new QProcess);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TZ", "UTC");
        // A sanitizer's library would have to come before the one of faketime.
        environment.insert("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0");
        environment.insert("QT_LOGGING_RULES", "*.debug=false");
        child->setProcessEnvironment(environment);
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start("faketime", {"-m", "-f", QString("@2024-01-10 ") + row.start,
                                  QCoreApplication::applicationFilePath(), "--wait", QString::number(row.timeOut)});
        QVERIFY2(child->waitForStarted(), "faketime is not installed; see tools/packages.txt");
        m_children[row.name] = std::move(child);
    }
}

void tst_ClockChanges::wait_data()
{
    QTest::addColumn<QTime>("start");
    QTest::addColumn<int>("lasts");
    for (const Row &row : ROWS)
        QTest::newRow(row.name) << QTime::fromString(row.start, "HH:mm:ss") << row.lasts;
}

void tst_ClockChanges::wait()
{
    QFETCH(QTime, start);
    QFETCH(int, lasts);
    QProcess &child = *m_children[QTest::currentDataTag()];
    QVERIFY(child.state() == QProcess::NotRunning || child.waitForFinished(LIMIT_MS));
    const QStringList words = QString::fromLatin1(child.readAllStandardOutput()).trimmed().split(' ');
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(words.size(), 4);
    const int late = start.secsTo(QTime::fromString(words.at(0), "HH:mm:ss"));
    QVERIFY2(late >= 0 && late < 2, qPrintable(words.join(' '))); // else the row would mean something else
    QCOMPARE(words.at(3), QString("1"));
    const int ms = words.at(2).toInt();
    if (lasts < 0) {
        QVERIFY2(ms >= ANSWER_MS, qPrintable(words.join(' ')));
    } else {
        QVERIFY2(ms > (lasts - late - 1) * 1000 && ms < ANSWER_MS, qPrintable(words.join(' ')));
        QVERIFY2(ms <= (lasts + 1) * 1000 + 900, qPrintable(words.join(' '))); // a busy machine
    }
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == "--wait") {
        ::wait(arguments.value(2).toInt());
        return 0;
    }
    tst_ClockChanges test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ClockChanges.moc"
