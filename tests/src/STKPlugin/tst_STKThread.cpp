#include "support/FakeClock.h"
#include "support/LogCapture.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/VirtualSlot.h"

#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

#include <atomic>
#include <functional>
#include <type_traits>

using support::FakeClock;
using support::LogCapture;
using support::peek;
using support::SdkDouble;
namespace journal = support::journal;

namespace
{

struct Peek : STKThread {
    using STKThread::m_bStop;
    using STKThread::m_nTimeOut;
    using STKThread::m_pStkLogic;
    using STKThread::run;
};

struct LogicPeek : STKLogic {
    using STKLogic::m_pStkLogicInst;
};

const char *const PATH = "../../src/STKPlugin/STKThread";
const int LIMIT_MS = 40000; ///< of a wait in a test; far more than any takes

/// "<time>: path: function: end"
QString timed(const QString &function, const QString &end)
{
    return QString("<time>: %1: %2: %3").arg(PATH, function, end);
}

} // namespace

class tst_STKThread : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void metaObjectHasOneSignal();
    void membersStandInTheirOrder();
    void onlyTheDestructorAndTheRunAreVirtual();
    void constructorTakesTheLogic();
    void timeOutIsStoredAndLogged_data();
    void timeOutIsStoredAndLogged();
    void destructorDestroysTheLogicItHolds();
    void destructorWithoutLogicLeavesTheInstance();

    void waitEndsByTheClockDifference_data();
    void waitEndsByTheClockDifference();
    void waitOverMidnightEndsOnlyByTheFlag();
    void waitOverMidnightEndsOnlyByTheStop();
    void responseThatIsThereEndsTheWaitWithoutSleeping();
    void flagIsLookedAtBeforeTheClock();
    void stopIsLookedAtBeforeTheFlag();
    void responseDuringTheWaitEndsItAtTheNextPoll();
    void stopRequestBeforeTheRunIsForgotten();
    void runWithoutTimeOutDoesNothing_data();
    void runWithoutTimeOutDoesNothing();
    void runWithoutLogicDoesNothing();
    void completedWaitResetsTheTimeOutAfterTheSignal();
    void secondRunNeedsATimeOutOfItsOwn();
    void timeOutSetDuringTheWaitReplacesIt();
    void startDuringTheWaitStartsNothing();
    void clearingTheFlagDuringTheWaitKeepsItWaiting();
    void runIsLogged();

    void signalIsQueuedToTheUserInterfaceThread();
    void eventFromTheLibraryEndsARealWait();

private:
    int runToEnd();
    int polls() const;

    QScopedPointer<LogCapture> m_log;
    QScopedPointer<SdkDouble> m_sdk;
    QScopedPointer<STKThread> m_thread;
    std::atomic<int> m_emitted;
};

void tst_STKThread::init()
{
    m_log.reset(new LogCapture);
    m_sdk.reset(new SdkDouble);
    m_thread.reset(new STKThread);
    m_emitted = 0;
    connect(
        m_thread.data(), &STKThread::ChangeCursor, m_thread.data(), [this] { ++m_emitted; }, Qt::DirectConnection);
}

void tst_STKThread::cleanup()
{
    bool ended = true;
    if (m_thread) {
        peek(m_thread.data(), &Peek::m_bStop) = true;
        ended = m_thread->wait(LIMIT_MS);
    }
    QVERIFY(ended);
    m_thread.reset();
    STKLogic::DestroyInst();
    const QStringList faults = m_sdk->faults();
    const QStringList warnings = m_log->warnings();
    m_sdk.reset();
    m_log.reset();
    QCOMPARE(faults, QStringList());
    QCOMPARE(warnings, QStringList());
}

/// Starts the waiter as the window does; the number of times it emitted.
int tst_STKThread::runToEnd()
{
    m_emitted = 0;
    m_thread->start(QThread::InheritPriority);
    return m_thread->wait(LIMIT_MS) ? int(m_emitted) : -1;
}

/// How often the response flag was read.
int tst_STKThread::polls() const
{
    return m_log->debug().filter("Start of with m_bRespondence").size();
}

void tst_STKThread::metaObjectHasOneSignal()
{
    const QMetaObject &meta = STKThread::staticMetaObject;
    QCOMPARE(meta.className(), "STKThread");
    QCOMPARE(meta.superClass()->className(), "QThread");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(), QByteArray("ChangeCursor()"));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
}

