#include "RoadCard.h"

#include "sdk/ModemChannel.h"
#include "sdk/SdkControl.h"
#include "support/ModemDouble.h"

#include <QtCore/QtDebug>

// The card in a modem on a pseudo-terminal: one with habits of its own for every card, the same ones in every run.

namespace
{

/// The way to the card, with the modem at its other end.
class RoadModem : public sdk::CardChannel
{
public:
    RoadModem(const std::string &profile, unsigned int seed)
        : m_modem(ModemPeer::Way::Terminal, card::loadProfile(profile), ModemDouble::anyHabits(seed)), m_seed(seed)
    {
    }

    /// When the row is over: every command has had its response, and none had two.
    ~RoadModem() override
    {
        m_channel.reset();
        const ModemDouble::Count count = m_modem.count();
        if (count.handedOver == 0 || count.handedOver != count.answered || count.refused || count.lost || count.open)
            qFatal("modem of the seed %u: of %d commands %d were answered, %d lost, %d left open; %d responses refused",
                   m_seed, count.handedOver, count.answered, count.lost, count.open, count.refused);
    }

    bool open(std::string *error)
    {
        m_channel = sdk::openCard("modem:" + m_modem.address(), error);
        return m_channel != nullptr;
    }

    std::string name() const override { return m_channel->name(); }
    bool reset(std::string *error) override { return m_channel->reset(error); }
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override { return m_channel->transmit(apdu, answer); }
    void setListener(std::function<void(News)> listener) override { m_channel->setListener(std::move(listener)); }
    bool isGivenUp() const override { return m_channel->isGivenUp(); }
    bool staysWithoutCard() const override { return m_channel->staysWithoutCard(); }
    void interrupt() override { m_channel->interrupt(); }

private:
    ModemDouble m_modem;
    const unsigned int m_seed;
    std::unique_ptr<sdk::CardChannel> m_channel;
};

} // namespace

std::unique_ptr<sdk::CardChannel> roadcard::open(const std::string &profile, std::string *error)
{
    static unsigned int seed = 0;
    sdk::ModemTimes times;
    times.quiet = std::chrono::milliseconds(20);
    times.next = times.start = std::chrono::minutes(2); // the card thinks for half a minute
    sdk::setModemTimes(times);
    auto card = std::make_unique<RoadModem>(profile, ++seed);
    return card->open(error) ? std::move(card) : nullptr;
}

bool roadcard::takesBothThreads()
{
    return false;
}
