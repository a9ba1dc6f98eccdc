#include "cat/Explain.h"

#include "cat/Tlv.h"
#include "cat/Values.h"

#include <algorithm>
#include <iterator>

namespace cat
{

namespace
{

constexpr std::uint8_t wholeByte = 0xFF;

/// ETSI TS 102 223 clause 8.6. Bits that only say "as usual" have no row.
constexpr QualifierChoice choices[] = {
    {CommandType::Refresh, wholeByte, 0x00, "initialization and full file change notification"},
    {CommandType::Refresh, wholeByte, 0x01, "file change notification"},
    {CommandType::Refresh, wholeByte, 0x02, "initialization and file change notification"},
    {CommandType::Refresh, wholeByte, 0x03, "initialization"},
    {CommandType::Refresh, wholeByte, 0x04, "card reset"},
    {CommandType::Refresh, wholeByte, 0x05, "application reset"},
    {CommandType::Refresh, wholeByte, 0x06, "session reset"},
    {CommandType::Refresh, wholeByte, 0x07, "steering of roaming"},
    {CommandType::SetUpCall, wholeByte, 0x00, "only if not busy on another call"},
    {CommandType::SetUpCall, wholeByte, 0x01, "only if not busy on another call, with redial"},
    {CommandType::SetUpCall, wholeByte, 0x02, "putting other calls on hold"},
    {CommandType::SetUpCall, wholeByte, 0x03, "putting other calls on hold, with redial"},
    {CommandType::SetUpCall, wholeByte, 0x04, "disconnecting other calls"},
    {CommandType::SetUpCall, wholeByte, 0x05, "disconnecting other calls, with redial"},
    {CommandType::LaunchBrowser, wholeByte, 0x00, "if it is not open already"},
    {CommandType::LaunchBrowser, wholeByte, 0x02, "in the browser that is open"},
    {CommandType::LaunchBrowser, wholeByte, 0x03, "closing the browser that is open"},
    {CommandType::SendShortMessage, 0x01, 0x01, "packing required"},
    {CommandType::PlayTone, 0x01, 0x01, "vibrating"},
    {CommandType::DisplayText, 0x01, 0x01, "high priority"},
    {CommandType::DisplayText, 0x80, 0x80, "cleared by the user"},
    {CommandType::GetInkey, 0x01, 0x01, "any character"},
    {CommandType::GetInkey, 0x02, 0x02, "of any script"},
    {CommandType::GetInkey, 0x04, 0x04, "yes or no"},
    {CommandType::GetInkey, 0x08, 0x08, "digit answered at once"},
    {CommandType::GetInkey, 0x80, 0x80, "help available"},
    {CommandType::GetInput, 0x01, 0x01, "any character"},
    {CommandType::GetInput, 0x02, 0x02, "of any script"},
    {CommandType::GetInput, 0x04, 0x04, "hidden"},
    {CommandType::GetInput, 0x08, 0x08, "answer packed"},
    {CommandType::GetInput, 0x80, 0x80, "help available"},
    {CommandType::SelectItem, 0x01, 0x01, "presentation specified"},
    {CommandType::SelectItem, 0x02, 0x02, "navigation options"},
    {CommandType::SelectItem, 0x04, 0x04, "soft keys preferred"},
    {CommandType::SelectItem, 0x80, 0x80, "help available"},
    {CommandType::SetUpMenu, 0x01, 0x01, "soft keys preferred"},
    {CommandType::SetUpMenu, 0x80, 0x80, "help available"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x00, "location"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x01, "IMEI"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x02, "network measurement results"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x03, "date, time and time zone"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x04, "language"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x05, "timing advance"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x06, "access technology"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x07, "ESN"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x08, "IMEISV"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x09, "search mode"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x0A, "charge state of the battery"},
    {CommandType::ProvideLocalInformation, wholeByte, 0x0B, "MEID"},
    {CommandType::TimerManagement, 0x03, 0x00, "start"},
    {CommandType::TimerManagement, 0x03, 0x01, "deactivate"},
    {CommandType::TimerManagement, 0x03, 0x02, "get the current value"},
    {CommandType::LanguageNotification, 0x01, 0x00, "of no language in particular"},
    {CommandType::LanguageNotification, 0x01, 0x01, "of one language"},
};

/// ETSI TS 102 223 clause 8.7.
constexpr struct {
    Device device;
    const char *name;
} deviceNames[] = {
    {Device::Keypad, "keypad"}, {Device::Display, "display"},   {Device::Earpiece, "earpiece"},
    {Device::Uicc, "card"},     {Device::Terminal, "terminal"}, {Device::Network, "network"},
};

constexpr struct {
    TextCoding coding;
    const char *name;
} codingNames[] = {
    {TextCoding::Gsm7Packed, "packed"},
    {TextCoding::Gsm8Bit, "8 bits"},
    {TextCoding::Ucs2, "UCS2"},
};

std::string hexByte(std::uint8_t byte)
{
    return toHex(ByteView(&byte, 1));
}

std::string deviceName(Device device)
{
    const auto row = std::find_if(std::begin(deviceNames), std::end(deviceNames),
                                  [device](const auto &each) { return each.device == device; });
    return row == std::end(deviceNames) ? "device " + hexByte(static_cast<std::uint8_t>(device)) : row->name;
}

std::string codingName(TextCoding coding)
{
    const auto row = std::find_if(std::begin(codingNames), std::end(codingNames),
                                  [coding](const auto &each) { return each.coding == coding; });
    return row == std::end(codingNames) ? std::string() : row->name;
}

bool isControl(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
}

/// On one line, whatever is in it.
std::string quoted(std::u16string text)
{
    std::replace_if(text.begin(), text.end(), isControl, u' ');
    return '"' + toUtf8(text) + '"';
}

// Values in words; nothing when the value is not what its clause says.

using Words = std::optional<std::string>;

Words detailsWords(ByteView value)
{
    CommandDetails details;
    if (!parseDetails(value, &details))
        return std::nullopt;
    const std::string qualifier = qualifierWords(details);
    return commandName(details.type) + ", number " + std::to_string(details.number) + ", qualifier " +
           hexByte(details.qualifier) + (qualifier.empty() ? "" : ": " + qualifier);
}

Words devicesWords(ByteView value)
{
    Device source{};
    Device destination{};
    if (!parseDevices(value, &source, &destination))
        return std::nullopt;
    return deviceName(source) + " to " + deviceName(destination);
}

Words resultWords(ByteView value)
{
    if (value.empty())
        return std::nullopt;
    const std::string more = toHex(ByteView(value.data + 1, value.size - 1));
    return resultMeaning(static_cast<Result>(value[0])) + (more.empty() ? "" : ", additional information " + more);
}

Words durationWords(ByteView value)
{
    static const char *const units[] = {" min", " s", " tenths of a second"};
    const std::optional<Duration> duration = parseDuration(value);
    if (!duration)
        return std::nullopt;
    return std::to_string(duration->interval) + units[static_cast<std::size_t>(duration->unit)];
}

Words alphaWords(ByteView value)
{
    const std::optional<std::u16string> text = decodeAlpha(value);
    return text ? Words(quoted(*text)) : std::nullopt;
}

Words textWords(const std::optional<Text> &text)
{
    return text ? Words(quoted(text->value) + ", " + codingName(text->coding)) : std::nullopt;
}

Words textStringWords(ByteView value)
{
    return value.empty() ? Words("no text") : textWords(parseTextValue(value));
}

Words ussdWords(ByteView value)
{
    return textWords(parseUssdValue(value));
}

Words addressWords(ByteView value)
{
    if (value.empty())
        return std::nullopt;
    return decodeBcd(ByteView(value.data + 1, value.size - 1)) + ", type of number " + hexByte(value[0]);
}

Words toneWords(ByteView value)
{
    return value.size == 1 ? Words(toneName(value[0])) : std::nullopt;
}

Words itemWords(ByteView value)
{
    if (value.empty())
        return "no item";
    const Words text = alphaWords(ByteView(value.data + 1, value.size - 1));
    return text ? Words(std::to_string(value[0]) + ": " + *text) : std::nullopt;
}

Words numberWords(ByteView value)
{
    return value.size == 1 ? Words("item " + std::to_string(value[0])) : std::nullopt;
}

Words lengthWords(ByteView value)
{
    if (value.size != 2)
        return std::nullopt;
    const std::string most = value[1] == wholeByte ? "any number of" : std::to_string(value[1]);
    return std::to_string(value[0]) + " to " + most + " characters";
}

Words urlWords(ByteView value)
{
    return value.empty() ? "the terminal's home page" : quoted(fromUtf8(std::string(value.begin(), value.end())));
}

Words iconWords(ByteView value)
{
    if (value.size != 2)
        return std::nullopt;
    return "icon " + std::to_string(value[1]) + ((value[0] & 1) == 0 ? ", in place of the text" : ", beside the text");
}

Words presenceWords(ByteView value)
{
    return value.empty() ? Words("yes") : std::nullopt;
}

Words eventsWords(ByteView value)
{
    std::string words;
    for (const std::uint8_t event : value)
        words += (words.empty() ? "" : ", ") + eventName(event);
    return words.empty() ? "no event" : words;
}

Words timerWords(ByteView value)
{
    const std::optional<std::uint8_t> timer = parseTimerId(value);
    return timer ? Words("timer " + std::to_string(*timer)) : std::nullopt;
}

/// "01:30:00".
std::string clockWords(int hours, int minutes, int seconds)
{
    std::string words;
    for (const int number : {hours, minutes, seconds})
        words += (words.empty() ? "" : ":") + std::string(number < 10 ? "0" : "") + std::to_string(number);
    return words;
}

Words timerValueWords(ByteView value)
{
    const std::optional<std::chrono::seconds> time = parseTimerValue(value);
    if (!time)
        return std::nullopt;
    const int seconds = static_cast<int>(time->count());
    return clockWords(seconds / 3600, seconds / 60 % 60, seconds % 60);
}

/// "2026-11-22 06:05:00, 4 quarters of an hour from Greenwich".
Words dateTimeWords(ByteView value)
{
    const std::optional<DateTime> time = parseDateTime(value);
    if (!time)
        return std::nullopt;
    const auto twoDigits = [](int number) { return (number < 10 ? "-0" : "-") + std::to_string(number); };
    const std::string zone =
        time->zone ? std::to_string(*time->zone) + " quarters of an hour from Greenwich" : "time zone not known";
    return std::to_string(time->year) + twoDigits(time->month) + twoDigits(time->day) + ' ' +
           clockWords(time->hour, time->minute, time->second) + ", " + zone;
}

Words languageWords(ByteView value)
{
    return parseLanguage(value);
}

/// ETSI TS 102 223 clause 9.3. Without words the bytes are told.
constexpr struct ObjectRow {
    Tag tag;
    const char *name;
    Words (*words)(ByteView value);
} rows[] = {
    {Tag::CommandDetails, "command details", detailsWords},
    {Tag::DeviceIdentities, "device identities", devicesWords},
    {Tag::Result, "result", resultWords},
    {Tag::Duration, "duration", durationWords},
    {Tag::AlphaIdentifier, "alpha identifier", alphaWords},
    {Tag::Address, "address", addressWords},
    {Tag::CapabilityConfiguration, "capability configuration parameters", nullptr},
    {Tag::Subaddress, "subaddress", nullptr},
    {Tag::SsString, "SS string", addressWords},
    {Tag::UssdString, "USSD string", ussdWords},
    {Tag::SmsTpdu, "SMS TPDU", nullptr},
    {Tag::TextString, "text string", textStringWords},
    {Tag::Tone, "tone", toneWords},
    {Tag::Item, "item", itemWords},
    {Tag::ItemIdentifier, "item identifier", numberWords},
    {Tag::ResponseLength, "response length", lengthWords},
    {Tag::FileList, "file list", nullptr},
    {Tag::HelpRequest, "help request", presenceWords},
    {Tag::DefaultText, "default text", textStringWords},
    {Tag::ItemsNextActionIndicator, "items next action indicator", nullptr},
    {Tag::EventList, "event list", eventsWords},
    {Tag::IconIdentifier, "icon identifier", iconWords},
    {Tag::ItemIconIdentifierList, "item icon identifier list", nullptr},
    {Tag::TimerIdentifier, "timer identifier", timerWords},
    {Tag::TimerValue, "timer value", timerValueWords},
    {Tag::DateTimeAndZone, "date-time and time zone", dateTimeWords},
    {Tag::ImmediateResponse, "immediate response", presenceWords},
    {Tag::Language, "language", languageWords},
    {Tag::ApplicationIdentifier, "application identifier", nullptr},
    {Tag::BrowserIdentity, "browser identity", nullptr},
    {Tag::Url, "URL", urlWords},
    {Tag::Bearer, "bearer", nullptr},
    {Tag::ProvisioningFile, "provisioning file reference", nullptr},
    {Tag::NetworkAccessName, "network access name", nullptr},
    {Tag::TextAttribute, "text attribute", nullptr},
    {Tag::ItemTextAttributeList, "item text attribute list", nullptr},
    {Tag::FrameIdentifier, "frame identifier", nullptr},
    {Tag::PlmnList, "PLMN list", nullptr},
};

/// The tag with its comprehension flag, which is the highest bit of one byte, or of the two behind 7F.
std::string wireTag(const TlvObject &object)
{
    constexpr unsigned int lastOfOneByte = 0x7E;
    const unsigned int tag = static_cast<unsigned int>(object.tag);
    if (tag <= lastOfOneByte)
        return hexByte(static_cast<std::uint8_t>(tag | (object.comprehension ? 0x80U : 0U)));
    const unsigned int flagged = tag | (object.comprehension ? 0x8000U : 0U);
    return "7F" + hexByte(static_cast<std::uint8_t>(flagged >> 8)) + hexByte(static_cast<std::uint8_t>(flagged));
}

Explanation explainObject(const TlvObject &object)
{
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [&object](const ObjectRow &each) { return each.tag == object.tag; });
    const bool isKnown = row != std::end(rows);
    const Words words = isKnown && row->words ? row->words(object.value) : std::nullopt;
    Explanation explained{wireTag(object), isKnown ? row->name : "unknown object", object.value.size, {}, {}};
    explained.value = words ? *words : toHex(object.value);
    if (!words && isKnown && row->words)
        explained.value += " (not as it should be)";
    return explained;
}

Explanation leftOver(ByteView rest)
{
    return {{}, "no data object", rest.size, toHex(rest), {}};
}

ByteView behind(ByteView all, const std::uint8_t *place)
{
    return {place, static_cast<std::size_t>(all.end() - place)};
}

std::vector<Explanation> explainObjects(ByteView objects)
{
    std::vector<Explanation> explained;
    TlvReader reader(objects);
    const std::uint8_t *place = objects.begin();
    while (const std::optional<TlvObject> object = reader.next()) {
        explained.push_back(explainObject(*object));
        place = object->value.end();
    }
    if (place != objects.end())
        explained.push_back(leftOver(behind(objects, place)));
    return explained;
}

const char *envelopeName(std::uint8_t tag)
{
    if (tag == static_cast<std::uint8_t>(BerTag::ProactiveCommand))
        return "proactive command";
    if (tag == static_cast<std::uint8_t>(BerTag::TimerExpiration))
        return "timer expiration";
    return tag == static_cast<std::uint8_t>(BerTag::MenuSelection) ? "menu selection" : nullptr;
}

} // namespace

std::vector<QualifierChoice> qualifierChoices(CommandType type)
{
    std::vector<QualifierChoice> found;
    std::copy_if(std::begin(choices), std::end(choices), std::back_inserter(found),
                 [type](const QualifierChoice &choice) { return choice.type == type; });
    return found;
}

std::string qualifierWords(const CommandDetails &details)
{
    std::string words;
    for (const QualifierChoice &choice : qualifierChoices(details.type)) {
        if ((details.qualifier & choice.mask) == choice.value)
            words += (words.empty() ? "" : ", ") + std::string(choice.words);
    }
    return words;
}

std::vector<Explanation> explain(ByteView data)
{
    const char *const name = data.empty() ? nullptr : envelopeName(data[0]);
    const std::optional<BerObject> whole = name ? readBer(data) : std::nullopt;
    if (!whole)
        return explainObjects(data);
    Explanation top{hexByte(whole->tag), name, whole->value.size, whole->complete ? "" : "cut off", {}};
    top.parts = explainObjects(whole->value);
    std::vector<Explanation> explained{top};
    if (whole->value.end() != data.end())
        explained.push_back(leftOver(behind(data, whole->value.end())));
    return explained;
}

} // namespace cat
