#ifndef SDK_HOOK_H
#define SDK_HOOK_H

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace sdk
{

/// A function that one thread calls and another may take away. Once set(), take() or clear() has returned, the function
/// of before runs nowhere and is never called again; only a call to them from within that very function returns while
/// it still runs. No lock is held while the function runs.
template <typename Function>
class Hook
{
public:
    /// Names one registration: a function that is set again, though the same, gets another ticket. 0: nothing is set.
    using Ticket = std::uint64_t;

    Ticket ticket() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_function ? m_ticket : 0;
    }

    /// Replaces whatever is set.
    void set(Function function)
    {
        Kept before = std::make_shared<const Function>(std::move(function));
        std::unique_lock<std::mutex> lock(m_mutex);
        before = replace(std::move(before));
        waitForOthers(&lock);
    }

    /// Sets `function` when nothing else is set. `*isNew` tells whether it was not set already. False: refused.
    bool offer(Function function, bool *isNew)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        *isNew = !m_function;
        if (!m_function)
            replace(std::make_shared<const Function>(function));
        return *m_function == function;
    }

    /// Takes `function` away. False: it is not the one that is set.
    bool take(Function function)
    {
        Kept before;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_function || *m_function != function)
            return false;
        before = replace(nullptr);
        waitForOthers(&lock);
        return true;
    }

    void clear()
    {
        Kept before;
        std::unique_lock<std::mutex> lock(m_mutex);
        before = replace(nullptr);
        waitForOthers(&lock);
    }

    /// Takes the function away without waiting for the calls that run; clear() still waits for them.
    void withdraw()
    {
        Kept before;
        const std::lock_guard<std::mutex> lock(m_mutex);
        before = replace(nullptr);
    }

    /// Takes the function away for the end of the process: nothing waits for the calls that run, now and later.
    void drop()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_dropped = replace(nullptr);
        m_isDropped = true;
    }

    /// Calls the function of the registration `ticket`, or with 0 whichever is set. False: there is none any more.
    template <typename... Arguments>
    bool call(Ticket ticket, Arguments &&...arguments)
    {
        Call current{*this};
        if (!enter(ticket, &current))
            return false;
        (*current.function)(std::forward<Arguments>(arguments)...);
        return true;
    }

private:
    using Kept = std::shared_ptr<const Function>;

    /// One running call. It lets go of the function before it says that it has left.
    struct Call {
        Hook &hook;
        Kept function = nullptr;

        explicit Call(Hook &owner) : hook(owner) {}
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;
        ~Call()
        {
            if (function) {
                function.reset();
                hook.leave();
            }
        }
    };

    struct User {
        std::thread::id thread;
        Ticket ticket;
    };

    bool enter(Ticket ticket, Call *current)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_function || (ticket != 0 && ticket != m_ticket))
            return false;
        m_users.push_back({std::this_thread::get_id(), m_ticket});
        current->function = m_function;
        return true;
    }

    void leave()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto mine = std::find_if(m_users.rbegin(), m_users.rend(), isMine);
        m_users.erase(std::next(mine).base());
        m_left.notify_all();
    }

    /// The function of before: the caller lets go of it when the lock is released, for what it holds may call back.
    Kept replace(Kept function)
    {
        Kept before = std::exchange(m_function, std::move(function));
        ++m_ticket;
        return before;
    }

    void waitForOthers(std::unique_lock<std::mutex> *lock)
    {
        if (m_isDropped || std::any_of(m_users.begin(), m_users.end(), isMine))
            return;
        const Ticket current = m_ticket;
        m_left.wait(*lock, [this, current] {
            return std::none_of(m_users.begin(), m_users.end(),
                                [current](const User &user) { return user.ticket < current; });
        });
    }

    static bool isMine(const User &user) { return user.thread == std::this_thread::get_id(); }

    mutable std::mutex m_mutex;
    std::condition_variable m_left;
    Kept m_function;
    Kept m_dropped; ///< kept alive: what it holds may be in use
    bool m_isDropped = false;
    Ticket m_ticket = 0;
    std::vector<User> m_users;
};

} // namespace sdk

#endif // SDK_HOOK_H
