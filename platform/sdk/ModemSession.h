#ifndef SDK_MODEMSESSION_H
#define SDK_MODEMSESSION_H

#include "cat/Command.h"

#include <deque>
#include <optional>
#include <string>

namespace sdk
{

/// What a modem has handed over for its card, and what of that still owes an answer. No I/O, no locks.
///
/// A card has one proactive command open at a time (ETSI TS 102 223 clause 6.1). So a modem that hands over another one
/// has given the one before up, and +CUSATEND gives up all there are: their answers would be taken for those of others,
/// and go nowhere from then on. A menu is kept for what it shows, although its answer goes nowhere.
class ModemSession
{
public:
    /// What has happened to a command that the service has fetched and not answered.
    struct Change {
        bool isNew = false;    ///< a command waits that did not
        bool hasEnded = false; ///< the one that is open has been given up
    };

    /// +CUSATP. The command that is open or waits already is the modem saying it again, and changes nothing.
    /// In `*problem` is why a command was dropped, if one was: this one or one that it replaces.
    Change handOver(const cat::Bytes &command, std::string *problem);

    /// +CUSATEND.
    Change end(std::string *problem);

    bool isWaiting() const { return !m_waiting.empty(); }

    /// Whether the command that was fetched last gets no answer any more.
    bool isGivenUp() const { return m_open && m_open->isGivenUp; }

    /// 91xx with the length of the command that waits, or 9000.
    cat::Bytes status() const;

    /// FETCH: the command that waits and 9000, 6Cxx for a wrong length, 6985 when none waits.
    cat::Bytes fetch(std::uint8_t length);

    /// TERMINAL RESPONSE with this data. True: it is the answer to what is open, and goes to the modem; finish()
    /// follows then. False: what it answers has been given up, or was never asked.
    bool respond(const cat::Bytes &data);

    /// The modem has taken or refused the answer; or nothing that was open matters any more.
    void finish() { m_open.reset(); }

    void clear();

private:
    struct Handed {
        cat::Bytes bytes;
        cat::CommandDetails details;
        bool isGivenUp = false;
        bool isAnswered = false; ///< and the modem has not said anything to it yet
    };

    std::size_t giveUpWaiting();
    bool giveUpOpen();

    std::deque<Handed> m_waiting; ///< at most a menu that was given up, and one that was not
    std::optional<Handed> m_open; ///< what FETCH has brought
};

} // namespace sdk

#endif // SDK_MODEMSESSION_H
