#ifndef SDK_SDKCONTROL_H
#define SDK_SDKCONTROL_H

#include "cat/Command.h"
#include "sdk/CardChannel.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a host or a test tells the open device-service library beside the contract in sdk/MDSVStk.h. All functions may
/// be called on any thread.
namespace sdk
{

/// The non-zero statuses of the MDSV_ functions. Callers of the contract treat them alike; they are for logs.
enum class Status : int {
    Success = 0,
    NoCard = 1,        ///< no card, or it has gone
    NoMenu = 2,        ///< the card has installed no menu
    StaleCommand = 3,  ///< the identifier is not the open command's, or that command has been answered
    WrongCommand = 4,  ///< the open command is of another type
    BadArgument = 5,   ///< a null pointer, an unknown item, a callback that was not registered
    SessionBusy = 6,   ///< a session is open, so that no menu choice can be taken
    NotAvailable = 7,  ///< this library cannot do it
    AnswerRefused = 8, ///< not what the card asks for; the command stays open for another try
};

/// Attaches a device with the card behind `channel` and starts the toolkit: reset, TERMINAL PROFILE, FETCH. Returns at
/// once; MDSV_DEVICE_AVAILABLE follows when the card has answered. A device that was attached is detached first.
///
/// When the card goes, MDSV_DEVICE_REMOVED follows; when there is none at first, MDSV_DEVICE_UNAVAILABLE. A channel
/// that stays without a card stays attached: with the next card everything begins anew.
///
/// A host need not call this: when the first callback is registered before any device has been attached, the card
/// whose address is in the environment variable STK_CARD is opened with openCard() and attached. A card that cannot be
/// opened is told in a note.
void attachDevice(std::unique_ptr<CardChannel> channel);

/// Takes the device away: MDSV_DEVICE_REMOVED follows, an open command is closed, and its answer is refused.
void detachDevice();

/// A virtual card of the profile at `path`, or null and in `*error` "file:line:column: reason".
std::unique_ptr<CardChannel> openVirtualCard(const std::string &path, std::string *error);

/// A card by its address, or null and in `*error` what is wrong and what to do about it:
///     pcsc                  the card in the only PC/SC reader
///     pcsc:NAME             in the reader with NAME in its own name
///     modem:/dev/ttyUSB2    in the modem on that serial line
///     modem:HOST:PORT       in the modem, or a simulator of one, behind that TCP port
///     anything else         a virtual card, of the profile at that path
std::unique_ptr<CardChannel> openCard(const std::string &address, std::string *error);

/// The card in a PC/SC reader, or null and in `*error` why not. `name` is a part of the reader's name; empty: the only
/// reader. There need be no card in it yet.
std::unique_ptr<CardChannel> openReader(const std::string &name, std::string *error);

/// The names of the readers that there are now; none and in `*error` why not when they cannot be told.
std::vector<std::string> listReaders(std::string *error);

/// The card in a modem that takes the commands of 3GPP TS 27.007 clause 12, or null and in `*error` why not. `line` is
/// a serial line's path or HOST:PORT. There need be no modem yet.
std::unique_ptr<CardChannel> openModem(const std::string &line, std::string *error);

/// The serial lines that there are now and that may be a modem's.
std::vector<std::string> listModemLines();

/// How long every virtual card takes for an APDU, beside what its profile says: 30 ms at first, as cards do. Callers
/// are made for that: the STK window clears its note that the card has answered only when its request has returned, so
/// a card that answers within microseconds would be overlooked, and waited for in vain. 0 is for tests that do not
/// mind.
void setVirtualCardLatency(std::chrono::milliseconds latency);
constexpr std::chrono::milliseconds usualCardLatency{30};

/// While true, every virtual card hangs: it answers nothing, until this is false again or its device is detached.
void setVirtualCardsHanging(bool isHanging);

/// Has the attached card ask `command` (a BER-TLV object with the tag D0) as soon as no session is open, as an
/// application on the card does that has waited for its hour. Returns at once; a card that cannot be told so says it in
/// a note. False, and in `*error` what is wrong: there is no card, or nothing that FETCH could bring.
bool raiseCommand(const cat::Bytes &command, std::string *error);

/// The next MDSV_STKSrv_ function that asks or answers something does nothing and returns a status other than 0. A
/// note tells which one it was.
void failNextCall();

/// Title of the menu that the card has installed; nothing while there is none. For the host itself: it takes no part in
/// failNextCall().
std::optional<std::u16string> menuTitle();

/// Runs a function on another thread, some time later, in the order given.
using Dispatcher = std::function<void(std::function<void()>)>;

/// Where callbacks run: through `dispatcher` (for the user-interface thread), or on the service's own thread when it
/// is empty, as it is at first.
void setCallbackDispatcher(Dispatcher dispatcher);

/// The language that the user sees, for cards that ask (PROVIDE LOCAL INFORMATION): a name of a locale or a language,
/// of which the two letters of ISO 639 count. What has none, as an empty one, stands for the language of the
/// environment (LC_ALL, LC_MESSAGES, LANG), as at first.
void setLanguage(const std::string &language);

/// How long the user may take over a command; when it is over the card gets "no response from user" and the callback
/// a record with the time-out flag. At first 60 s, and 120 s for GET INPUT. The length that the card itself gives to a
/// text or a key counts in place of it, and that of a tone beside it. SEND SHORT MESSAGE, SEND SS, SEND USSD and
/// REFRESH are carried out when the callback has returned, and at the latest when this is over.
void setResponseLimit(std::chrono::milliseconds limit);

/// The same for one command; `stkType` is an _MDSV_EN_STKTYPE.
void setResponseLimit(int stkType, std::chrono::milliseconds limit);

/// A text that clears itself, and a yes/no question with a length, are ended by the window and have no limit. When the
/// window stays away they are given up so long after their own time; 60 s at first.
void setUnattendedLimit(std::chrono::milliseconds limit);

/// Writes every APDU to a packet capture file from now on, beside the one that the environment variable STK_TRACE may
/// name; an empty path ends it. False: nothing is written, and `*error` is "... file: reason". A file that cannot be
/// written any more later is told once, in a note, and the session goes on.
bool setTraceFile(const std::string &path, std::string *error);

/// Where the session stands: who is to do something next.
enum class Turn {
    NoCard,  ///< nobody: there is no device, or no card in it
    Rest,    ///< nobody: the card has nothing to say at the moment
    Card,    ///< the card, or the terminal itself
    User,    ///< the user
    Network, ///< the network, for what the card sends
};

/// Called with where the session stands, now and whenever that changes, on the service's own thread or the caller's;
/// empty ends it. While one call runs, changes are gathered, and the last of them is told. The listener must not call
/// into the library.
void setTurnListener(std::function<void(Turn)> listener);

/// One step of the session, for people to read.
struct Exchange {
    enum class Kind {
        Command,  ///< the card asks
        Response, ///< terminal response
        Envelope, ///< the user's choice from the main menu, or a timer that is over
        Device,   ///< device attached or gone
        Note,     ///< anything else worth telling: a refused answer, a malformed command
    };
    Kind kind = Kind::Note;
    std::string text; ///< such as "SELECT ITEM \"Balance\", 4 items" or "SELECT ITEM: 11 backward move"
    cat::Bytes bytes; ///< as sent or received; empty where there are none
};

/// Called for every step, on the service's own thread or the caller's; empty ends it. The listener must not call into
/// the library.
void setExchangeListener(std::function<void(const Exchange &)> listener);

/// One APDU and the card's answer to it.
struct ApduExchange {
    std::chrono::system_clock::time_point time; ///< when it was sent
    cat::Bytes command;
    cat::Bytes answer; ///< data, then SW1 and SW2
};

/// Called for every APDU that the card has answered, on the service's own thread; empty ends it. The listener must not
/// call into the library.
void setApduListener(std::function<void(const ApduExchange &)> listener);

/// Ends the service's thread and forgets card, callbacks, dispatcher, listeners, limits, language, faults, latency and
/// trace file: the library is as new. Only the file of STK_TRACE stays open.
void shutDown();

} // namespace sdk

#endif // SDK_SDKCONTROL_H
