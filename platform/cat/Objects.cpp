#include "cat/Objects.h"

#include "cat/Text.h"
#include "cat/Values.h"

#include <iterator>

namespace cat
{

namespace
{

constexpr std::size_t mostItems = 255;

// Fields that are kept as they come.

template <std::optional<Bytes> Command::*field>
bool parseBytes(ByteView value, Parsing *parsing)
{
    (parsing->command.*field).emplace(value.begin(), value.end());
    return true;
}

template <std::optional<Bytes> Command::*field>
void writeBytes(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (const std::optional<Bytes> &bytes = command.*field)
        appendObject(out, head.tag, head.comprehension, *bytes);
}

template <std::optional<std::uint8_t> Command::*field>
bool parseByte(ByteView value, Parsing *parsing)
{
    if (value.size != 1)
        return false;
    parsing->command.*field = value[0];
    return true;
}

template <std::optional<std::uint8_t> Command::*field>
void writeByte(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (const std::optional<std::uint8_t> &byte = command.*field)
        appendObject(out, head.tag, head.comprehension, ByteView(&*byte, 1));
}

// Head of every command.

bool parseCommandDetails(ByteView value, Parsing *parsing)
{
    return parseDetails(value, &parsing->command.details);
}

void writeCommandDetails(const Command &command, const ObjectHead &, Bytes *out)
{
    writeDetails(command.details, out);
}

bool parseDeviceIdentities(ByteView value, Parsing *parsing)
{
    return parseDevices(value, &parsing->command.source, &parsing->command.destination);
}

void writeDeviceIdentities(const Command &command, const ObjectHead &, Bytes *out)
{
    writeDevices(command.source, command.destination, out);
}

// Texts.

template <std::optional<Text> Command::*field>
bool parseText(ByteView value, Parsing *parsing)
{
    parsing->command.*field = parseTextValue(value);
    return (parsing->command.*field).has_value();
}

template <std::optional<Text> Command::*field>
void writeText(const Command &command, const ObjectHead &head, Bytes *out)
{
    const std::optional<Text> &text = command.*field;
    if (text && text->value.empty())
        appendObject(out, head.tag, head.comprehension, ByteView());
    else if (text)
        appendText(out, head, *text);
}

template <std::optional<std::u16string> Command::*field>
bool parseAlpha(ByteView value, Parsing *parsing)
{
    parsing->command.*field = decodeAlpha(value);
    return (parsing->command.*field).has_value();
}

template <std::optional<std::u16string> Command::*field>
void writeAlpha(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (const std::optional<std::u16string> &text = command.*field)
        appendObject(out, head.tag, head.comprehension, encodeAlpha(*text));
}

// SET UP CALL has some objects twice, for the confirmation and for the call itself, told apart by their place (clause
// 6.6.12). The first one behind the place of the confirmation's belongs to the call, unless another follows it.

template <typename Value>
void takePhase(std::optional<Value> *confirmation, std::optional<Value> *call, bool callPhase, Value value)
{
    if (!*confirmation && !*call && !callPhase) {
        *confirmation = std::move(value);
    } else if (!*call) {
        *call = std::move(value);
    } else if (!*confirmation) {
        *confirmation = std::move(*call);
        *call = std::move(value);
    }
}

bool parseCallAlpha(ByteView value, Parsing *parsing)
{
    Command &command = parsing->command;
    std::optional<std::u16string> text = decodeAlpha(value);
    if (text)
        takePhase(&command.alphaId, &command.callAlphaId, command.address.has_value(), std::move(*text));
    return text.has_value();
}

std::optional<Icon> parseIconValue(ByteView value)
{
    if (value.size != 2)
        return std::nullopt;
    return Icon{(value[0] & 0x01) == 0, value[1]};
}

bool parseIcon(ByteView value, Parsing *parsing)
{
    parsing->command.icon = parseIconValue(value);
    return parsing->command.icon.has_value();
}

bool parseCallIcon(ByteView value, Parsing *parsing)
{
    Command &command = parsing->command;
    const std::optional<Icon> icon = parseIconValue(value);
    if (icon)
        takePhase(&command.icon, &command.callIcon, command.callAlphaId.has_value(), *icon);
    return icon.has_value();
}

template <std::optional<Icon> Command::*field>
void writeIcon(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (const std::optional<Icon> &icon = command.*field) {
        const std::uint8_t value[] = {static_cast<std::uint8_t>(icon->selfExplanatory ? 0 : 1), icon->id};
        appendObject(out, head.tag, head.comprehension, ByteView(value, std::size(value)));
    }
}

bool parseCallTextAttribute(ByteView value, Parsing *parsing)
{
    takePhase(&parsing->command.textAttribute, &parsing->command.callTextAttribute, false,
              Bytes(value.begin(), value.end()));
    return true;
}

// Numbers.

bool parseResponseLength(ByteView value, Parsing *parsing)
{
    if (value.size != 2)
        return false;
    parsing->command.responseLength = ResponseLength{value[0], value[1]};
    return true;
}

void writeResponseLength(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (!command.responseLength)
        return;
    const std::uint8_t value[] = {command.responseLength->minimum, command.responseLength->maximum};
    appendObject(out, head.tag, head.comprehension, ByteView(value, std::size(value)));
}

bool parseCommandDuration(ByteView value, Parsing *parsing)
{
    parsing->command.duration = parseDuration(value);
    return parsing->command.duration.has_value();
}

void writeCommandDuration(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.duration)
        writeDuration(*command.duration, head, out);
}

bool parseImmediateResponse(ByteView value, Parsing *parsing)
{
    parsing->command.immediateResponse = value.empty();
    return value.empty();
}

void writeImmediateResponse(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.immediateResponse)
        appendObject(out, head.tag, head.comprehension, ByteView());
}

