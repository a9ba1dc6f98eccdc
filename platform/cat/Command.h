#ifndef CAT_COMMAND_H
#define CAT_COMMAND_H

#include "cat/Bytes.h"
#include "cat/Text.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace cat
{

/// Type of command (ETSI TS 102 223 clause 9.4). A value outside the named ones is legal.
enum class CommandType : std::uint8_t {
    Refresh = 0x01,
    MoreTime = 0x02,
    PollInterval = 0x03,
    PollingOff = 0x04,
    SetUpEventList = 0x05,
    SetUpCall = 0x10,
    SendSs = 0x11,
    SendUssd = 0x12,
    SendShortMessage = 0x13,
    SendDtmf = 0x14,
    LaunchBrowser = 0x15,
    PlayTone = 0x20,
    DisplayText = 0x21,
    GetInkey = 0x22,
    GetInput = 0x23,
    SelectItem = 0x24,
    SetUpMenu = 0x25,
    ProvideLocalInformation = 0x26,
    TimerManagement = 0x27,
    SetUpIdleModeText = 0x28,
    LanguageNotification = 0x35,
    OpenChannel = 0x40,
};

/// "SELECT ITEM" and so on; a type without a name as "COMMAND 7F".
std::string commandName(CommandType type);

/// Device identities (ETSI TS 102 223 clause 8.7).
enum class Device : std::uint8_t {
    Keypad = 0x01,
    Display = 0x02,
    Earpiece = 0x03,
    Uicc = 0x81,
    Terminal = 0x82,
    Network = 0x83,
};

/// General result (ETSI TS 102 223 clause 8.12), those in use here. A value outside the named ones is legal.
enum class Result : std::uint8_t {
    Performed = 0x00,
    PerformedPartially = 0x01,
    PerformedMissingInformation = 0x02,
    SessionTerminatedByUser = 0x10,
    BackwardMove = 0x11,
    NoResponseFromUser = 0x12,
    HelpRequired = 0x13,
    TerminalUnable = 0x20,
    NetworkUnable = 0x21,
    TimerContradiction = 0x24,
    BeyondCapabilities = 0x30,
    TypeNotUnderstood = 0x31,
    DataNotUnderstood = 0x32,
    NumberNotKnown = 0x33,
    ValuesMissing = 0x36,
};

/// "command performed successfully" and so on; a value without a name as its number.
std::string resultMeaning(Result result);

/// "positive acknowledgement" and so on (clause 8.16); a tone without a name as "tone 7F".
std::string toneName(std::uint8_t tone);

/// "user activity" and so on (clause 8.25); an event without a name as "event 7F".
std::string eventName(std::uint8_t event);

/// Command details (clause 8.6): a response repeats them unchanged.
struct CommandDetails {
    std::uint8_t number = 1;
    CommandType type = CommandType::SetUpMenu;
    std::uint8_t qualifier = 0;
};

/// One item of SET UP MENU or SELECT ITEM (clause 8.9).
struct Item {
    std::uint8_t id = 0;
    std::u16string text;
};

/// Text string (clause 8.15) with the coding it has on the card interface. No characters: a null data object in a
/// command, a text of no characters in that coding in a response.
struct Text {
    std::u16string value;
    TextCoding coding = TextCoding::Gsm8Bit;
};

/// Duration (clause 8.8).
struct Duration {
    enum class Unit : std::uint8_t { Minutes = 0, Seconds = 1, TenthsOfSeconds = 2 };
    Unit unit = Unit::Seconds;
    std::uint8_t interval = 1; ///< 1 to 255

    std::chrono::milliseconds time() const;
    int seconds() const; ///< whole seconds, rounded up
};

/// Response length (clause 8.11), in characters.
struct ResponseLength {
    std::uint8_t minimum = 0;
    std::uint8_t maximum = 255; ///< 255: no limit
};

/// Icon identifier (clause 8.31). Not shown here; known, so that nothing is refused for it.
struct Icon {
    bool selfExplanatory = false;
    std::uint8_t id = 0;
};

/// Address or SS string (clauses 8.1 and 8.14): type of number, and the digits as text ("*" and "#" stand for
/// themselves, "c" for a pause, "d" for a wild card, "e" for an expansion).
struct Address {
    std::uint8_t tonNpi = 0x91;
    std::string digits;
};

/// What PROVIDE LOCAL INFORMATION asks for, as its qualifier (clause 8.6): those in use here.
enum class LocalInformation : std::uint8_t {
    DateTimeAndZone = 0x03,
    Language = 0x04,
};

/// What TIMER MANAGEMENT asks for, as the two lowest bits of its qualifier (clause 8.6).
enum class TimerAction : std::uint8_t { Start = 0, Deactivate = 1, GetValue = 2 };

/// Timers that a card has, numbered from 1 (clause 8.37), and the longest time for one (clause 6.4.21).
constexpr std::uint8_t timerCount = 8;
constexpr std::chrono::seconds longestTimer = std::chrono::hours(24);

/// Date, time and time zone (clause 8.39).
struct DateTime {
    int year = 2000; ///< the last two digits count; read as 2000 to 2099
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::optional<int> zone; ///< quarters of an hour east of Greenwich, -79 to 79; empty: not known
};

/// A proactive command. A data object that the command does not carry is empty.
struct Command {
    CommandDetails details;
    Device source = Device::Uicc;
    Device destination = Device::Terminal;
    std::optional<Text> text;                     ///< DISPLAY TEXT, GET INKEY, GET INPUT, SET UP IDLE MODE TEXT
    std::optional<Text> defaultText;              ///< GET INPUT (clause 8.23)
    std::optional<ResponseLength> responseLength; ///< GET INPUT
    /// DISPLAY TEXT, GET INKEY, PLAY TONE, SET UP CALL (redial), POLL INTERVAL
    std::optional<Duration> duration;
    std::optional<std::uint8_t> tone;               ///< PLAY TONE (clause 8.16)
    std::optional<std::string> url;                 ///< LAUNCH BROWSER (clause 8.48); empty: the terminal's home page
    std::optional<Address> address;                 ///< SET UP CALL, SEND SHORT MESSAGE
    std::optional<Bytes> subaddress;                ///< SET UP CALL (clause 8.3)
    std::optional<std::u16string> callAlphaId;      ///< SET UP CALL: the second alpha identifier, for the call itself
    std::optional<Address> ss;                      ///< SEND SS
    std::optional<Text> ussd;                       ///< SEND USSD (clause 8.17)
    std::optional<Bytes> tpdu;                      ///< SEND SHORT MESSAGE (clause 8.13)
    std::optional<Bytes> fileList;                  ///< REFRESH (clause 8.18): number of files, then their paths
    std::optional<Bytes> eventList;                 ///< SET UP EVENT LIST (clause 8.25); empty: no event any more
    std::optional<std::uint8_t> timerId;            ///< TIMER MANAGEMENT (clause 8.37), 1 to timerCount
    std::optional<std::chrono::seconds> timerValue; ///< TIMER MANAGEMENT (clause 8.38), up to longestTimer
    std::optional<std::string> language;            ///< LANGUAGE NOTIFICATION (clause 8.45): "en", as in ISO 639
    bool immediateResponse = false;                 ///< DISPLAY TEXT (clause 8.43)
    std::optional<Icon> icon;
    std::optional<Icon> callIcon;            ///< SET UP CALL: the second one
    std::optional<Bytes> nextAction;         ///< items next action indicator (clause 8.24)
    std::optional<Bytes> itemIcons;          ///< item icon identifier list (clause 8.32)
    std::optional<Bytes> textAttribute;      ///< clause 8.72
    std::optional<Bytes> callTextAttribute;  ///< SET UP CALL: the second one
    std::optional<Bytes> itemTextAttributes; ///< clause 8.73
    std::optional<std::u16string> alphaId;   ///< title of a menu (clause 8.2); present and empty: a null data object
    std::vector<Item> items;                 ///< at most 255
    std::optional<std::uint8_t> defaultItem; ///< identifier of the item to begin with (clause 8.10)
    Bytes otherObjects; ///< data objects that belong to the command and are not read here, whole and in their order

    // What the qualifier says (clause 8.6); false for a command in which the bit means nothing of the kind.

    bool helpAvailable() const { return (details.qualifier & 0x80) != 0; }
    /// DISPLAY TEXT: shown even while something else is on the screen.
    bool isHighPriority() const { return bit(CommandType::DisplayText, 0x01); }
    /// DISPLAY TEXT: stays until the user clears it; otherwise it goes after a delay.
    bool isClearedByUser() const { return bit(CommandType::DisplayText, 0x80); }
    /// GET INKEY: the question is answered with yes or no; the other bits then mean nothing.
    bool isYesNo() const { return bit(CommandType::GetInkey, 0x04); }
    /// GET INKEY: a digit is answered at once and need not be confirmed.
    bool isImmediateDigit() const { return bit(CommandType::GetInkey, 0x08); }
    /// GET INKEY, GET INPUT: only 0 to 9, "*", "#" and "+".
    bool isDigitsOnly() const { return isAnswered() && !isYesNo() && (details.qualifier & 0x01) == 0; }
    /// GET INKEY, GET INPUT: any character of UCS2, otherwise those of the GSM default alphabet.
    bool isUcs2() const { return isAnswered() && !isYesNo() && (details.qualifier & 0x03) == 0x03; }
    /// GET INPUT: the characters are not to be seen as they are entered.
    bool isHidden() const { return bit(CommandType::GetInput, 0x04); }
    /// GET INPUT: the answer goes to the card packed.
    bool isPacked() const { return bit(CommandType::GetInput, 0x08); }
    /// SEND SHORT MESSAGE: the text has 8 bits for each character and must be packed before it is sent.
    bool isPackingRequired() const { return bit(CommandType::SendShortMessage, 0x01); }
    /// TIMER MANAGEMENT: what is done to the timer.
    TimerAction timerAction() const { return static_cast<TimerAction>(details.qualifier & 0x03); }
    /// PLAY TONE: vibrates as well, where that is possible.
    bool isVibrating() const { return bit(CommandType::PlayTone, 0x01); }
    /// SET UP MENU, SELECT ITEM: choosing with soft keys is preferred.
    bool isSoftKeyPreferred() const { return bit(CommandType::SetUpMenu, 0x01) || bit(CommandType::SelectItem, 0x04); }

    /// GET INKEY, GET INPUT: the coding that the card wants the answer's text in.
    TextCoding answerCoding() const
    {
        return isUcs2() ? TextCoding::Ucs2 : isPacked() ? TextCoding::Gsm7Packed : TextCoding::Gsm8Bit;
    }

private:
    bool isAnswered() const { return details.type == CommandType::GetInkey || details.type == CommandType::GetInput; }
    bool bit(CommandType type, unsigned int mask) const
    {
        return details.type == type && (details.qualifier & mask) != 0;
    }
};

/// The device that carries a command out: the earpiece for PLAY TONE, the network for SEND SS and so on.
Device destinationOf(CommandType type);

/// What came of decoding.
struct DecodedCommand {
    Command command;
    /// Performed when `command` can be carried out; otherwise the result that the terminal response owes the card.
    Result result = Result::Performed;
    /// Why, in words, when `result` is not Performed.
    std::string reason;
    /// False when not even the command details could be read: such a command gets no response.
    bool detailsKnown = false;
};

/// Decodes the BER-TLV object that FETCH brings (tag D0). Never reads outside `pdu` and never throws; data objects with
/// the comprehension flag that are not known give DataNotUnderstood, missing mandatory ones ValuesMissing, a command
/// type without a row in the table BeyondCapabilities or TypeNotUnderstood.
DecodedCommand decodeCommand(ByteView pdu);

/// The BER-TLV object for FETCH. A text keeps its coding, or takes UCS2 where that cannot hold it; alpha identifiers
/// and items take the shortest coding that holds them. An object that the command's type does not have is left out.
Bytes encodeCommand(const Command &command);

/// One terminal response (ETSI TS 102 223 clause 6.8).
struct Response {
    CommandDetails details;
    Device source = Device::Terminal;
    Device destination = Device::Uicc;
    Result result = Result::Performed;
    Bytes additionalInformation;        ///< behind the general result
    std::optional<std::uint8_t> itemId; ///< the chosen item (clause 8.10)
    std::optional<Text> text;           ///< the answer to GET INPUT or GET INKEY (yes/no: U+0001 or U+0000, 8 bit)
    /// GET INKEY with a duration: how long the question was open (clause 6.4.2). POLL INTERVAL: the time that will be
    /// used (clause 6.4.6).
    std::optional<Duration> duration;
    std::optional<std::uint8_t> timerId;            ///< TIMER MANAGEMENT: the command's
    std::optional<std::chrono::seconds> timerValue; ///< TIMER MANAGEMENT: how long the timer has still to go
    std::optional<DateTime> dateTime;               ///< PROVIDE LOCAL INFORMATION
    std::optional<std::string> language;            ///< PROVIDE LOCAL INFORMATION: two letters
};

/// Data field of the TERMINAL RESPONSE command. Text and item go out only with a result that carries them: performed
/// in one way or another, and for an item also that help is wanted. A text that its coding cannot hold goes out in
/// UCS2.
Bytes encodeResponse(const Response &response);

/// Nothing when the command details, the devices or the result are missing or malformed.
std::optional<Response> decodeResponse(ByteView data);

/// Menu selection (ETSI TS 102 223 clause 7.2): the user's choice from the main menu.
struct MenuSelection {
    std::uint8_t itemId = 0;
    bool helpRequested = false;
};

/// Data field of the ENVELOPE command (tag D3).
Bytes encodeMenuSelection(const MenuSelection &selection);
std::optional<MenuSelection> decodeMenuSelection(ByteView data);

/// Timer expiration (ETSI TS 102 223 clause 7.4): a timer of TIMER MANAGEMENT is over.
struct TimerExpiration {
    std::uint8_t timerId = 1;
    std::chrono::seconds value{0}; ///< how long ago it was started
};

/// Data field of the ENVELOPE command (tag D7).
Bytes encodeTimerExpiration(const TimerExpiration &expiration);
std::optional<TimerExpiration> decodeTimerExpiration(ByteView data);

} // namespace cat

#endif // CAT_COMMAND_H
