#include "cat/Command.h"

#include "cat/Text.h"
#include "cat/Tlv.h"

#include <algorithm>
#include <iterator>

namespace cat
{

namespace
{

constexpr std::size_t mostItems = 255;

/// ETSI TS 102 223 clause 9.4.
constexpr struct {
    std::uint8_t type;
    const char *name;
} commandNames[] = {
    {0x01, "REFRESH"},
    {0x02, "MORE TIME"},
    {0x03, "POLL INTERVAL"},
    {0x04, "POLLING OFF"},
    {0x05, "SET UP EVENT LIST"},
    {0x10, "SET UP CALL"},
    {0x11, "SEND SS"},
    {0x12, "SEND USSD"},
    {0x13, "SEND SHORT MESSAGE"},
    {0x14, "SEND DTMF"},
    {0x15, "LAUNCH BROWSER"},
    {0x16, "GEOGRAPHICAL LOCATION REQUEST"},
    {0x20, "PLAY TONE"},
    {0x21, "DISPLAY TEXT"},
    {0x22, "GET INKEY"},
    {0x23, "GET INPUT"},
    {0x24, "SELECT ITEM"},
    {0x25, "SET UP MENU"},
    {0x26, "PROVIDE LOCAL INFORMATION"},
    {0x27, "TIMER MANAGEMENT"},
    {0x28, "SET UP IDLE MODE TEXT"},
    {0x30, "PERFORM CARD APDU"},
    {0x31, "POWER ON CARD"},
    {0x32, "POWER OFF CARD"},
    {0x33, "GET READER STATUS"},
    {0x34, "RUN AT COMMAND"},
    {0x35, "LANGUAGE NOTIFICATION"},
    {0x40, "OPEN CHANNEL"},
    {0x41, "CLOSE CHANNEL"},
    {0x42, "RECEIVE DATA"},
    {0x43, "SEND DATA"},
    {0x44, "GET CHANNEL STATUS"},
    {0x45, "SERVICE SEARCH"},
    {0x46, "GET SERVICE INFORMATION"},
    {0x47, "DECLARE SERVICE"},
    {0x50, "SET FRAMES"},
    {0x51, "GET FRAMES STATUS"},
    {0x60, "RETRIEVE MULTIMEDIA MESSAGE"},
    {0x61, "SUBMIT MULTIMEDIA MESSAGE"},
    {0x62, "DISPLAY MULTIMEDIA MESSAGE"},
    {0x70, "ACTIVATE"},
    {0x71, "CONTACTLESS STATE CHANGED"},
    {0x72, "COMMAND CONTAINER"},
    {0x73, "ENCAPSULATED SESSION CONTROL"},
};

/// ETSI TS 102 223 clause 8.12.
constexpr struct {
    std::uint8_t result;
    const char *meaning;
} resultMeanings[] = {
    {0x00, "command performed successfully"},
    {0x01, "command performed with partial comprehension"},
    {0x02, "command performed, with missing information"},
    {0x03, "REFRESH performed with additional files read"},
    {0x04, "command performed, but the requested icon could not be displayed"},
    {0x05, "command performed, but modified by call control"},
    {0x06, "command performed, limited service"},
    {0x07, "command performed with modification"},
    {0x08, "REFRESH performed, but the indicated application was not active"},
    {0x09, "command performed, tone not played"},
    {0x10, "proactive session terminated by the user"},
    {0x11, "backward move requested by the user"},
    {0x12, "no response from the user"},
    {0x13, "help information required by the user"},
    {0x14, "USSD or SS transaction terminated by the user"},
    {0x20, "terminal currently unable to process the command"},
    {0x21, "network currently unable to process the command"},
    {0x22, "user did not accept the command"},
    {0x23, "user cleared down the call before connection or network release"},
    {0x24, "action in contradiction with the current timer state"},
    {0x25, "interaction with call control, temporary problem"},
    {0x26, "launch browser generic error"},
    {0x27, "MMS temporary problem"},
    {0x30, "command beyond the terminal's capabilities"},
    {0x31, "command type not understood by the terminal"},
    {0x32, "command data not understood by the terminal"},
    {0x33, "command number not known by the terminal"},
    {0x34, "SS return error"},
    {0x35, "SMS RP-ERROR"},
    {0x36, "error, required values are missing"},
    {0x37, "USSD return error"},
    {0x38, "multiple card commands error"},
    {0x39, "interaction with call control, permanent problem"},
    {0x3A, "bearer independent protocol error"},
    {0x3B, "access technology unable to process the command"},
    {0x3C, "frames error"},
    {0x3D, "MMS error"},
};

std::string hexByte(std::uint8_t byte)
{
    return toHex(ByteView(&byte, 1));
}

const char *standardName(CommandType type)
{
    for (const auto &row : commandNames) {
        if (row.type == static_cast<std::uint8_t>(type))
            return row.name;
    }
    return nullptr;
}

/// What has been read of a command so far.
struct Parsing {
    Command command;
    std::size_t nullItems = 0; ///< items without any content
};

// Data objects. Each parse function answers false when the value is not what its clause says.

bool parseDetails(ByteView value, CommandDetails *details)
{
    if (value.size != 3)
        return false;
    *details = {value[0], static_cast<CommandType>(value[1]), value[2]};
    return true;
}

bool parseDevices(ByteView value, Device *source, Device *destination)
{
    if (value.size != 2)
        return false;
    *source = static_cast<Device>(value[0]);
    *destination = static_cast<Device>(value[1]);
    return true;
}

bool parseCommandDetails(ByteView value, Parsing *parsing)
{
    return parseDetails(value, &parsing->command.details);
}

bool parseDeviceIdentities(ByteView value, Parsing *parsing)
{
    return parseDevices(value, &parsing->command.source, &parsing->command.destination);
}

bool parseAlphaIdentifier(ByteView value, Parsing *parsing)
{
    parsing->command.alphaId = decodeAlpha(value);
    return parsing->command.alphaId.has_value();
}

bool parseItem(ByteView value, Parsing *parsing)
{
    if (value.empty()) {
        ++parsing->nullItems;
        return true;
    }
    std::optional<std::u16string> text = decodeAlpha(ByteView(value.data + 1, value.size - 1));
    if (!text || value[0] == 0 || parsing->command.items.size() == mostItems)
        return false;
    parsing->command.items.push_back({value[0], std::move(*text)});
    return true;
}

bool parseItemIdentifier(ByteView value, Parsing *parsing)
{
    if (value.size != 1)
        return false;
    parsing->command.defaultItem = value[0];
    return true;
}

// ... and the other way round. Each write function appends nothing for an object that the command does not carry.

void writeDetails(const CommandDetails &details, Bytes *out)
{
    const Bytes value{details.number, static_cast<std::uint8_t>(details.type), details.qualifier};
    appendObject(out, Tag::CommandDetails, true, value);
}

void writeDevices(Device source, Device destination, Bytes *out)
{
    const Bytes value{static_cast<std::uint8_t>(source), static_cast<std::uint8_t>(destination)};
    appendObject(out, Tag::DeviceIdentities, true, value);
}

void writeCommandDetails(const Command &command, Bytes *out)
{
    writeDetails(command.details, out);
}

void writeDeviceIdentities(const Command &command, Bytes *out)
{
    writeDevices(command.source, command.destination, out);
}

void writeAlphaIdentifier(const Command &command, Bytes *out)
{
    if (command.alphaId)
        appendObject(out, Tag::AlphaIdentifier, true, encodeAlpha(*command.alphaId));
}

void writeItems(const Command &command, Bytes *out)
{
    for (const Item &item : command.items) {
        Bytes value = encodeAlpha(item.text);
        value.insert(value.begin(), item.id);
        appendObject(out, Tag::Item, true, value);
    }
    // One item without content takes the menu away (ETSI TS 102 223 clause 6.6.7).
    if (command.items.empty() && command.details.type == CommandType::SetUpMenu)
        appendObject(out, Tag::Item, true, ByteView());
}

void writeItemIdentifier(const Command &command, Bytes *out)
{
    if (command.defaultItem)
        appendObject(out, Tag::ItemIdentifier, true, ByteView(&*command.defaultItem, 1));
}

/// A data object: how it is read and written. One without functions is known, and skipped.
struct ObjectRow {
    Tag tag;
    bool repeats; ///< every one counts, not only the first
    const char *name;
    bool (*parse)(ByteView value, Parsing *parsing);
    void (*write)(const Command &command, Bytes *out);
};

constexpr ObjectRow objectRows[] = {
    {Tag::CommandDetails, false, "command details", parseCommandDetails, writeCommandDetails},
    {Tag::DeviceIdentities, false, "device identities", parseDeviceIdentities, writeDeviceIdentities},
    {Tag::AlphaIdentifier, false, "alpha identifier", parseAlphaIdentifier, writeAlphaIdentifier},
    {Tag::Item, true, "item", parseItem, writeItems},
    {Tag::ItemIdentifier, false, "item identifier", parseItemIdentifier, writeItemIdentifier},
    {Tag::ItemsNextActionIndicator, false, "items next action indicator", nullptr, nullptr},
    {Tag::IconIdentifier, false, "icon identifier", nullptr, nullptr},
    {Tag::ItemIconIdentifierList, false, "item icon identifier list", nullptr, nullptr},
    {Tag::TextAttribute, false, "text attribute", nullptr, nullptr},
    {Tag::ItemTextAttributeList, false, "item text attribute list", nullptr, nullptr},
};

const ObjectRow *objectRow(Tag tag)
{
    const auto row = std::find_if(std::begin(objectRows), std::end(objectRows),
                                  [tag](const ObjectRow &candidate) { return candidate.tag == tag; });
    return row == std::end(objectRows) ? nullptr : row;
}

/// A data object in a command, in the order of the command's clause.
struct ObjectUse {
    Tag tag;
    bool mandatory;
};

constexpr ObjectUse setUpMenuObjects[] = {
    {Tag::CommandDetails, true},
    {Tag::DeviceIdentities, true},
    {Tag::AlphaIdentifier, true},
    {Tag::Item, true},
    {Tag::ItemsNextActionIndicator, false},
    {Tag::IconIdentifier, false},
    {Tag::ItemIconIdentifierList, false},
    {Tag::TextAttribute, false},
    {Tag::ItemTextAttributeList, false},
};

constexpr ObjectUse selectItemObjects[] = {
    {Tag::CommandDetails, true},
    {Tag::DeviceIdentities, true},
    {Tag::AlphaIdentifier, false},
    {Tag::Item, true},
    {Tag::ItemsNextActionIndicator, false},
    {Tag::ItemIdentifier, false},
    {Tag::IconIdentifier, false},
    {Tag::ItemIconIdentifierList, false},
    {Tag::TextAttribute, false},
    {Tag::ItemTextAttributeList, false},
};

/// Objects that are fine one by one may still contradict each other: then the answer says how, otherwise it is null.
const char *checkSetUpMenu(const Parsing &parsing)
{
    const bool contradiction = parsing.nullItems > 0 && parsing.nullItems + parsing.command.items.size() > 1;
    return contradiction ? "an empty item, which takes the menu away, is not the only item" : nullptr;
}

const char *checkSelectItem(const Parsing &parsing)
{
    return parsing.nullItems > 0 ? "an item is empty" : nullptr;
}

/// A command: who carries it out and which objects it has.
struct CommandRow {
    CommandType type;
    Device destination;
    const ObjectUse *objects;
    std::size_t objectCount;
    const char *(*check)(const Parsing &parsing);