bool parseUrl(ByteView value, Parsing *parsing)
{
    parsing->command.url.emplace(value.begin(), value.end());
    return true;
}

void writeUrl(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.url)
        appendObject(out, head.tag, head.comprehension, Bytes(command.url->begin(), command.url->end()));
}

template <std::optional<Address> Command::*field>
bool parseAddress(ByteView value, Parsing *parsing)
{
    if (value.empty())
        return false;
    parsing->command.*field = Address{value[0], decodeBcd(ByteView(value.data + 1, value.size - 1))};
    return true;
}

template <std::optional<Address> Command::*field>
void writeAddress(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (const std::optional<Address> &address = command.*field) {
        Bytes value{address->tonNpi};
        appendBcd(address->digits, &value);
        appendObject(out, head.tag, head.comprehension, value);
    }
}

bool parseUssd(ByteView value, Parsing *parsing)
{
    parsing->command.ussd = parseUssdValue(value);
    return parsing->command.ussd.has_value();
}

void writeUssd(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.ussd)
        appendUssd(out, head, *command.ussd);
}

// Timers and language.

bool parseCommandTimerId(ByteView value, Parsing *parsing)
{
    parsing->command.timerId = parseTimerId(value);
    return parsing->command.timerId.has_value();
}

bool parseCommandTimerValue(ByteView value, Parsing *parsing)
{
    parsing->command.timerValue = parseTimerValue(value);
    return parsing->command.timerValue.has_value();
}

void writeCommandTimerValue(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.timerValue)
        appendObject(out, head.tag, head.comprehension, timerValueOf(*command.timerValue));
}

bool parseCommandLanguage(ByteView value, Parsing *parsing)
{
    parsing->command.language = parseLanguage(value);
    return parsing->command.language.has_value();
}

void writeCommandLanguage(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (command.language)
        appendObject(out, head.tag, head.comprehension, Bytes(command.language->begin(), command.language->end()));
}

// Items.

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

void writeItems(const Command &command, const ObjectHead &head, Bytes *out)
{
    for (const Item &item : command.items)
        appendObject(out, head.tag, head.comprehension, item.id, encodeAlpha(item.text));
    // One item without content takes the menu away (ETSI TS 102 223 clause 6.6.7).
    if (command.items.empty() && command.details.type == CommandType::SetUpMenu)
        appendObject(out, head.tag, head.comprehension, ByteView());
}

template <std::optional<Bytes> Command::*field>
constexpr DataObject bytesObject(Tag tag, const char *name)
{
    return {tag, false, name, parseBytes<field>, writeBytes<field>};
}

constexpr DataObject keptObject(Tag tag, const char *name)
{
    return {tag, true, name, nullptr, nullptr};
}

} // namespace