void tst_STKThread::membersStandInTheirOrder()
{
    const void *const stop = &peek(m_thread.data(), &Peek::m_bStop);
    const void *const logic = &peek(m_thread.data(), &Peek::m_pStkLogic);
    const void *const timeOut = &peek(m_thread.data(), &Peek::m_nTimeOut);
    QVERIFY(std::less<const void *>()(stop, logic));
    QVERIFY(std::less<const void *>()(logic, timeOut));
}

void tst_STKThread::onlyTheDestructorAndTheRunAreVirtual()
{
    QVERIFY(std::has_virtual_destructor<STKThread>::value);
    QVERIFY(support::slotOf(&Peek::run) > 0);
    QVERIFY((std::is_same<decltype(&STKThread::SetTimeOut), void (STKThread::*)(int)>::value));
    QCOMPARE(support::slotOf(&STKThread::SetTimeOut), -1);
    QCOMPARE(support::slotOf(&STKThread::RequestStop), -1);
}

void tst_STKThread::constructorTakesTheLogic()
{
    m_thread.reset();
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    m_log->clear();

    m_thread.reset(new STKThread);
    QVERIFY(LogicPeek::m_pStkLogicInst);
    QCOMPARE(peek(m_thread.data(), &Peek::m_pStkLogic), LogicPeek::m_pStkLogicInst);
    QCOMPARE(bool(peek(m_thread.data(), &Peek::m_bStop)), false);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), 0);
    QVERIFY(!m_thread->parent());
    QVERIFY(!m_thread->isRunning());
    QCOMPARE(m_log->debug().first(), QString("%1: STKThread: called").arg(PATH));
    QCOMPARE(m_log->debug().filter("STKThread").size(), 1);
}

void tst_STKThread::timeOutIsStoredAndLogged_data()
{
    QTest::addColumn<int>("value");
    for (int value : {20, 10, 0, -1})
        QTest::addRow("%d", value) << value;
}

void tst_STKThread::timeOutIsStoredAndLogged()
{
    QFETCH(int, value);
    m_log->clear();
    m_thread->SetTimeOut(value);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), value);
    QCOMPARE(m_log->debug(), (QStringList{timed("SetTimeOut", QString("Called with TimeOut = %1").arg(value)),
                                          timed("SetTimeOut", "Exited")}));
}

void tst_STKThread::destructorDestroysTheLogicItHolds()
{
    m_log->clear();
    m_thread.reset();
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    QCOMPARE(m_log->debug().first(), timed("~STKThread", "Called"));
    QCOMPARE(m_log->debug().filter("~STKLogic").size(), 2);

    m_thread.reset(new STKThread);
    STKLogic::DestroyInst(); // another holder was first
    m_thread.reset();
    QVERIFY(!LogicPeek::m_pStkLogicInst);
}

void tst_STKThread::destructorWithoutLogicLeavesTheInstance()
{
    peek(m_thread.data(), &Peek::m_pStkLogic) = nullptr;
    m_thread.reset();
    QVERIFY(LogicPeek::m_pStkLogicInst);
}

void tst_STKThread::waitEndsByTheClockDifference_data()
{
    QTest::addColumn<QTime>("start");
    QTest::addColumn<int>("timeOut");
    QTest::addColumn<int>("lasts"); // milliseconds
    const QTime early(9, 30, 15);
    QTest::newRow("1 s within a minute") << early << 1 << 1000;
    QTest::newRow("20 s within a minute") << early << 20 << 20000;
    QTest::newRow("begun within a second") << early.addMSecs(350) << 3 << 2700;
    QTest::newRow("leading zeros are no octal number") << QTime(0, 0, 8) << 3 << 3000;
    QTest::newRow("20 s begun at second 40 ends at the minute") << QTime(9, 30, 40) << 20 << 20000;
    QTest::newRow("20 s begun at second 50 ends after 10") << QTime(9, 30, 50) << 20 << 10000;
    QTest::newRow("10 s begun at second 59 ends after 1") << QTime(9, 30, 59) << 10 << 1000;
    QTest::newRow("the minute counts 41 from its last second") << QTime(11, 58, 59) << 41 << 1000;
    QTest::newRow("42 takes one second more") << QTime(11, 58, 59) << 42 << 2000;
    QTest::newRow("70 s begun at second 50 ends after 30") << QTime(11, 58, 50) << 70 << 30000;
    QTest::newRow("the hour counts 4041 from its last second") << QTime(10, 59, 59) << 4041 << 1000;
    QTest::newRow("4042 takes one second more") << QTime(10, 59, 59) << 4042 << 2000;
    QTest::newRow("20 s into the hour") << QTime(10, 59, 50) << 20 << 10000;
    QTest::newRow("20 s up to midnight") << QTime(23, 59, 30) << 20 << 20000;
}