    const ObjectUse *begin() const { return objects; }
    const ObjectUse *end() const { return objects + objectCount; }
    bool has(Tag tag) const
    {
        return std::any_of(begin(), end(), [tag](const ObjectUse &use) { return use.tag == tag; });
    }
};

constexpr CommandRow commandRows[] = {
    {CommandType::SetUpMenu, Device::Terminal, setUpMenuObjects, std::size(setUpMenuObjects), checkSetUpMenu},
    {CommandType::SelectItem, Device::Terminal, selectItemObjects, std::size(selectItemObjects), checkSelectItem},
};

const CommandRow *commandRow(CommandType type)
{
    const auto row = std::find_if(std::begin(commandRows), std::end(commandRows),
                                  [type](const CommandRow &candidate) { return candidate.type == type; });
    return row == std::end(commandRows) ? nullptr : row;
}

void refuse(DecodedCommand *decoded, Result result, const std::string &reason)
{
    decoded->result = result;
    decoded->reason = reason;
}

/// The first object with that tag, as long as the bytes in front of it can be walked over.
std::optional<TlvObject> findObject(ByteView objects, Tag tag)
{
    TlvReader reader(objects);
    while (const std::optional<TlvObject> object = reader.next()) {
        if (object->tag == tag)
            return object;
    }
    return std::nullopt;
}

/// Command details and devices: enough to answer a command that goes no further.
void readHead(ByteView objects, DecodedCommand *decoded)
{
    Command &command = decoded->command;
    const std::optional<TlvObject> details = findObject(objects, Tag::CommandDetails);
    decoded->detailsKnown = details && parseDetails(details->value, &command.details);
    const std::optional<TlvObject> devices = findObject(objects, Tag::DeviceIdentities);
    if (devices)
        parseDevices(devices->value, &command.source, &command.destination);
}

/// What kept an object from being read; no reason: nothing did.
struct Fault {
    Result result = Result::DataNotUnderstood;
    std::string reason;
};

Fault readObject(const CommandRow &row, const TlvObject &object, std::vector<Tag> *seen, Parsing *parsing)
{
    const bool known = row.has(object.tag);
    if (!known && object.comprehension)
        return {Result::DataNotUnderstood, "object with tag " + std::to_string(static_cast<unsigned int>(object.tag)) +
                                               " must be understood, but does not belong to " + commandName(row.type)};
    const ObjectRow *how = known ? objectRow(object.tag) : nullptr;
    const bool repeated = std::find(seen->begin(), seen->end(), object.tag) != seen->end();
    if (!how || (repeated && !how->repeats))
        return {};
    if (!repeated)
        seen->push_back(object.tag);
    if (how->parse && !how->parse(object.value, parsing))
        return {Result::DataNotUnderstood, std::string(how->name) + " " + toHex(object.value) + " is malformed"};
    return {};
}

Fault readObjects(const CommandRow &row, ByteView objects, Parsing *parsing)
{
    std::vector<Tag> seen;
    TlvReader reader(objects);
    while (const std::optional<TlvObject> object = reader.next()) {
        Fault fault = readObject(row, *object, &seen, parsing);
        if (!fault.reason.empty())
            return fault;
    }
    if (reader.malformed())
        return {Result::DataNotUnderstood, "a data object is cut off or has no readable length"};
    for (const ObjectUse &use : row) {
        if (use.mandatory && std::find(seen.begin(), seen.end(), use.tag) == seen.end())
            return {Result::ValuesMissing, std::string(objectRow(use.tag)->name) + " is missing"};
    }
    return {};
}

Fault checkCommand(const CommandRow &row, const Parsing &parsing)
{
    if (parsing.command.source != Device::Uicc || parsing.command.destination != row.destination)
        return {Result::DataNotUnderstood, commandName(row.type) + " does not go from device " +
                                               hexByte(static_cast<std::uint8_t>(parsing.command.source)) + " to " +
                                               hexByte(static_cast<std::uint8_t>(parsing.command.destination))};
    const char *contradiction = row.check(parsing);
    return {Result::DataNotUnderstood, contradiction ? contradiction : ""};
}

void readBody(const CommandRow &row, const BerObject &ber, DecodedCommand *decoded)
{
    Parsing parsing;
    Fault fault = readObjects(row, ber.value, &parsing);
    if (fault.reason.empty() && !ber.complete)
        fault = {Result::DataNotUnderstood, "the command is shorter than its length says"};
    if (fault.reason.empty())
        fault = checkCommand(row, parsing);
    if (fault.reason.empty())
        decoded->command = std::move(parsing.command);
    else
        refuse(decoded, fault.result, fault.reason);
}

/// Results with which the user's choice of an item goes to the card: performed in one way or another, or help.
bool carriesItem(Result result)
{
    return static_cast<std::uint8_t>(result) < 0x10 || result == Result::HelpRequired;
}

bool readResult(const std::optional<TlvObject> &object, Response *response)
{
    if (!object || object->value.empty())
        return false;
    response->result = static_cast<Result>(object->value[0]);
    response->additionalInformation.assign(object->value.begin() + 1, object->value.end());
    return true;
}

/// False when there is an identifier and it is not one byte.
bool readItemId(const std::optional<TlvObject> &object, std::optional<std::uint8_t> *itemId)
{
    if (object && object->value.size == 1)
        *itemId = object->value[0];
    return !object || object->value.size == 1;
}

bool wellFormed(ByteView objects)
{
    TlvReader reader(objects);
    while (reader.next())
        continue;
    return !reader.malformed();
}

} // namespace

std::string commandName(CommandType type)
{
    const char *name = standardName(type);
    return name ? name : "COMMAND " + hexByte(static_cast<std::uint8_t>(type));
}

std::string resultMeaning(Result result)
{
    for (const auto &row : resultMeanings) {
        if (row.result == static_cast<std::uint8_t>(result))
            return row.meaning;
    }
    return "result " + hexByte(static_cast<std::uint8_t>(result));
}

DecodedCommand decodeCommand(ByteView pdu)
{
    DecodedCommand decoded;
    const std::optional<BerObject> ber = readBer(pdu);
    if (!ber || ber->tag != static_cast<std::uint8_t>(BerTag::ProactiveCommand)) {
        refuse(&decoded, Result::DataNotUnderstood, "not a proactive command");
        return decoded;
    }
    readHead(ber->value, &decoded);
    const CommandType type = decoded.command.details.type;
    if (!decoded.detailsKnown)
        refuse(&decoded, Result::ValuesMissing, "command details are missing or malformed");
    else if (const CommandRow *row = commandRow(type))
        readBody(*row, *ber, &decoded);
    else if (standardName(type))
        refuse(&decoded, Result::BeyondCapabilities, commandName(type) + " is not supported");
    else
        refuse(&decoded, Result::TypeNotUnderstood, commandName(type) + " is not a known command");
    return decoded;
}

Bytes encodeCommand(const Command &command)
{
    Bytes value;
    if (const CommandRow *row = commandRow(command.details.type)) {
        for (const ObjectUse &use : *row) {
            if (const auto write = objectRow(use.tag)->write)
                write(command, &value);
        }
    } else {
        writeCommandDetails(command, &value);
        writeDeviceIdentities(command, &value);
    }
    return berObject(BerTag::ProactiveCommand, value);
}

Bytes encodeResponse(const Response &response)
{
    Bytes out;
    writeDetails(response.details, &out);
    writeDevices(response.source, response.destination, &out);
    Bytes result = response.additionalInformation;
    result.insert(result.begin(), static_cast<std::uint8_t>(response.result));
    appendObject(&out, Tag::Result, true, result);
    if (response.itemId && carriesItem(response.result))
        appendObject(&out, Tag::ItemIdentifier, true, ByteView(&*response.itemId, 1));
    return out;
}

std::optional<Response> decodeResponse(ByteView data)
{
    Response response;
    const std::optional<TlvObject> details = findObject(data, Tag::CommandDetails);
    const std::optional<TlvObject> devices = findObject(data, Tag::DeviceIdentities);
    const bool good = wellFormed(data) && details && parseDetails(details->value, &response.details) && devices &&
                      parseDevices(devices->value, &response.source, &response.destination) &&
                      readResult(findObject(data, Tag::Result), &response) &&
                      readItemId(findObject(data, Tag::ItemIdentifier), &response.itemId);
    return good ? std::optional<Response>(std::move(response)) : std::nullopt;
}

Bytes encodeMenuSelection(const MenuSelection &selection)
{
    Bytes value;
    writeDevices(Device::Keypad, Device::Uicc, &value);
    appendObject(&value, Tag::ItemIdentifier, true, ByteView(&selection.itemId, 1));
    if (selection.helpRequested)
        appendObject(&value, Tag::HelpRequest, false, ByteView());
    return berObject(BerTag::MenuSelection, value);
}

std::optional<MenuSelection> decodeMenuSelection(ByteView data)
{
    const std::optional<BerObject> ber = readBer(data);
    if (!ber || !ber->complete || ber->tag != static_cast<std::uint8_t>(BerTag::MenuSelection) ||
        !wellFormed(ber->value))
        return std::nullopt;
    const std::optional<TlvObject> devices = findObject(ber->value, Tag::DeviceIdentities);
    const std::optional<TlvObject> item = findObject(ber->value, Tag::ItemIdentifier);
    if (!devices || devices->value.size != 2 || !item || item->value.size != 1)
        return std::nullopt;
    return MenuSelection{item->value[0], findObject(ber->value, Tag::HelpRequest).has_value()};
}

} // namespace cat
