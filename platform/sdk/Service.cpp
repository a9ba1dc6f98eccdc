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

constexpr std::chrono::milliseconds longestLimit = std::chrono::hours(24 * 365);

/// The item `id`, or null.
const cat::Item *findItem(const cat::Command &menu, int id)
{
    const auto item =
        std::find_if(menu.items.begin(), menu.items.end(), [id](const cat::Item &each) { return each.id == id; });
    return item == menu.items.end() ? nullptr : &*item;
}

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
    m_limit = std::clamp(limit, std::chrono::milliseconds(0), longestLimit);
}

void Service::setListener(std::function<void(const Exchange &)> listener)
{
    if (listener)
        m_listener.set(std::move(listener));
    else
        m_listener.clear();
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
    if (thread.joinable())
        thread.join();

    std::deque<Job> dropped;
    lock.lock();
    dropped.swap(m_dropped);
    m_state = State();
    m_newcomersDue.reset();
    m_limit = defaultLimit;
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
// Requests

Status Service::mainMenu(cat::Command *menu) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_state.device)
        return Status::NoCard;
    if (!m_state.menu)
        return Status::NoMenu;
    *menu = *m_state.menu;
    return Status::Success;
}

Status Service::openCommand(int id, _MDSV_EN_STKTYPE type, cat::Command *command) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Status status = checkOpenLocked(id, type);
    if (status == Status::Success)
        *command = m_state.open->command;
    return status;
}

Status Service::selectMenuItem(int itemId)
{
    const std::string what = "choice of item " + std::to_string(itemId) + " of the main menu";
    std::unique_lock<std::mutex> lock(m_mutex);
    const DevicePtr device = m_state.device;
    const cat::Item *const item = m_state.menu ? findItem(*m_state.menu, itemId) : nullptr;
    Status status = Status::Success;
    if (!device)
        status = Status::NoCard;
    else if (!m_state.menu)
        status = Status::NoMenu;
    else if (!item)
        status = Status::BadArgument;
    else if (m_state.isBusy)
        status = Status::SessionBusy;
    if (status != Status::Success) {
        lock.unlock();
        return refuse(what, status);
    }
    m_state.isBusy = true;
    m_state.isUserSession = true;
    queueLocked([this, device, chosen = *item] { sendSelection(device, chosen); });
    return Status::Success;
}

Status Service::answerSelectItem(int id, int action, int itemId)
{
    struct ActionRow {
        int action;
        cat::Result result;
    };
    static constexpr ActionRow rows[] = {
        {MDSV_SUBMENU_ACTION_SELECT, cat::Result::Performed},
        {MDSV_SUBMENU_ACTION_BACK, cat::Result::BackwardMove},
        {MDSV_SUBMENU_ACTION_NONE, cat::Result::SessionTerminatedByUser},
    };
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [action](const ActionRow &each) { return each.action == action; });

    std::unique_lock<std::mutex> lock(m_mutex);
    Status status = checkOpenLocked(id, MDSV_STKTYPE_SELECT_ITEM);
    const bool needsItem = action == MDSV_SUBMENU_ACTION_SELECT;
    if (status == Status::Success && (row == std::end(rows) || (needsItem && !findItem(m_state.open->command, itemId))))
        status = Status::BadArgument;
    if (status != Status::Success) {
        lock.unlock();
        return refuse("answer to SELECT ITEM, command " + std::to_string(id) + ", action " + std::to_string(action) +
                          ", item " + std::to_string(itemId),
                      status);
    }
    cat::Response response = responseTo(m_state.open->command, row->result);
    if (needsItem)
        response.itemId = static_cast<std::uint8_t>(itemId);
    closeLocked(response);
    return Status::Success;
}