void tst_STKThread::waitEndsByTheClockDifference()
{
    QFETCH(QTime, start);
    QFETCH(int, timeOut);
    QFETCH(int, lasts);
    FakeClock clock(start);
    m_thread->SetTimeOut(timeOut);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), lasts);
    QCOMPARE(clock.shortestNapMs(), 100);
    QCOMPARE(clock.longestNapMs(), 100);
    QCOMPARE(polls(), lasts / 100 + 1);
}

void tst_STKThread::waitOverMidnightEndsOnlyByTheFlag()
{
    const int TEN_MINUTES = 10 * 60 * 1000;
    FakeClock clock(QTime(23, 59, 55));
    m_log->setDebugOutput(false); // thousands of polls
    STKLogic *logic = LogicPeek::m_pStkLogicInst;
    clock.onNap([=](int nap) {
        if (nap == TEN_MINUTES / 100)
            logic->SetResponseVar(true);
    });
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), TEN_MINUTES);
}

void tst_STKThread::waitOverMidnightEndsOnlyByTheStop()
{
    const int TEN_MINUTES = 10 * 60 * 1000;
    FakeClock clock(QTime(23, 59, 55));
    m_log->setDebugOutput(false);
    STKThread *thread = m_thread.data();
    clock.onNap([=](int nap) {
        if (nap == TEN_MINUTES / 100)
            thread->RequestStop();
    });
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), TEN_MINUTES);
}

void tst_STKThread::responseThatIsThereEndsTheWaitWithoutSleeping()
{
    FakeClock clock(QTime(9, 30, 15));
    LogicPeek::m_pStkLogicInst->SetResponseVar(true);
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.naps(), 0);
    QCOMPARE(polls(), 1);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), 0);
}

void tst_STKThread::flagIsLookedAtBeforeTheClock()
{
    FakeClock clock(QTime(9, 30, 15));
    m_log->setDebugOutput(false); // whose lines would read the clock, too
    LogicPeek::m_pStkLogicInst->SetResponseVar(true);
    m_thread->SetTimeOut(20);
    STKThread *thread = m_thread.data();
    std::atomic<int> reads(-1);
    connect(
        thread, &STKThread::ChangeCursor, thread, [&] { reads = FakeClock::reads(); }, Qt::DirectConnection);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(int(reads), 1); // the start only
}

void tst_STKThread::stopIsLookedAtBeforeTheFlag()
{
    FakeClock clock(QTime(9, 30, 15));
    STKThread *thread = m_thread.data();
    clock.onNap([=](int) { peek(thread, &Peek::m_bStop) = true; });
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.naps(), 1);
    QCOMPARE(polls(), 1); // the one before the nap
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), 0);
}

void tst_STKThread::responseDuringTheWaitEndsItAtTheNextPoll()
{
    FakeClock clock(QTime(9, 30, 15));
    STKLogic *logic = LogicPeek::m_pStkLogicInst;
    clock.onNap([=](int nap) {
        if (nap == 7)
            logic->SetResponseVar(true);
    });
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.naps(), 7);
    QCOMPARE(polls(), 8);
}

void tst_STKThread::stopRequestBeforeTheRunIsForgotten()
{
    FakeClock clock(QTime(9, 30, 15));
    peek(m_thread.data(), &Peek::m_bStop) = true;
    m_thread->SetTimeOut(2);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), 2000);
    QCOMPARE(bool(peek(m_thread.data(), &Peek::m_bStop)), false);
}

void tst_STKThread::runWithoutTimeOutDoesNothing_data()
{
    QTest::addColumn<int>("timeOut");
    for (int timeOut : {0, -1, -20})
        QTest::addRow("%d", timeOut) << timeOut;
}

void tst_STKThread::runWithoutTimeOutDoesNothing()
{
    QFETCH(int, timeOut);
    FakeClock clock(QTime(9, 30, 15));
    LogicPeek::m_pStkLogicInst->SetResponseVar(true); // not looked at
    peek(m_thread.data(), &Peek::m_bStop) = true;
    m_thread->SetTimeOut(timeOut);
    m_log->clear();
    QCOMPARE(runToEnd(), 0);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), timeOut);
    QCOMPARE(bool(peek(m_thread.data(), &Peek::m_bStop)), false);
    QCOMPARE(m_log->debug(), QStringList{timed("run", "called")});
}

