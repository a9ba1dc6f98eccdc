#include "sdk/SdkControl.h"

#include "card/VirtualCard.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>

namespace sdk
{

namespace
{

std::atomic<std::chrono::milliseconds> latency{usualCardLatency};

/// What all virtual cards wait on.
struct Line {
    std::mutex mutex;
    std::condition_variable wake;
    bool isHanging = false;
};

/// Never destroyed: a card may still wait while the process ends.
Line &line()
{
    static Line *const shared = new Line;
    return *shared;
}

/// The way to a card in this process. The card says how long it thinks, and here is where that time passes, together
/// with the time that a card on a real line takes.
class VirtualChannel : public CardChannel
{
public:
    explicit VirtualChannel(card::Profile profile)
        : m_name("virtual card '" + profile.name + '\''), m_operatorName(profile.operatorName),
          m_card(std::move(profile))
    {
    }

    std::string name() const override { return m_name; }

    bool reset(std::string *error) override
    {
        if (waitFor(std::chrono::milliseconds(0))) {
            m_card.reset();
            return true;
        }
        if (error)
            *error = m_name + " has been taken out: attach a new one";
        return false;
    }

    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override
    {
        if (!waitFor(std::chrono::milliseconds(0)))
            return false;
        card::CardAnswer cardAnswer = m_card.transmit(apdu);
        *answer = std::move(cardAnswer.bytes);
        return waitFor(latency.load() + cardAnswer.delay);
    }

    bool hasNetwork() const override { return m_card.hasNetwork(); }

    std::string operatorName() const override { return m_operatorName; }

    bool raise(const cat::Bytes &command) override { return m_card.raise(command); }

    void interrupt() override
    {
        const std::lock_guard<std::mutex> lock(line().mutex);
        m_interrupted = true;
        line().wake.notify_all();
    }

private:
    /// False: interrupted.
    bool waitFor(std::chrono::milliseconds delay)
    {
        std::unique_lock<std::mutex> lock(line().mutex);
        if (!line().wake.wait_for(lock, delay, [this] { return m_interrupted; }))
            line().wake.wait(lock, [this] { return m_interrupted || !line().isHanging; });
        return !m_interrupted;
    }

    const std::string m_name;
    const std::string m_operatorName;
    card::VirtualCard m_card;
    bool m_interrupted = false;
};

} // namespace

void setVirtualCardLatency(std::chrono::milliseconds time)
{
    latency = std::clamp(time, std::chrono::milliseconds(0), std::chrono::milliseconds(60000));
}

void setVirtualCardsHanging(bool isHanging)
{
    const std::lock_guard<std::mutex> lock(line().mutex);
    line().isHanging = isHanging;
    line().wake.notify_all();
}

std::unique_ptr<CardChannel> openVirtualCard(const std::string &path, std::string *error)
{
    try {
        return std::make_unique<VirtualChannel>(card::loadProfile(path));
    } catch (const card::ProfileError &problem) {
        if (error)
            *error = problem.what();
        return nullptr;
    }
}

} // namespace sdk
