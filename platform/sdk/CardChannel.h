#ifndef SDK_CARDCHANNEL_H
#define SDK_CARDCHANNEL_H

#include "cat/Bytes.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace sdk
{

/// The way to one card: a virtual one, one in a reader, one in a modem. Used on the service's own thread, except for
/// interrupt(), which any thread may call.
class CardChannel
{
public:
    /// What a channel tells by itself.
    enum class News {
        Asks,  ///< the card has something to say: a STATUS brings its announcement
        Ended, ///< the card has given up what it had asked, see isGivenUp()
        Gone,  ///< the card is not there any more, or does not answer: transmit() fails from now on
        There, ///< there is a card again: the next reset() has a chance
    };

    virtual ~CardChannel() = default;

    /// For logs and people: "virtual card 'Demo'".
    virtual std::string name() const = 0;

    /// Powers the card up, or resets it when it is up. False: there is no card, and `*error` says what to do.
    virtual bool reset(std::string *error) = 0;

    /// Sends one command APDU and waits for the answer: data, then SW1 and SW2, at least 2 bytes.
    /// False: the card is gone, or interrupt() was called.
    virtual bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) = 0;

    /// Class byte of the toolkit's commands for this card: 80, or A0 for a SIM of before the UICC (3GPP TS 51.011
    /// clause 9.2). Good after reset().
    virtual std::uint8_t toolkitClass() const { return 0x80; }

    /// Calls `listener` for every piece of news from now on, on any thread, and never from within a function of this
    /// channel. An empty one ends that: when this returns, none is running.
    virtual void setListener(std::function<void(News)> listener) { static_cast<void>(listener); }

    /// Whether the command that FETCH has brought last gets no answer any more: the session is over for the card.
    virtual bool isGivenUp() const { return false; }

    /// Whether the way stays when its card goes, as a reader does: the channel then looks for the next card by itself
    /// and tells it with News::There. False: when the card is gone, so is the channel.
    virtual bool staysWithoutCard() const { return false; }

    /// How often a card at rest is asked with STATUS whether it has something to say, unless the card itself asks for
    /// another time (ETSI TS 102 223 clause 6.4.6). Empty: it need not be asked.
    virtual std::optional<std::chrono::milliseconds> pollInterval() const { return std::nullopt; }

    /// Whether short messages, SS and USSD that the card sends can go out at the moment.
    virtual bool hasNetwork() const { return true; }

    /// Name of the network's operator, for people; empty: the card does not say.
    virtual std::string operatorName() const { return {}; }

    /// Has the card ask `command` when no session is open; a STATUS then announces it. False: this card cannot be told,
    /// or takes no such command.
    virtual bool raise(const cat::Bytes &command)
    {
        static_cast<void>(command);
        return false;
    }

    /// Ends a transmit() that waits, and makes every later one fail until the channel is deleted.
    virtual void interrupt() = 0;
};

} // namespace sdk

#endif // SDK_CARDCHANNEL_H
