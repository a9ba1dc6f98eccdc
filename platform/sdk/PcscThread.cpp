#include "sdk/PcscThread.h"

#include "sdk/Outside.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace sdk
{

namespace
{

/// So long a call may wait for one that is just about to return.
constexpr std::chrono::milliseconds overlap{100};

/// So long the farewell may hold up the destructor: a healthy service needs some milliseconds.
constexpr std::chrono::milliseconds farewellPatience{1000};

/// Never destroyed, like all that a thread left behind may look at.
std::atomic<bool> &processEnds()
{
    static auto *const flag = new std::atomic<bool>(false);
    return *flag;
}

void watchProcessEnd()
{
    processEnds();
    static const int registered = std::atexit([] { processEnds() = true; });
    (void)registered;
}

} // namespace

void stopAtProcessEnd()
{
    while (processEnds())
        std::this_thread::sleep_for(std::chrono::hours(1));
}

struct PcscThread::Shared {
    std::mutex mutex;
    std::condition_variable wake;
    std::function<void()> call;
    std::function<void()> farewell;
    bool isBusy = false; ///< from run() until the call has returned
    bool isInterrupted = false;
    bool isOver = false; ///< nobody wants the thread any more
    bool hasEnded = false;
};

PcscThread::PcscThread(std::function<void()> farewell) : m_shared(std::make_shared<Shared>())
{
    watchProcessEnd();
    m_shared->farewell = std::move(farewell);
    std::thread([shared = m_shared] { serve(shared); }).detach();
}

PcscThread::~PcscThread()
{
    std::unique_lock<std::mutex> lock(m_shared->mutex);
    m_shared->isOver = true;
    m_shared->wake.notify_all();
    if (!m_shared->isBusy)
        m_shared->wake.wait_for(lock, farewellPatience, [this] { return m_shared->hasEnded; });
}

PcscThread::Outcome PcscThread::run(std::function<void()> call, std::chrono::milliseconds limit)
{
    Shared &s = *m_shared;
    std::unique_lock<std::mutex> lock(s.mutex);
    const auto isSettled = [&s] { return !s.isBusy || s.isInterrupted; };
    s.wake.wait_for(lock, overlap, isSettled);
    if (s.isInterrupted)
        return Outcome::Interrupted;
    if (s.isBusy)
        return Outcome::Busy;
    s.call = std::move(call);
    s.isBusy = true;
    s.wake.notify_all();
    s.wake.wait_for(lock, limit, isSettled);
    if (!s.isBusy)
        return Outcome::Done;
    return s.isInterrupted ? Outcome::Interrupted : Outcome::TooLate;
}

void PcscThread::interrupt()
{
    const std::lock_guard<std::mutex> lock(m_shared->mutex);
    m_shared->isInterrupted = true;
    m_shared->wake.notify_all();
}

void PcscThread::serve(const std::shared_ptr<Shared> &shared)
{
    Shared &s = *shared;
    std::unique_lock<std::mutex> lock(s.mutex);
    for (;;) {
        s.wake.wait(lock, [&s] { return s.call || s.isOver; });
        std::function<void()> call = std::exchange(s.call, nullptr);
        if (!call)
            break;
        lock.unlock();
        callOutside("PC/SC", call);
        call = nullptr; // here: what it holds may take its time to go
        lock.lock();
        s.isBusy = false;
        s.wake.notify_all();
    }
    std::function<void()> farewell = std::exchange(s.farewell, nullptr);
    lock.unlock();
    if (farewell)
        callOutside("PC/SC", farewell);
    farewell = nullptr;
    lock.lock();
    s.hasEnded = true;
    s.wake.notify_all();
}

} // namespace sdk
