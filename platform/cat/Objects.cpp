#include "cat/Objects.h"

#include "cat/Text.h"

#include <algorithm>
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
    if (const std::optional<Text> &text = command.*field)
        appendObject(out, head.tag, head.comprehension, text->value.empty() ? Bytes() : textValue(*text));
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
    parsing->command.immediateResponse = true;
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

/// BCD digits (ETSI TS 102 223 clause 8.1, 3GPP TS 31.102 clause 4.4.2.3); F fills up and ends them.
constexpr char bcdDigits[] = "0123456789*#cde";
constexpr std::uint8_t bcdFiller = 0x0F;

std::string decodeBcd(ByteView octets)
{
    std::string digits;
    digits.reserve(octets.size * 2);
    for (const std::uint8_t octet : octets) {
        for (const int digit : {octet & 0x0F, octet >> 4}) {
            if (digit == bcdFiller)
                return digits;
            digits.push_back(bcdDigits[digit]);
        }
    }
    return digits;
}

void appendBcd(const std::string &digits, Bytes *out)
{
    bool low = true;
    for (const char digit : digits) {
        const auto end = std::end(bcdDigits) - 1;
        const auto found = std::find(std::begin(bcdDigits), end, digit);
        if (found == end)
            continue;
        const auto value = static_cast<std::uint8_t>(found - std::begin(bcdDigits));
        if (low)
            out->push_back(static_cast<std::uint8_t>(bcdFiller << 4 | value));
        else
            out->back() = static_cast<std::uint8_t>((out->back() & 0x0F) | value << 4);
        low = !low;
    }
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

/// Coding of a USSD string: the cell broadcast data coding scheme (3GPP TS 23.038 clause 5). Nothing where it is
/// reserved, compressed or says that a language code comes first.
std::optional<TextCoding> ussdCoding(std::uint8_t scheme)
{
    const unsigned int group = scheme >> 4;
    if (group == 0 || group == 2)
        return TextCoding::Gsm7Packed;
    if (group == 0xF)
        return (scheme & 0x04) != 0 ? TextCoding::Gsm8Bit : TextCoding::Gsm7Packed;
    if (group != 4 && group != 5)
        return std::nullopt;
    constexpr std::optional<TextCoding> codings[] = {TextCoding::Gsm7Packed, TextCoding::Gsm8Bit, TextCoding::Ucs2, {}};
    return codings[scheme >> 2 & 0x03];
}

std::u16string decodeText(ByteView octets, TextCoding coding)
{
    switch (coding) {
    case TextCoding::Gsm7Packed:
        return decodeGsm7Packed(octets);
    case TextCoding::Ucs2:
        return decodeUcs2(octets);
    case TextCoding::Gsm8Bit:
        break;
    }
    return decodeGsm8Bit(octets);
}

/// The octets of a text, and the coding that was taken for them.
struct Encoded {
    TextCoding coding;
    Bytes octets;
};

Encoded encodeText(const Text &text)
{
    std::optional<Bytes> octets;
    if (text.coding == TextCoding::Gsm7Packed)
        octets = encodeGsm7Packed(text.value);
    else if (text.coding == TextCoding::Gsm8Bit)
        octets = encodeGsm8Bit(text.value);
    if (octets)
        return {text.coding, std::move(*octets)};
    return {TextCoding::Ucs2, encodeUcs2(text.value)};
}

bool parseUssd(ByteView value, Parsing *parsing)
{
    const std::optional<TextCoding> coding = value.empty() ? std::nullopt : ussdCoding(value[0]);
    if (!coding)
        return false;
    parsing->command.ussd = Text{decodeText(ByteView(value.data + 1, value.size - 1), *coding), *coding};
    return true;
}

void writeUssd(const Command &command, const ObjectHead &head, Bytes *out)
{
    if (!command.ussd)
        return;
    Encoded encoded = encodeText(*command.ussd);
    // No message class for packed text; for the other codings the general group, without compression and class.
    const std::uint8_t scheme = encoded.coding == TextCoding::Gsm7Packed ? 0xF0
                                : encoded.coding == TextCoding::Gsm8Bit  ? 0x44
                                                                         : 0x48;
    encoded.octets.insert(encoded.octets.begin(), scheme);
    appendObject(out, head.tag, head.comprehension, encoded.octets);
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
    for (const Item &item : command.items) {
        Bytes value = encodeAlpha(item.text);
        value.insert(value.begin(), item.id);
        appendObject(out, head.tag, head.comprehension, value);
    }
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

bool parseDetails(ByteView value, CommandDetails *details)
{
    if (value.size != 3)
        return false;
    *details = {value[0], static_cast<CommandType>(value[1]), value[2]};
    return true;
}

void writeDetails(const CommandDetails &details, Bytes *out)
{
    const std::uint8_t value[] = {details.number, static_cast<std::uint8_t>(details.type), details.qualifier};
    appendObject(out, Tag::CommandDetails, true, ByteView(value, std::size(value)));
}

bool parseDevices(ByteView value, Device *source, Device *destination)
{
    if (value.size != 2)
        return false;
    *source = static_cast<Device>(value[0]);
    *destination = static_cast<Device>(value[1]);
    return true;
}

void writeDevices(Device source, Device destination, Bytes *out)
{
    const std::uint8_t value[] = {static_cast<std::uint8_t>(source), static_cast<std::uint8_t>(destination)};
    appendObject(out, Tag::DeviceIdentities, true, ByteView(value, std::size(value)));
}

std::optional<Duration> parseDuration(ByteView value)
{
    constexpr auto lastUnit = static_cast<std::uint8_t>(Duration::Unit::TenthsOfSeconds);
    if (value.size != 2 || value[0] > lastUnit || value[1] == 0)
        return std::nullopt;
    return Duration{static_cast<Duration::Unit>(value[0]), value[1]};
}

void writeDuration(const Duration &duration, const ObjectHead &head, Bytes *out)
{
    const std::uint8_t value[] = {static_cast<std::uint8_t>(duration.unit), duration.interval};
    appendObject(out, head.tag, head.comprehension, ByteView(value, std::size(value)));
}

std::optional<Text> parseTextValue(ByteView value)
{
    if (value.empty())
        return Text();
    const auto coding = static_cast<TextCoding>(value[0]);
    if (coding != TextCoding::Gsm7Packed && coding != TextCoding::Gsm8Bit && coding != TextCoding::Ucs2)
        return std::nullopt;
    return Text{decodeText(ByteView(value.data + 1, value.size - 1), coding), coding};
}

Bytes textValue(const Text &text)
{
    Encoded encoded = encodeText(text);
    encoded.octets.insert(encoded.octets.begin(), static_cast<std::uint8_t>(encoded.coding));
    return std::move(encoded.octets);
}

std::optional<TlvObject> findObject(ByteView objects, Tag tag)
{
    TlvReader reader(objects);
    while (const std::optional<TlvObject> object = reader.next()) {
        if (object->tag == tag)
            return object;
    }
    return std::nullopt;
}

} // namespace cat
