#ifndef SDK_PCSCNEWS_H
#define SDK_PCSCNEWS_H

#include "sdk/CardChannel.h"

#include <chrono>
#include <optional>

namespace sdk
{

/// What is known about the card in a reader, from those who look at the reader and from those who talk to the card, and
/// what of it is news. Knows no thread, no lock and no PC/SC.
///
/// Nothing is told before the first reset() has ended: the channel's user has not asked yet. From then on the user
/// believes that there is a card (after a reset that has succeeded) or that there is none, and news is what changes
/// that belief: Gone in the first case, There in the second, once for every card. A card that is still in the reader
/// although it was lost, or was taken by another program, is tried again after a while.
class PcscNews
{
public:
    using Clock = std::chrono::steady_clock;
    using News = CardChannel::News;

    explicit PcscNews(std::chrono::milliseconds retry) : m_retry(retry) {}

    /// What the reader shows: a card or none (no reader, no service), and a number that differs for each card.
    void see(bool isCardThere, unsigned cardNumber);

    /// A call to the card begins, or has ended, however late. While one runs there is no news of a card.
    void begin() { ++m_begun; }
    void end() { ++m_ended; }

    /// How a reset() has ended. `mayRetry`: the same card may do better in a while.
    void resetDone(bool isUp, bool mayRetry, Clock::time_point now);

    /// A reset begins: what is seen from here on is later than what it finds.
    void resetBegins() { m_triedCard = m_card; }

    /// transmit() has failed, and has told so.
    void lose(Clock::time_point now);

    /// Whether the card of the last reset() is still there, as far as is known.
    bool isUp() const { return m_isUp; }

    /// The next piece of news, if there is one now; it counts as told.
    std::optional<News> next(Clock::time_point now);

    /// When next() may have something although nothing happens.
    std::optional<Clock::time_point> due() const;

private:
    bool isBusy() const { return m_begun != m_ended; }
    bool isLooking() const { return !m_isUp && m_isAsked && m_isCardThere; }

    const std::chrono::milliseconds m_retry;
    bool m_hasSeen = false;
    bool m_isCardThere = false;
    unsigned m_number = 0;
    unsigned m_card = 0;      ///< goes up with each card that is seen to come or go
    unsigned m_triedCard = 0; ///< m_card at the last reset(), or when the last There was told
    bool m_isAsked = false;   ///< there has been a reset()
    bool m_isUp = false;      ///< the user believes in a card
    bool m_isGone = false;    ///< Gone has yet to be told
    std::optional<Clock::time_point> m_retryAt;
    unsigned long m_begun = 0;
    unsigned long m_ended = 0;
};

} // namespace sdk

#endif // SDK_PCSCNEWS_H