void tst_STKThread::runWithoutLogicDoesNothing()
{
    peek(m_thread.data(), &Peek::m_pStkLogic) = nullptr;
    m_thread->SetTimeOut(20);
    m_log->clear();
    QCOMPARE(runToEnd(), 0);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), 20);
    QCOMPARE(m_log->debug(), (QStringList{timed("run", "called"), timed("run", "Logic Instance is null")}));
}

void tst_STKThread::completedWaitResetsTheTimeOutAfterTheSignal()
{
    FakeClock clock(QTime(9, 30, 15));
    STKThread *thread = m_thread.data();
    std::atomic<int> seen(-1);
    connect(
        thread, &STKThread::ChangeCursor, thread, [&] { seen = int(peek(thread, &Peek::m_nTimeOut)); },
        Qt::DirectConnection);
    m_thread->SetTimeOut(3);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(int(seen), 3);
    QCOMPARE(int(peek(m_thread.data(), &Peek::m_nTimeOut)), 0);
}

void tst_STKThread::secondRunNeedsATimeOutOfItsOwn()
{
    FakeClock clock(QTime(9, 30, 15));
    m_thread->SetTimeOut(1);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(runToEnd(), 0);
    m_thread->SetTimeOut(1);
    QCOMPARE(runToEnd(), 1);
}

void tst_STKThread::timeOutSetDuringTheWaitReplacesIt()
{
    FakeClock clock(QTime(9, 30, 15));
    STKThread *thread = m_thread.data();
    clock.onNap([=](int nap) {
        if (nap == 15)
            thread->SetTimeOut(10); // measured from the start of the run, not from now
        if (nap == 50)
            thread->SetTimeOut(8);
    });
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), 8000);
}

void tst_STKThread::startDuringTheWaitStartsNothing()
{
    FakeClock clock(QTime(9, 30, 15));
    STKThread *thread = m_thread.data();
    clock.onNap([=](int nap) {
        if (nap == 5)
            thread->start(QThread::InheritPriority);
    });
    m_thread->SetTimeOut(2);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), 2000);
    QVERIFY(m_thread->isFinished());
    QCOMPARE(int(m_emitted), 1);
}

void tst_STKThread::clearingTheFlagDuringTheWaitKeepsItWaiting()
{
    FakeClock clock(QTime(9, 30, 15));
    STKLogic *logic = LogicPeek::m_pStkLogicInst;
    clock.onNap([=](int nap) {
        if (nap == 5) { // both before the next poll
            logic->SetResponseVar(true);
            logic->SetResponseVar(false);
        }
    });
    m_thread->SetTimeOut(1);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(clock.elapsedMs(), 1000);
}

void tst_STKThread::runIsLogged()
{
    FakeClock clock(QTime(9, 30, 15));
    m_thread->SetTimeOut(1);
    m_log->clear();
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(m_log->debug().filter("STKThread"), QStringList{timed("run", "called")});
    QCOMPARE(m_log->lines().first().text, QString("09:30:15:000: %1: run: called").arg(PATH));
}

void tst_STKThread::signalIsQueuedToTheUserInterfaceThread()
{
    QList<QThread *> threads;
    QObject receiver;
    connect(m_thread.data(), &STKThread::ChangeCursor, &receiver, [&] { threads << QThread::currentThread(); });
    QThread *emitting = nullptr;
    connect(
        m_thread.data(), &STKThread::ChangeCursor, &receiver, [&] { emitting = QThread::currentThread(); },
        Qt::DirectConnection);

    LogicPeek::m_pStkLogicInst->SetResponseVar(true);
    m_thread->SetTimeOut(20);
    QCOMPARE(runToEnd(), 1);
    QCOMPARE(emitting, static_cast<QThread *>(m_thread.data()));
    QVERIFY(threads.isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(threads, QList<QThread *>{QThread::currentThread()});
}

void tst_STKThread::eventFromTheLibraryEndsARealWait()
{
    LogicPeek::m_pStkLogicInst->RegisterSTKCB();
    LogicPeek::m_pStkLogicInst->SetResponseVar(false);
    m_thread->SetTimeOut(5000); // an hour and more: only the event ends it
    m_thread->start(QThread::InheritPriority);
    QTRY_VERIFY(polls() > 0);
    QVERIFY(m_thread->isRunning());
    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1, 0, SdkDouble::Elsewhere);
    QVERIFY(m_thread->wait(LIMIT_MS));
    QCOMPARE(int(m_emitted), 1);
}

QTEST_GUILESS_MAIN(tst_STKThread)
#include "tst_STKThread.moc"
