#ifndef SOAK_SOAKCARD_H
#define SOAK_SOAKCARD_H

#include "sdk/CardChannel.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace soak
{

/// What has passed over the line to all cards of the soak. Any thread.
class CardTraffic
{
public:
    /// Proactive commands that FETCH has brought.
    long commands() const { return m_commands; }

    /// TERMINAL RESPONSEs that the card has taken.
    long responses() const { return m_responses; }

    /// Every command APDU: changes when anything has happened.
    long apdus() const { return m_apdus; }

    /// Commands by their names.
    std::map<std::string, long> kinds() const;

    /// The card has said that nothing waits, and the terminal has not said anything since.
    bool isAtRest() const { return m_isAtRest; }

    /// A SELECT ITEM waits for its answer.
    bool isMenuOpen() const { return m_isMenuOpen; }

    void begin();
    void add(const cat::Bytes &apdu, const cat::Bytes &answer);

private:
    void addCommand(const cat::Bytes &command);

    std::atomic<long> m_commands{0};
    std::atomic<long> m_responses{0};
    std::atomic<long> m_apdus{0};
    std::atomic<bool> m_isAtRest{false};
    std::atomic<bool> m_isMenuOpen{false};
    mutable std::mutex m_mutex;
    std::map<std::string, long> m_kinds;
};

/// The way to another card, counted, with 0 to 1 ms for each APDU.
class SoakCard : public sdk::CardChannel
{
public:
    /// `traffic` must outlive the card.
    SoakCard(std::unique_ptr<sdk::CardChannel> card, CardTraffic *traffic);

    std::string name() const override { return m_card->name(); }
    bool reset(std::string *error) override { return m_card->reset(error); }
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override;
    bool hasNetwork() const override { return m_card->hasNetwork(); }
    void interrupt() override { m_card->interrupt(); }

private:
    const std::unique_ptr<sdk::CardChannel> m_card;
    CardTraffic *const m_traffic;
};

} // namespace soak

#endif // SOAK_SOAKCARD_H
