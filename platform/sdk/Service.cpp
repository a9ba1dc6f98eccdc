#include "sdk/Service.h"

#include "sdk/Describe.h"
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
    std::string problem;
    if (!m_trace.openFromEnvironment(&problem))
        note("STK_TRACE: " + problem);
    const auto device = std::make_shared<Device>();
    device->channel = std::move(channel);
    DevicePtr before;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isStopping)
            return log("attachDevice: the library is shutting down");
        before = takeDeviceLocked();
        m_state.device = device;
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

void Service::shutDown()
{
    if (isServiceThread())
        return note("shutDown: called from within a callback, and refused");
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait(lock, [this] { return !m_isStopping || m_isExiting; });
    if (m_isExiting)
        return;
    const DevicePtr device = stopLocked();
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
    if (thread.joinable())
        thread.join();
    m_trace.close();

    std::deque<Job> dropped;
    lock.lock();
    dropped.swap(m_dropped);
    m_state = State();
    m_newcomersDue.reset();
    m_limits = Limits();
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
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (isNew && m_state.device) {
        m_newcomersDue = Clock::now() + newcomerDelay;
        m_wake.notify_all();
    }
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
        if (job) {
            lock.unlock();
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
    }
    return job;
}

void Service::waitForWork(std::unique_lock<std::mutex> *lock)
{
    std::optional<Clock::time_point> due = m_newcomersDue;
    if (m_state.open)
        due = due ? std::min(*due, m_state.open->deadline) : m_state.open->deadline;
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
    const bool isOwnThread = isServiceThread();

    std::unique_lock<std::mutex> lock(m_mutex);
    m_isExiting = true;
    const DevicePtr device = stopLocked();
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
