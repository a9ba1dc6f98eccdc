#include "sdk/PcscThread.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

/// Calls that may never return.
class tst_PcscThread : public QObject
{
    Q_OBJECT

private slots:
    void callRunsOnAThreadOfItsOwn();
    void callsRunOnOneThread();
    void lateCallIsLeftBehind();
    void nextCallHasToWaitForALateOne();
    void lateCallKeepsWhatItHolds();
    void exceptionEndsOnlyTheCall();
    void interruptEndsTheWait();
    void nothingRunsAfterAnInterrupt();
    void farewellIsTheLast();
    void farewellFollowsALateCall();
    void destructorDoesNotWaitForALateCall();
};

namespace
{

using sdk::PcscThread;
using Outcome = PcscThread::Outcome;
using std::chrono::milliseconds;

constexpr milliseconds limit{10000};
constexpr milliseconds shortLimit{50};
constexpr int soon = 5000; // ms

/// Holds up a call until it is opened.
struct Gate {
    std::promise<void> promise;
    std::shared_future<void> future{promise.get_future()};

    std::function<void()> call() const
    {
        return [wait = future] { wait.get(); };
    }
    void open() { promise.set_value(); }
};

} // namespace

void tst_PcscThread::callRunsOnAThreadOfItsOwn()
{
    PcscThread thread;
    std::thread::id id;
    QVERIFY(thread.run([&] { id = std::this_thread::get_id(); }, limit) == Outcome::Done);
    QVERIFY(id != std::thread::id());
    QVERIFY(id != std::this_thread::get_id());
}

void tst_PcscThread::callsRunOnOneThread()
{
    PcscThread thread;
    std::thread::id first, second;
    QVERIFY(thread.run([&] { first = std::this_thread::get_id(); }, limit) == Outcome::Done);
    QVERIFY(thread.run([&] { second = std::this_thread::get_id(); }, limit) == Outcome::Done);
    QVERIFY(first == second);
}

void tst_PcscThread::lateCallIsLeftBehind()
{
    Gate gate;
    PcscThread thread;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(thread.run(gate.call(), shortLimit) == Outcome::TooLate);
    QVERIFY(clock.elapsed() >= shortLimit.count());
    QVERIFY(clock.elapsed() < soon);
    gate.open();
}

void tst_PcscThread::nextCallHasToWaitForALateOne()
{
    Gate gate;
    PcscThread thread;
    QVERIFY(thread.run(gate.call(), shortLimit) == Outcome::TooLate);
    const auto hasRun = std::make_shared<std::atomic<bool>>(false);
    QVERIFY(thread.run([hasRun] { *hasRun = true; }, limit) == Outcome::Busy);
    gate.open();
    QTRY_VERIFY(thread.run([] {}, limit) == Outcome::Done);
    QVERIFY(!*hasRun);
}

void tst_PcscThread::lateCallKeepsWhatItHolds()
{
    Gate gate;
    auto held = std::make_shared<int>(7);
    const std::weak_ptr<int> watched = held;
    const auto seen = std::make_shared<std::atomic<int>>(0);
    {
        PcscThread thread;
        QVERIFY(thread.run([wait = gate.future, held, seen] { wait.get(), *seen = *held; }, shortLimit) ==
                Outcome::TooLate);
        held.reset();
    }
    QVERIFY(!watched.expired());
    gate.open();
    QTRY_VERIFY(watched.expired());
    QCOMPARE(seen->load(), 7);
}

void tst_PcscThread::exceptionEndsOnlyTheCall()
{
    PcscThread thread;
    QVERIFY(thread.run([] { throw std::runtime_error("a test"); }, limit) == Outcome::Done);
    QVERIFY(thread.run([] {}, limit) == Outcome::Done);
}

void tst_PcscThread::interruptEndsTheWait()
{
    Gate gate;
    PcscThread thread;
    std::thread other([&] {
        std::this_thread::sleep_for(shortLimit);
        thread.interrupt();
    });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(thread.run(gate.call(), limit) == Outcome::Interrupted);
    QVERIFY(clock.elapsed() < soon);
    other.join();
    gate.open();
}

void tst_PcscThread::nothingRunsAfterAnInterrupt()
{
    const auto order = std::make_shared<std::atomic<char>>('-'); // the thread may outlive the test
    {
        PcscThread thread([order] { *order = *order == '-' ? 'f' : 'x'; });
        thread.interrupt();
        QVERIFY(thread.run([order] { *order = 'c'; }, limit) == Outcome::Interrupted);
    }
    QTRY_VERIFY(*order == 'f' || *order == 'x'); // the farewell is the last
    QCOMPARE(order->load(), 'f');
}

void tst_PcscThread::farewellIsTheLast()
{
    QString order;
    {
        PcscThread thread([&] { order += 'f'; });
        QVERIFY(thread.run([&] { order += 'c'; }, limit) == Outcome::Done);
    }
    QCOMPARE(order, QString("cf"));
}

void tst_PcscThread::farewellFollowsALateCall()
{
    Gate gate;
    const auto said = std::make_shared<std::atomic<bool>>(false);
    {
        PcscThread thread([said] { *said = true; });
        QVERIFY(thread.run(gate.call(), shortLimit) == Outcome::TooLate);
    }
    QVERIFY(!*said);
    gate.open();
    QTRY_VERIFY(*said);
}

void tst_PcscThread::destructorDoesNotWaitForALateCall()
{
    Gate gate;
    QElapsedTimer clock;
    {
        PcscThread thread;
        QVERIFY(thread.run(gate.call(), shortLimit) == Outcome::TooLate);
        clock.start();
    }
    QVERIFY2(clock.elapsed() < 500, qPrintable(QString::number(clock.elapsed())));
    gate.open();
}

QTEST_GUILESS_MAIN(tst_PcscThread)
#include "tst_PcscThread.moc"
