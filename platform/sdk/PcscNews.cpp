#include "sdk/PcscNews.h"

#include <utility>

namespace sdk
{

void PcscNews::see(bool isCardThere, unsigned cardNumber)
{
    const bool isFirst = !std::exchange(m_hasSeen, true);
    const bool isSame = isCardThere == m_isCardThere && (!isCardThere || cardNumber == m_number);
    m_isCardThere = isCardThere;
    m_number = cardNumber;
    if (isSame && !isFirst)
        return;
    ++m_card;
    if (isFirst && isCardThere && m_isUp) {
        m_triedCard = m_card; // the reset was quicker than the first look
        return;
    }
    if (m_isUp) {
        m_isUp = false;
        m_isGone = true;
    }
}

void PcscNews::resetDone(bool isUp, bool mayRetry, Clock::time_point now)
{
    m_isAsked = true;
    m_isUp = isUp;
    m_isGone = false;
    m_retryAt.reset();
    if (!isUp && mayRetry)
        m_retryAt = now + m_retry;
    // A card that has gone or come meanwhile is not the one that was reset.
    if (isUp && m_hasSeen && m_triedCard != m_card && m_triedCard != 0) {
        m_isUp = false;
        m_isGone = true;
    } else if (isUp) {
        m_triedCard = m_card;
    }
}

void PcscNews::lose(Clock::time_point now)
{
    m_isGone = m_isGone || m_isUp;
    m_isUp = false;
    m_retryAt = now + m_retry;
}

std::optional<PcscNews::News> PcscNews::next(Clock::time_point now)
{
    if (std::exchange(m_isGone, false))
        return News::Gone;
    if (!isLooking() || isBusy())
        return std::nullopt;
    const bool isNew = m_card != m_triedCard;
    const bool isDue = m_retryAt && *m_retryAt <= now;
    if (!isNew && !isDue)
        return std::nullopt;
    m_triedCard = m_card;
    m_retryAt.reset();
    return News::There;
}

std::optional<PcscNews::Clock::time_point> PcscNews::due() const
{
    return isLooking() && !isBusy() ? m_retryAt : std::nullopt;
}

} // namespace sdk
