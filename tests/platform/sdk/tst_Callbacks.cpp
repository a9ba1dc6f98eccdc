#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QTest>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>

using sdk::Status;

/// Where and when callbacks run, and when they do so for the last time.
class tst_Callbacks : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void oneCallbackOfEachKindAtATime();
    void unknownCallbackCannotBeUnregistered();
    void callbacksRunOnOneThreadOfTheService();
    void callbacksRunThroughTheDispatcher();
    void dispatcherCanBeChanged();
    void dispatcherThatThrowsDoesNoHarm();

    void callbackMayAnswer_data() { bothThreads(); }
    void callbackMayAnswer();
    void callbackMayChoose_data() { bothThreads(); }
    void callbackMayChoose();
    void callbackMayDetach_data() { bothThreads(); }
    void callbackMayDetach();

    void unregisterWaitsForACallInFlight_data() { bothThreads(); }
    void unregisterWaitsForACallInFlight();
    void unregisterFromWithinIsTheLastCall_data() { bothThreads(); }
    void unregisterFromWithinIsTheLastCall();
    void registerAgainFromWithin_data() { bothThreads(); }
    void registerAgainFromWithin();
    void dispatchedEventDiesWithItsRegistration();
    void shutDownWaitsForACallInFlight_data() { bothThreads(); }
    void shutDownWaitsForACallInFlight();
    void listenerRunsNowhereAfterItIsTaken();
    void dispatcherRunsNowhereAfterItIsTaken();
    void stormOfEventsAndRegistrations_data() { bothThreads(); }
    void stormOfEventsAndRegistrations();

    void lateCallbackHearsTheState_data() { bothThreads(); }
    void lateCallbackHearsTheState();
    void lateCallbackHearsTheOpenCommand();
    void callbackThatKnowsTheStateDoesNotHearItAgain();
    void lateCallbackWithoutDeviceHearsNothing();
    void lateCallbackOfACardWithoutMenuHearsOfTheDevice();
    void openCommandIsTheLastThatALateCallbackHears();

private:
    static void bothThreads();
    void chooseThread();

    std::shared_ptr<Script> m_script;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

int number(Status status)
{
    return static_cast<int>(status);
}

/// A thread that runs what it is given, in that order, until stop().
class Worker
{
public:
    void start()
    {
        m_isStopping = false;
        m_thread = std::thread([this] { run(); });
    }

    void stop()
    {
        if (!m_thread.joinable())
            return;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isStopping = true;
            m_wake.notify_all();
        }
        m_thread.join();
        m_jobs.clear();
    }

    void post(std::function<void()> job)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_jobs.push_back(std::move(job));
        m_wake.notify_all();
    }

    std::thread::id id() const { return m_thread.get_id(); }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_isStopping) {
            if (m_jobs.empty()) {
                m_wake.wait(lock);
                continue;
            }
            std::function<void()> job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
            job = nullptr;
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    bool m_isStopping = false;
    std::thread m_thread;
};

Worker worker;

/// Holds whoever waits at it until it is opened.
class Gate
{
public:
    void wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_waiting;
        m_wake.wait(lock, [this] { return m_isOpen; });
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isOpen = true;
        m_wake.notify_all();
    }

    int waiting()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_waiting;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_isOpen = false;
    int m_waiting = 0;
};

/// True when `body`, on a thread of its own, does not end before the gate is opened, and does afterwards.
bool waitsForGate(Gate *gate, const std::function<void()> &body)
{
    std::atomic<bool> hasEnded{false};
    std::thread thread([&] {
        body();
        hasEnded = true;
    });
    // A wait for something that must not happen: it takes its time only when all is well.
    const bool endedEarly = QTest::qWaitFor([&] { return hasEnded.load(); }, 100);
    gate->open();
    thread.join();
    return !endedEarly;
}

} // namespace

void tst_Callbacks::bothThreads()
{
    QTest::addColumn<bool>("isDispatched");
    QTest::newRow("on the service's thread") << false;
    QTest::newRow("through a dispatcher") << true;
}

void tst_Callbacks::chooseThread()
{
    QFETCH(bool, isDispatched);
    if (isDispatched)
        sdk::setCallbackDispatcher([](std::function<void()> call) { worker.post(std::move(call)); });
}

void tst_Callbacks::init()
{
    events::reset();
    events::listen();
    worker.start();
}

void tst_Callbacks::cleanup()
{
    sdk::shutDown();
    worker.stop();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

void tst_Callbacks::oneCallbackOfEachKindAtATime()
{
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::otherStkCallback), number(Status::NotAvailable));
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::otherDeviceCallback), number(Status::NotAvailable));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);

    // Registered twice is registered once.
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), number(Status::BadArgument));
    QCOMPARE(MDSV_STK_RegisterCallBack(events::otherStkCallback), 0);
    QVERIFY(waitForEvent("OTHER STK"));
}

