#include "sdk/Service.h"

#include "sdk/Describe.h"
#include "sdk/LocalInformation.h"
#include "sdk/Outside.h"

#include <algorithm>
#include <cstdlib>

namespace sdk
{

namespace
{

/// A caller registers first and gets ready for events right after: so long the state of before waits for it.
constexpr std::chrono::milliseconds newcomerDelay{50};

/// So long the end of the process waits for the thread; a callback that does not return must not hold it up.
constexpr std::chrono::milliseconds exitPatience{2000};

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Control

Service &Service::instance()
{
    static Service *const service = new Service;
    return *service;
}

void Service::attach(std::unique_ptr<CardChannel> channel)
{
    if (!channel)
        return note("attachDevice: there is no card channel");
    attachUnlessLate(std::move(channel), true);
}

/// A card that nobody has chosen comes too late when another device has been attached.
void Service::attachUnlessLate(std::unique_ptr<CardChannel> channel, bool isChosen)
{
    std::string problem;
    if (!m_trace.openFromEnvironment(&problem))
        note("STK_TRACE: " + problem);
    DevicePtr device;
    DevicePtr before;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isStopping)
            return log("attachDevice: the library is shutting down");
        if (!isChosen && m_hasAttached)
            return;
        m_hasAttached = true;
        before = takeDeviceLocked();
        device = std::make_shared<Device>(std::move(channel), ++m_lastAttachment);
        m_state.device = device;
        m_state.hasCard = true; // until it turns out otherwise
        m_state.isBusy = true;
        queueLocked([this, device] { startCard(device); });
    }
    letGo(before);
}

void Service::detach()
{
    DevicePtr before;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        before = takeDeviceLocked();
    }
    letGo(before);
}

/// The card that STK_CARD names.
void Service::attachFromEnvironment()
{
    const char *const address = std::getenv("STK_CARD");
    if (!address || *address == '\0')
        return;
    std::string error;
    std::unique_ptr<CardChannel> channel = openCard(address, &error);
    if (channel)
        attachUnlessLate(std::move(channel), false);
    else
        note("STK_CARD: " + error + "; it takes the path of a profile, pcsc[:READER] or modem:LINE");
}

void Service::setDispatcher(Dispatcher dispatcher)
{
    if (dispatcher)
        m_dispatcher.set(std::move(dispatcher));
    else
        m_dispatcher.clear();
}

void Service::setLimit(std::chrono::milliseconds limit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_limits.setAll(limit);
}

void Service::setLimit(int stkType, std::chrono::milliseconds limit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_limits.set(stkType, limit);
}

void Service::setGrace(std::chrono::milliseconds grace)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_limits.setGrace(grace);
}

void Service::setLanguage(const std::string &language)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_language = languageOf(language);
}

bool Service::setTraceFile(const std::string &path, std::string *error)
{
    if (!path.empty())
        return m_trace.open(path, error);
    m_trace.close();
    return true;
}

void Service::setListener(std::function<void(const Exchange &)> listener)
{
    if (listener)
        m_listener.set(std::move(listener));
    else
        m_listener.clear();
}

void Service::setApduListener(std::function<void(const ApduExchange &)> listener)
{
    if (listener)
        m_apduListener.set(std::move(listener));
    else
        m_apduListener.clear();
}

void Service::setTurnListener(std::function<void(Turn)> listener)
{
    if (!listener)
        return m_turnListener.clear();
    m_turnListener.set(std::move(listener));
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_toldTurn.reset();
    }
    tellTurn();
}

void Service::shutDown()
{
    if (isServiceThread())
        return note("shutDown: called from within a callback, and refused");
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait(lock, [this] { return !m_isStopping || m_isExiting; });
    if (m_isExiting)
        return;
    DevicePtr device = stopLocked();
    std::thread thread = std::move(m_thread);
    lock.unlock();
    letGo(device);
    m_stkHook.withdraw();
    m_deviceHook.withdraw();
    m_stkHook.clear();
    m_deviceHook.clear();
    m_dispatcher.clear();
    m_listener.clear();
    m_apduListener.clear();
    m_turnListener.clear();
    if (thread.joinable())
        thread.join();
    m_trace.close();

    lock.lock();
    std::deque<Job> dropped = std::exchange(m_dropped, {});
    lock.unlock();
    dropped.clear();
    device.reset(); // without the lock: the channel may have news right now, and waits for whoever hears it
    lock.lock();
    m_newcomersDue.reset();
    m_limits = Limits();
    m_language.clear();
    m_isEnvironmentAsked = false;
    m_hasAttached = false;
    m_lastId = 0;
    m_threadId = std::thread::id();
    m_isStopping = false;
    m_wake.notify_all();
}

// ---------------------------------------------------------------------------------------------------------------------
// Registration

Status Service::registerStkCallback(MDSVSTKCALLBACK callback)
{
    return registerIn(&m_stkHook, callback, "MDSV_STK_RegisterCallBack");
}

