#ifndef BENCH_BENCHCARD_H
#define BENCH_BENCHCARD_H

#include "sdk/CardChannel.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

/// A card without any latency: it asks one command at first, then another one again and again. Behind an ENVELOPE it
/// announces a command that never comes.
class BenchCard : public sdk::CardChannel
{
public:
    /// `repeated` may be empty: the card is silent then.
    BenchCard(cat::Bytes first, cat::Bytes repeated, std::atomic<long> *answered)
        : m_next(std::move(first)), m_repeated(std::move(repeated)), m_answered(answered)
    {
    }

    std::string name() const override { return "benchmark card"; }
    bool reset(std::string *) override { return true; }

    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override
    {
        enum { TERMINAL_PROFILE = 0x10, FETCH = 0x12, TERMINAL_RESPONSE = 0x14, ENVELOPE = 0xC2 };
        answer->clear();
        switch (apdu.at(1)) {
        case FETCH:
            if (m_isSilent)
                return sleep();
            *answer = m_next;
            m_next = m_repeated;
            answer->insert(answer->end(), {0x90, 0x00});
            break;
        case TERMINAL_RESPONSE:
            ++*m_answered;
            status(answer);
            break;
        case TERMINAL_PROFILE:
            status(answer);
            break;
        case ENVELOPE:
            m_isSilent = true;
            *answer = {0x91, 0x10};
            break;
        default:
            *answer = {0x90, 0x00};
        }
        return !m_isOver;
    }

    void interrupt() override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isOver = true;
        m_end.notify_all();
    }

private:
    void status(cat::Bytes *answer) const
    {
        if (m_next.empty())
            *answer = {0x90, 0x00};
        else
            *answer = {0x91, static_cast<std::uint8_t>(m_next.size())};
    }

    bool sleep()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_end.wait(lock, [this] { return m_isOver.load(); });
        return false;
    }

    cat::Bytes m_next;
    bool m_isSilent = false;
    const cat::Bytes m_repeated;
    std::atomic<long> *const m_answered;
    std::mutex m_mutex;
    std::condition_variable m_end;
    std::atomic<bool> m_isOver{false};
};

namespace benchcard
{

/// SET UP MENU "Bench" with the items One and Two.
inline cat::Bytes menu()
{
    return {0xD0, 0x1C, 0x81, 0x03, 0x01, 0x25, 0x00, 0x82, 0x02, 0x81, 0x82, 0x85, 0x05, 'B', 'e',
            'n',  'c',  'h',  0x8F, 0x04, 0x01, 'O',  'n',  'e',  0x8F, 0x04, 0x02, 'T',  'w', 'o'};
}

/// DISPLAY TEXT "Hi", which the user clears.
inline cat::Bytes text()
{
    return {0xD0, 0x0E, 0x81, 0x03, 0x02, 0x21, 0x80, 0x82, 0x02, 0x81, 0x02, 0x8D, 0x03, 0x04, 'H', 'i'};
}

/// SET UP IDLE MODE TEXT "Hi", which nobody answers but the window.
inline cat::Bytes idleText()
{
    return {0xD0, 0x0E, 0x81, 0x03, 0x02, 0x28, 0x00, 0x82, 0x02, 0x81, 0x82, 0x8D, 0x03, 0x04, 'H', 'i'};
}

} // namespace benchcard

#endif // BENCH_BENCHCARD_H