void tst_Callbacks::unknownCallbackCannotBeUnregistered()
{
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), number(Status::BadArgument));
    QCOMPARE(MDSV_DevSrv_UnRegisterDevMgrCallback(events::deviceCallback), number(Status::BadArgument));
    QVERIFY(events::registerBoth());
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::otherStkCallback), number(Status::BadArgument));
    QCOMPARE(MDSV_DevSrv_UnRegisterDevMgrCallback(events::otherDeviceCallback), number(Status::BadArgument));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
}

void tst_Callbacks::callbacksRunOnOneThreadOfTheService()
{
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    const std::vector<events::Event> all = events::all();
    QVERIFY(all[0].thread != std::this_thread::get_id());
    QVERIFY(all[0].thread == all[1].thread);
}

void tst_Callbacks::callbacksRunThroughTheDispatcher()
{
    sdk::setCallbackDispatcher(
        [](std::function<void()> call) { QMetaObject::invokeMethod(qApp, std::move(call), Qt::QueuedConnection); });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), (QStringList{"STK 0", "DEVICE 6602"}));
    for (const events::Event &event : events::all())
        QVERIFY(event.thread == std::this_thread::get_id());
}

void tst_Callbacks::dispatcherCanBeChanged()
{
    sdk::setCallbackDispatcher([](std::function<void()> call) { worker.post(std::move(call)); });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(events::all().back().thread == worker.id());

    sdk::setCallbackDispatcher({});
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(events::all().back().thread != worker.id());
}

void tst_Callbacks::dispatcherThatThrowsDoesNoHarm()
{
    sdk::setCallbackDispatcher([](std::function<void()>) { throw std::runtime_error("no way"); });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    sdk::setCallbackDispatcher({});
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
}

void tst_Callbacks::callbackMayAnswer()
{
    chooseThread();
    std::atomic<int> status{-1};
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 6")
            status = MDSV_STKSrv_SendNoDataResponse(event.id, 6, 0);
    });
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(status.load(), 0);
    QCOMPARE(m_script->sent().last(), QString(vectors::unable));
    QCOMPARE(m_script->sent().size(), 3);
}

void tst_Callbacks::callbackMayChoose()
{
    chooseThread();
    std::atomic<int> status{-1};
    events::setReaction([&](const events::Event &event) {
        if (event.text == "DEVICE 6602")
            status = MDSV_STKSrv_SelectMenuItem(1, 1);
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000").answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(status.load(), 0);
    QCOMPARE(m_script->sent().last(), QString(vectors::chooseNews));
}

void tst_Callbacks::callbackMayDetach()
{
    chooseThread();
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 0")
            sdk::detachDevice();
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).hangs();
    sdk::attachDevice(Script::channel(m_script));
    // The card hangs at the response; on the service's thread the menu's event comes only after it.
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));

    events::forget();
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(events::texts().first(), QString("STK 0"));
    QCOMPARE(events::count("DEVICE 6601"), 1);
}

void tst_Callbacks::unregisterWaitsForACallInFlight()
{
    chooseThread();
    Gate gate;
    events::setReaction([&](const events::Event &event) {
        if (event.text.startsWith("STK"))
            gate.wait();
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([&] { return gate.waiting() == 1; }));

    int status = -1;
    QVERIFY(waitsForGate(&gate, [&] { status = MDSV_STK_UnRegisterCallBack(events::stkCallback); }));
    QCOMPARE(status, 0);
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::count("STK 0"), 1);
}

void tst_Callbacks::unregisterFromWithinIsTheLastCall()
{
    chooseThread();
    std::atomic<int> status{-1};
    events::setReaction([&](const events::Event &event) {
        if (event.text.startsWith("STK"))
            status = MDSV_STK_UnRegisterCallBack(events::stkCallback);
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(status.load(), 0);
    QCOMPARE(events::texts(), (QStringList{"STK 0", "DEVICE 6602"}));
}

void tst_Callbacks::registerAgainFromWithin()
{
    chooseThread();
    std::atomic<int> failures{0};
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 0" && event.id == 1) {
            failures += MDSV_STK_UnRegisterCallBack(events::stkCallback);
            failures += MDSV_STK_RegisterCallBack(events::stkCallback);
        }
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    // The new registration is told the menu anew.
    QVERIFY(waitFor([] { return events::count("STK 0") == 2; }));
    QCOMPARE(failures.load(), 0);
}

void tst_Callbacks::dispatchedEventDiesWithItsRegistration()
{
    std::mutex mutex;
    std::deque<std::function<void()>> calls;
    sdk::setCallbackDispatcher([&](std::function<void()> call) {
        const std::lock_guard<std::mutex> lock(mutex);
        calls.push_back(std::move(call));
    });
    const auto waiting = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return calls.size();
    };
    const auto runAll = [&] {
        std::deque<std::function<void()>> now;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            now.swap(calls);
        }
        for (const auto &call : now)
            call();
    };
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([&] { return waiting() == 2; }));

    // Though the same function is registered again, what was on its way to the first registration is not for it.
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    runAll();
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});

    QVERIFY(waitFor([&] { return waiting() == 1; }));
    sdk::shutDown();
    runAll();
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});
}