namespace objects
{

const DataObject commandDetails{Tag::CommandDetails, false, "command details", parseCommandDetails,
                                writeCommandDetails};
const DataObject deviceIdentities{Tag::DeviceIdentities, false, "device identities", parseDeviceIdentities,
                                  writeDeviceIdentities};
const DataObject alphaIdentifier{Tag::AlphaIdentifier, false, "alpha identifier", parseAlpha<&Command::alphaId>,
                                 writeAlpha<&Command::alphaId>};
const DataObject confirmationAlpha{Tag::AlphaIdentifier, true, "alpha identifier", parseCallAlpha,
                                   writeAlpha<&Command::alphaId>};
const DataObject callAlpha{Tag::AlphaIdentifier, true, "alpha identifier", parseCallAlpha,
                           writeAlpha<&Command::callAlphaId>};
const DataObject icon{Tag::IconIdentifier, false, "icon identifier", parseIcon, writeIcon<&Command::icon>};
const DataObject confirmationIcon{Tag::IconIdentifier, true, "icon identifier", parseCallIcon,
                                  writeIcon<&Command::icon>};
const DataObject callIcon{Tag::IconIdentifier, true, "icon identifier", parseCallIcon, writeIcon<&Command::callIcon>};
const DataObject textAttribute = bytesObject<&Command::textAttribute>(Tag::TextAttribute, "text attribute");
const DataObject confirmationTextAttribute{Tag::TextAttribute, true, "text attribute", parseCallTextAttribute,
                                           writeBytes<&Command::textAttribute>};
const DataObject callTextAttribute{Tag::TextAttribute, true, "text attribute", parseCallTextAttribute,
                                   writeBytes<&Command::callTextAttribute>};
const DataObject textString{Tag::TextString, false, "text string", parseText<&Command::text>,
                            writeText<&Command::text>};
const DataObject defaultText{Tag::DefaultText, false, "default text", parseText<&Command::defaultText>,
                             writeText<&Command::defaultText>};
const DataObject responseLength{Tag::ResponseLength, false, "response length", parseResponseLength,
                                writeResponseLength};
const DataObject duration{Tag::Duration, false, "duration", parseCommandDuration, writeCommandDuration};
const DataObject immediateResponse{Tag::ImmediateResponse, false, "immediate response", parseImmediateResponse,
                                   writeImmediateResponse};
const DataObject tone{Tag::Tone, false, "tone", parseByte<&Command::tone>, writeByte<&Command::tone>};
const DataObject url{Tag::Url, false, "URL", parseUrl, writeUrl};
const DataObject address{Tag::Address, false, "address", parseAddress<&Command::address>,
                         writeAddress<&Command::address>};
const DataObject subaddress = bytesObject<&Command::subaddress>(Tag::Subaddress, "subaddress");
const DataObject ssString{Tag::SsString, false, "SS string", parseAddress<&Command::ss>, writeAddress<&Command::ss>};
const DataObject ussdString{Tag::UssdString, false, "USSD string", parseUssd, writeUssd};
const DataObject smsTpdu = bytesObject<&Command::tpdu>(Tag::SmsTpdu, "SMS TPDU");
const DataObject fileList = bytesObject<&Command::fileList>(Tag::FileList, "file list");
const DataObject items{Tag::Item, true, "item", parseItem, writeItems};
const DataObject itemIdentifier{Tag::ItemIdentifier, false, "item identifier", parseByte<&Command::defaultItem>,
                                writeByte<&Command::defaultItem>};
const DataObject itemsNextAction =
    bytesObject<&Command::nextAction>(Tag::ItemsNextActionIndicator, "items next action indicator");
const DataObject itemIcons = bytesObject<&Command::itemIcons>(Tag::ItemIconIdentifierList, "item icon identifier list");
const DataObject itemTextAttributes =
    bytesObject<&Command::itemTextAttributes>(Tag::ItemTextAttributeList, "item text attribute list");
const DataObject eventList = bytesObject<&Command::eventList>(Tag::EventList, "event list");
const DataObject timerIdentifier{Tag::TimerIdentifier, false, "timer identifier", parseCommandTimerId,
                                 writeByte<&Command::timerId>};
const DataObject timerValue{Tag::TimerValue, false, "timer value", parseCommandTimerValue, writeCommandTimerValue};
const DataObject language{Tag::Language, false, "language", parseCommandLanguage, writeCommandLanguage};

const DataObject applicationIdentifier = keptObject(Tag::ApplicationIdentifier, "application identifier");
const DataObject bearer = keptObject(Tag::Bearer, "bearer");
const DataObject browserIdentity = keptObject(Tag::BrowserIdentity, "browser identity");
const DataObject capabilityConfiguration =
    keptObject(Tag::CapabilityConfiguration, "capability configuration parameters");
const DataObject frameIdentifier = keptObject(Tag::FrameIdentifier, "frame identifier");
const DataObject gateway = keptObject(Tag::TextString, "gateway");
const DataObject networkAccessName = keptObject(Tag::NetworkAccessName, "network access name");
const DataObject plmnList = keptObject(Tag::PlmnList, "PLMN list");
const DataObject provisioningFile = keptObject(Tag::ProvisioningFile, "provisioning file reference");

} // namespace objects

} // namespace cat