Status Service::answerWithoutData(int id, int stkType, int result)
{
    struct ResultRow {
        _MDSV_EN_STKTYPE type;
        int result;
        cat::Result general;
        std::optional<std::uint8_t> additional;
    };
    static constexpr ResultRow rows[] = {
        // 00: no specific cause can be given (ETSI TS 102 223 clause 8.12.2)
        {MDSV_STKTYPE_SELECT_ITEM, STK_UI_RESPONSE_NOT_HANDLED, cat::Result::TerminalUnable, 0x00},
    };
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [=](const ResultRow &each) { return each.type == stkType && each.result == result; });

    std::unique_lock<std::mutex> lock(m_mutex);
    Status status = checkOpenLocked(id, static_cast<_MDSV_EN_STKTYPE>(stkType));
    if (status == Status::Success && row == std::end(rows))
        status = Status::BadArgument;
    if (status != Status::Success) {
        lock.unlock();
        return refuse("answer without data, command " + std::to_string(id) + ", type " + std::to_string(stkType) +
                          ", result " + std::to_string(result),
                      status);
    }
    cat::Response response = responseTo(m_state.open->command, row->general);
    if (row->additional)
        response.additionalInformation = {*row->additional};
    closeLocked(response);
    return Status::Success;
}

Status Service::checkOpenLocked(int id, _MDSV_EN_STKTYPE type) const
{
    if (!m_state.device)
        return Status::NoCard;
    if (!m_state.open || m_state.open->id != id)
        return Status::StaleCommand;
    return m_state.open->stkType == type ? Status::Success : Status::WrongCommand;
}

void Service::closeLocked(const cat::Response &response)
{
    queueLocked([this, device = m_state.device, closed = *m_state.open, response] {
        cat::Bytes answer;
        if (respond(device, response, closed.command.items, &answer))
            follow(device, answer);
    });
    m_state.open.reset();
}

Status Service::refuse(const std::string &what, Status status)
{
    note(what + ": refused, " + describe(status));
    return status;
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
        job = [this, device = m_state.device, closed = *m_state.open] { expire(device, closed); };
        m_state.open.reset();
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

// ---------------------------------------------------------------------------------------------------------------------
// The device

/// Forgets the attached device and has its end told. The caller passes it to letGo() when it has released the lock.
Service::DevicePtr Service::takeDeviceLocked()
{
    DevicePtr device = std::exchange(m_state, State()).device;
    if (device && !m_isStopping)
        queueLocked([this, device] { finishDetach(device); });
    return device;
}

void Service::letGo(const DevicePtr &device)
{
    if (!device)
        return;
    callOutside("the card channel", [&] { device->channel->interrupt(); });
    const std::lock_guard<std::mutex> lock(m_mutex);
    device->isReleased = true;
    m_wake.notify_all();
}

void Service::finishDetach(const DevicePtr &device)
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait(lock, [&] { return device->isReleased; });
    }
    tell(Exchange::Kind::Device, device->channel->name() + ": detached");
    device->channel.reset(); // before the event: whoever hears it may open the same card again
    raiseDevice(MDSV_DEVICE_REMOVED);
}

void Service::startCard(const DevicePtr &device)
{
    if (!isCurrent(device))
        return;
    tell(Exchange::Kind::Device, device->channel->name() + ": attached");
    std::string error;
    bool isThere = false;
    callOutside("the card channel", [&] { isThere = device->channel->reset(&error); });
    cat::Bytes answer;
    if (!isThere)
        loseDevice(device, "no card, " + error, MDSV_DEVICE_UNAVAILABLE);
    else if (exchange(device, terminalProfileApdu(), &answer))
        follow(device, answer);
}

bool Service::isCurrent(const DevicePtr &device) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_state.device == device;
}

void Service::loseDevice(const DevicePtr &device, const std::string &why, int event)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return; // detached meanwhile, and that tells its own end
        m_state = State();
    }
    tell(Exchange::Kind::Device, device->channel->name() + ": " + why);
    device->channel.reset();
    raiseDevice(event);
}

} // namespace sdk