void tst_Callbacks::shutDownWaitsForACallInFlight()
{
    chooseThread();
    Gate gate;
    events::setReaction([&](const events::Event &) { gate.wait(); });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([&] { return gate.waiting() == 1; }));
    QVERIFY(waitsForGate(&gate, [] { sdk::shutDown(); }));
    QCOMPARE(events::texts(), QStringList{"STK 0"});
}

void tst_Callbacks::listenerRunsNowhereAfterItIsTaken()
{
    Gate gate;
    sdk::setExchangeListener([&](const sdk::Exchange &) { gate.wait(); });
    m_script = std::make_shared<Script>();
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([&] { return gate.waiting() == 1; }));
    QVERIFY(waitsForGate(&gate, [] { sdk::setExchangeListener({}); }));
    sdk::detachDevice();
    QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    QCOMPARE(gate.waiting(), 1);
}

void tst_Callbacks::dispatcherRunsNowhereAfterItIsTaken()
{
    Gate gate;
    sdk::setCallbackDispatcher([&](std::function<void()> call) {
        gate.wait();
        call();
    });
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([&] { return gate.waiting() == 1; }));
    QVERIFY(waitsForGate(&gate, [] { sdk::setCallbackDispatcher({}); }));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(gate.waiting(), 1);
}

void tst_Callbacks::stormOfEventsAndRegistrations()
{
    chooseThread();
    constexpr int rounds = 300;
    std::atomic<bool> isRegistered{false};
    std::atomic<int> strays{0};
    std::atomic<int> calls{0};
    events::setReaction([&](const events::Event &event) {
        if (event.text.startsWith("DEVICE"))
            return;
        strays += !isRegistered;
        ++calls;
    });
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    m_script = std::make_shared<Script>();
    for (int i = 0; i < 5000; ++i)
        m_script->proposes(vectors::setUpMenu);
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));

    std::atomic<bool> isOver{false};
    std::thread reader([&] {
        while (!isOver) {
            MDSVStkMainMenu menu;
            if (MDSV_STKSrv_GetMainMenu(&menu) == 0)
                MDSV_STKSrv_ReleaseMenus(&menu);
            MDSV_STKSrv_SendNoDataResponse(events::lastId(), 6, 0);
        }
    });
    int failures = 0;
    for (int round = 0; round < rounds; ++round) {
        isRegistered = true;
        failures += MDSV_STK_RegisterCallBack(events::stkCallback) != 0;
        std::this_thread::sleep_for(std::chrono::microseconds(round % 7 * 50));
        failures += MDSV_STK_UnRegisterCallBack(events::stkCallback) != 0;
        isRegistered = false;
    }
    isOver = true;
    reader.join();
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(failures, 0);
    QCOMPARE(strays.load(), 0);
    QVERIFY(calls > 0);
}

void tst_Callbacks::lateCallbackHearsTheState()
{
    chooseThread();
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(MDSV_DevSrv_UnRegisterDevMgrCallback(events::deviceCallback), 0);

    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), (QStringList{"STK 0", "DEVICE 6602"}));
    QVERIFY(events::all()[0].thread != std::this_thread::get_id());
}

void tst_Callbacks::lateCallbackHearsTheOpenCommand()
{
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::exchanges().filter("Command: SELECT ITEM").size() == 1; }));

    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QVERIFY(waitForEvent("STK 6"));
    m_script->forgetSent();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 1, 0x12), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::choseThere});
}

void tst_Callbacks::openCommandIsTheLastThatALateCallbackHears()
{
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).answers("9000");
    // The command comes to the new callback before the state of before does. The menu's event would now replace the
    // identifier that the callback's owner keeps: it is left out.
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(MDSV_DevSrv_UnRegisterDevMgrCallback(events::deviceCallback), 0);
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(events::texts().indexOf("STK 0") < events::texts().indexOf("STK 6"));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
}

void tst_Callbacks::callbackThatKnowsTheStateDoesNotHearItAgain()
{
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    // The device callback is new, the other one is not.
    QCOMPARE(MDSV_DevSrv_UnRegisterDevMgrCallback(events::deviceCallback), 0);
    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});
}

void tst_Callbacks::lateCallbackWithoutDeviceHearsNothing()
{
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QVERIFY(events::registerBoth());
    // The next device is the first thing that it hears of.
    m_script = std::make_shared<Script>();
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6601", "DEVICE 6602"}));
}

void tst_Callbacks::lateCallbackOfACardWithoutMenuHearsOfTheDevice()
{
    m_script = std::make_shared<Script>();
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([this] { return m_script->isPlayedOut(); }));
    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});
}

QTEST_GUILESS_MAIN(tst_Callbacks)
#include "tst_Callbacks.moc"
