#ifndef SDK_CARDCHANNEL_H
#define SDK_CARDCHANNEL_H

#include "cat/Bytes.h"

#include <string>

namespace sdk
{

/// The way to one card. Used on the service's own thread, except for interrupt(), which any thread may call.
class CardChannel
{
public:
    virtual ~CardChannel() = default;

    /// For logs and people: "virtual card 'Demo'".
    virtual std::string name() const = 0;

    /// Powers the card up, or resets it when it is up. False: there is no card, and `*error` says what to do.
    virtual bool reset(std::string *error) = 0;

    /// Sends one command APDU and waits for the answer: data, then SW1 and SW2, at least 2 bytes.
    /// False: the card is gone, or interrupt() was called.
    virtual bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) = 0;

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
