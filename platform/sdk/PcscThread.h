#ifndef SDK_PCSCTHREAD_H
#define SDK_PCSCTHREAD_H

#include <chrono>
#include <functional>
#include <memory>

namespace sdk
{

/// Parks the calling thread for good once the process has begun to end: the PC/SC library takes itself down then, and
/// nothing may call into it any more. To be passed before every call that a thread left behind may make.
void stopAtProcessEnd();

/// A thread for calls that may never return, as those to a card do that hangs. It is never joined: a call that does not
/// return is left behind with all that it holds, and the caller goes on. So a call holds whatever it uses itself, by
/// value or through a shared pointer.
class PcscThread
{
public:
    enum class Outcome {
        Done,
        TooLate,     ///< it still runs
        Busy,        ///< it has not begun and never will: the one before still runs
        Interrupted, ///< by interrupt(); it may still run, or never have begun
    };

    /// `farewell` is the last that the thread calls.
    explicit PcscThread(std::function<void()> farewell = {});

    /// Waits a moment for the farewell, but not for a call that is late.
    ~PcscThread();

    PcscThread(const PcscThread &) = delete;
    PcscThread &operator=(const PcscThread &) = delete;

    /// Runs `call` on the thread and waits for it until `limit` is over. Used on one thread at a time.
    Outcome run(std::function<void()> call, std::chrono::milliseconds limit);

    /// Ends a run() that waits, and makes every later one end at once. Any thread.
    void interrupt();

private:
    struct Shared;
    static void serve(const std::shared_ptr<Shared> &shared);

    const std::shared_ptr<Shared> m_shared;
};

} // namespace sdk

#endif // SDK_PCSCTHREAD_H
