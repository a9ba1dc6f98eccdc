#ifndef CARD_VIRTUALCARD_H
#define CARD_VIRTUALCARD_H

#include "card/Profile.h"

#include <chrono>

namespace card
{

/// What a card sends back to one command APDU.
struct CardAnswer {
    cat::Bytes bytes; ///< data, then SW1 and SW2
    /// How long the card takes. VirtualCard never sleeps: the channel waits, so that a card that is pulled out ends it.
    std::chrono::milliseconds delay{0};
};

/// A UICC that does nothing but the toolkit of its profile: TERMINAL PROFILE, FETCH, TERMINAL RESPONSE, ENVELOPE
/// (menu selection), STATUS, and SELECT with GET RESPONSE for its master file, which is the only one (ETSI TS 102 221
/// clause 11, ETSI TS 102 223 clause 6). Status words: 91xx while a proactive command waits, 9000 otherwise, and the
/// errors of ISO/IEC 7816-4 for what it cannot do. Data that a command without Le leaves are told by 61xx, as over T=0.
/// Used on one thread at a time.
class VirtualCard
{
public:
    explicit VirtualCard(Profile profile);
    ~VirtualCard();
    VirtualCard(const VirtualCard &) = delete;
    VirtualCard &operator=(const VirtualCard &) = delete;

    /// Power off and on again: every session is forgotten.
    void reset();

    /// Whether the card's short messages, SS and USSD find a network, as its profile says.
    bool hasNetwork() const;

    /// Has the card ask `command` when nothing else is open: STATUS, or the end of the session, then announces it. Any
    /// number may wait; power off and a new TERMINAL PROFILE forget them. False, and nothing waits: it has no readable
    /// command details, or does not fit into FETCH.
    bool raise(const cat::Bytes &command);

    /// Any bytes are allowed; a malformed APDU gets an error status word.
    CardAnswer transmit(cat::ByteView apdu);

private:
    struct Session;
    std::unique_ptr<Session> m_session;
};

} // namespace card

#endif // CARD_VIRTUALCARD_H
