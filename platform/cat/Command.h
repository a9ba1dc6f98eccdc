#ifndef CAT_COMMAND_H
#define CAT_COMMAND_H

#include "cat/Bytes.h"

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
    BeyondCapabilities = 0x30,
    TypeNotUnderstood = 0x31,
    DataNotUnderstood = 0x32,
    NumberNotKnown = 0x33,
    ValuesMissing = 0x36,
};

/// "command performed successfully" and so on; a value without a name as its number.
std::string resultMeaning(Result result);

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

/// A proactive command. A data object that the command does not carry is empty.
struct Command {
    CommandDetails details;
    Device source = Device::Uicc;
    Device destination = Device::Terminal;
    std::optional<std::u16string> alphaId;   ///< title of a menu (clause 8.2); present and empty: a null data object
    std::vector<Item> items;                 ///< at most 255
    std::optional<std::uint8_t> defaultItem; ///< identifier of the item to begin with (clause 8.10)

    bool helpAvailable() const { return (details.qualifier & 0x80) != 0; }
};

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

/// The BER-TLV object for FETCH. Texts take the shortest coding that holds them.
Bytes encodeCommand(const Command &command);

/// One terminal response (ETSI TS 102 223 clause 6.8).
struct Response {
    CommandDetails details;
    Device source = Device::Terminal;
    Device destination = Device::Uicc;
    Result result = Result::Performed;
    Bytes additionalInformation;        ///< behind the general result
    std::optional<std::uint8_t> itemId; ///< the chosen item (clause 8.10)
};

/// Data field of the TERMINAL RESPONSE command.
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

} // namespace cat

#endif // CAT_COMMAND_H