Status Service::unregisterStkCallback(MDSVSTKCALLBACK callback)
{
    return m_stkHook.take(callback) ? Status::Success : refuse("MDSV_STK_UnRegisterCallBack", Status::BadArgument);
}

Status Service::registerDeviceCallback(MDSVDEVMGRCALLBACK callback)
{
    return registerIn(&m_deviceHook, callback, "MDSV_DevSrv_RegisterDevMgrCallback");
}

Status Service::unregisterDeviceCallback(MDSVDEVMGRCALLBACK callback)
{
    return m_deviceHook.take(callback) ? Status::Success
                                       : refuse("MDSV_DevSrv_UnRegisterDevMgrCallback", Status::BadArgument);
}

template <typename Callback>
Status Service::registerIn(Hook<Callback> *hook, Callback callback, const char *what)
{
    if (!callback)
        return refuse(what, Status::BadArgument);
    bool isNew = false;
    if (!hook->offer(callback, &isNew))
        return refuse(std::string(what) + ": another callback is registered", Status::NotAvailable);
    bool isCardWanted = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        isCardWanted = !std::exchange(m_isEnvironmentAsked, true) && !m_hasAttached;
        if (isNew && m_state.device) {
            m_newcomersDue = Clock::now() + newcomerDelay;
            m_wake.notify_all();
        }
    }
    if (isCardWanted)
        attachFromEnvironment();
    return Status::Success;
}

// ---------------------------------------------------------------------------------------------------------------------
// The thread

void Service::queueLocked(Job job)
{
    m_jobs.push_back(std::move(job));
    if (!m_thread.joinable() && !m_isStopping) {
        static const int registered = std::atexit([] { instance().stopAtExit(); });
        (void)registered;
        m_isFinished = false;
        m_thread = std::thread([this] { run(); });
        m_threadId = m_thread.get_id();
    }
    m_wake.notify_all();
}

void Service::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isStopping) {
        Job job = nextJobLocked();
        const bool isTurnNew = !m_isTellingTurn && m_toldTurn != m_state.turn();
        if (job || isTurnNew) {
            lock.unlock();
            tellTurn();
            if (job)
                callOutside("the service", job);
            // Here, without the lock: what the job holds, such as the card channel, may take its time to go.
            job = nullptr;
            lock.lock();
        } else {
            waitForWork(&lock);
        }
    }
    m_isFinished = true;
    m_wake.notify_all();
}

Service::Job Service::nextJobLocked()
{
    const Clock::time_point now = Clock::now();
    Job job;
    if (!m_jobs.empty()) {
        job = std::move(m_jobs.front());
        m_jobs.pop_front();
    } else if (m_state.open && m_state.open->deadline <= now) {
        job = [this, device = m_state.device, closed = takeOpenLocked()] { expire(device, closed); };
    } else if (m_newcomersDue && *m_newcomersDue <= now) {
        job = [this] { tellNewcomers(); };
        m_newcomersDue.reset();
    } else if (m_state.isAtRest()) {
        job = nextUpkeepLocked(now);
    }
    return job;
}

void Service::waitForWork(std::unique_lock<std::mutex> *lock)
{
    std::optional<Clock::time_point> due = m_newcomersDue;
    const auto consider = [&due](Clock::time_point time) { due = due ? std::min(*due, time) : time; };
    if (m_state.open)
        consider(m_state.open->deadline);
    if (const std::optional<Clock::time_point> upkeepDue = upkeepDueLocked())
        consider(*upkeepDue);
    if (due)
        m_wake.wait_until(*lock, *due);
    else
        m_wake.wait(*lock);
}

bool Service::isServiceThread() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_threadId == std::this_thread::get_id();
}

Service::DevicePtr Service::stopLocked()
{
    m_isStopping = true;
    DevicePtr device = std::exchange(m_state, State()).device;
    m_dropped.swap(m_jobs);
    // Nothing is deleted here: the thread may be using the device, and what the jobs hold may call back.
    m_dropped.push_back([device] {});
    m_wake.notify_all();
    return device;
}

void Service::stopAtExit()
{
    m_stkHook.drop();
    m_deviceHook.drop();
    m_dispatcher.drop();
    m_listener.drop();
    m_apduListener.drop();
    m_turnListener.drop();
    const bool isOwnThread = isServiceThread();

    std::unique_lock<std::mutex> lock(m_mutex);
    m_isExiting = true;
    const DevicePtr device = stopLocked(); // also among the dropped jobs, and so never deleted
    lock.unlock();
    letGo(device);
    lock.lock();
    if (isOwnThread || !m_wake.wait_for(lock, exitPatience, [this] { return m_isFinished; }))
        return; // the process takes the thread with it
    lock.unlock();
    if (m_thread.joinable())
        m_thread.join();
}

} // namespace sdk
