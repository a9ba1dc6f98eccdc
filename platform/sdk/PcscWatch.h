#ifndef SDK_PCSCWATCH_H
#define SDK_PCSCWATCH_H

#include "sdk/Hook.h"
#include "sdk/PcscNews.h"
#include "sdk/PcscReaders.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace sdk
{

/// Watches one reader, and tells what is news about its card. Two threads: one waits for the service to report a
/// change, the other tells, so that a service that does not answer keeps nobody waiting.
class PcscWatch
{
public:
    using News = CardChannel::News;

    /// What is known, shared by all who find out about the card; it outlives the watch for as long as they need it.
    class Desk
    {
    public:
        Desk(std::string reader, std::chrono::milliseconds retry) : m_retry(retry), m_news(retry), m_reader(reader) {}

        /// Notes something, and has the news of it told.
        void note(const std::function<void(PcscNews &)> &fact);

        bool isCardUp() const;

        /// The reader's full name, which may change when it is plugged in again.
        std::string reader() const;

    private:
        friend class PcscWatch;

        void look(const std::string &wanted);
        bool followReaders(SCARDCONTEXT context, const std::string &wanted, SCARD_READERSTATE *plugAndPlay);
        LONG waitForChange(SCARDCONTEXT context, SCARD_READERSTATE *states, DWORD count);
        void tell();
        void endLook(std::unique_lock<std::mutex> *lock);
        bool isOver() const;
        void pause(std::chrono::milliseconds time);

        const std::chrono::milliseconds m_retry;
        Hook<std::function<void(News)>> m_listener;
        mutable std::mutex m_mutex; ///< guards what follows
        std::condition_variable m_wake;
        PcscNews m_news;
        std::string m_reader;
        bool m_isOver = false;
        int m_threads = 2;
        bool m_isLooking = true;
        bool m_isCancelling = false;
        bool m_isWaiting = false; ///< in the service, and there may be something to cancel
        SCARDCONTEXT m_context = 0;
    };

    /// `reader` is its name now; when it is gone, the one that `wanted` chooses takes its place. After `retry` a
    /// service that does not run, or a card that was lost, is tried again.
    PcscWatch(const std::string &wanted, const std::string &reader, std::chrono::milliseconds retry);

    /// Nothing is told any more. Waits a moment for the threads, which end on their own otherwise.
    ~PcscWatch();

    PcscWatch(const PcscWatch &) = delete;
    PcscWatch &operator=(const PcscWatch &) = delete;

    /// As CardChannel has it.
    void setListener(std::function<void(News)> listener);

    const std::shared_ptr<Desk> &desk() const { return m_desk; }

private:
    const std::shared_ptr<Desk> m_desk;
};

} // namespace sdk

#endif // SDK_PCSCWATCH_H
