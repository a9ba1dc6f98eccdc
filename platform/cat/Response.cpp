#include "cat/Command.h"

#include "cat/Values.h"

#include <utility>

namespace cat
{

namespace
{

constexpr std::size_t usualResponseSize = 64;

/// Results with which the user's text goes to the card: performed in one way or another.
bool carriesText(Result result)
{
    return static_cast<std::uint8_t>(result) < 0x10;
}

/// The same for the choice of an item, which may also be the one that help is wanted for.
bool carriesItem(Result result)
{
    return carriesText(result) || result == Result::HelpRequired;
}

/// GET INKEY that asks for yes or no (ETSI TS 102 223 clause 8.6).
bool isYesNo(const CommandDetails &details)
{
    return details.type == CommandType::GetInkey && (details.qualifier & 0x04) != 0;
}

/// Yes and no are the bytes 01 and 00 in the 8-bit coding, which are no characters (clause 6.4.2).
constexpr char16_t yes = 0x01;

void appendAnswer(const Response &response, Bytes *out)
{
    const Text &text = *response.text;
    if (isYesNo(response.details) && text.value.size() == 1 && text.value[0] <= yes) {
        const auto answer = static_cast<std::uint8_t>(text.value[0]);
        appendObject(out, Tag::TextString, true, static_cast<std::uint8_t>(TextCoding::Gsm8Bit), ByteView(&answer, 1));
    } else {
        appendText(out, {Tag::TextString, true}, text);
    }
}

/// False when there is a text string and it is malformed.
bool readText(const std::optional<TlvObject> &object, Response *response)
{
    if (!object)
        return true;
    const ByteView value = object->value;
    if (isYesNo(response->details) && value.size == 2 && value[1] <= yes)
        response->text = Text{std::u16string(1, value[1]), TextCoding::Gsm8Bit};
    else
        response->text = parseTextValue(value);
    return response->text.has_value();
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

/// False when there is an object and it is malformed.
template <typename Value>
bool readValue(const std::optional<TlvObject> &object, std::optional<Value> (*parse)(ByteView),
               std::optional<Value> *value)
{
    if (object)
        *value = parse(object->value);
    return !object || value->has_value();
}

bool readLocalInformation(ByteView data, Response *response)
{
    return readValue(findObject(data, Tag::TimerIdentifier), parseTimerId, &response->timerId) &&
           readValue(findObject(data, Tag::TimerValue), parseTimerValue, &response->timerValue) &&
           readValue(findObject(data, Tag::DateTimeAndZone), parseDateTime, &response->dateTime) &&
           readValue(findObject(data, Tag::Language), parseLanguage, &response->language);
}

void writeLocalInformation(const Response &response, Bytes *out)
{
    if (response.timerId)
        appendObject(out, Tag::TimerIdentifier, true, ByteView(&*response.timerId, 1));
    if (response.timerValue)
        appendObject(out, Tag::TimerValue, true, timerValueOf(*response.timerValue));
    if (response.dateTime)
        appendObject(out, Tag::DateTimeAndZone, true, dateTimeValue(*response.dateTime));
    if (response.language)
        appendObject(out, Tag::Language, true, Bytes(response.language->begin(), response.language->end()));
}

bool wellFormed(ByteView objects)
{
    TlvReader reader(objects);
    while (reader.next())
        continue;
    return !reader.malformed();
}

/// What an envelope with that tag holds; nothing when it is another one, is malformed or has no devices.
std::optional<ByteView> envelopeObjects(ByteView data, BerTag tag)
{
    const std::optional<BerObject> ber = readBer(data);
    if (!ber || !ber->complete || ber->tag != static_cast<std::uint8_t>(tag) || !wellFormed(ber->value))
        return std::nullopt;
    const std::optional<TlvObject> devices = findObject(ber->value, Tag::DeviceIdentities);
    return devices && devices->value.size == 2 ? std::make_optional(ber->value) : std::nullopt;
}

} // namespace

Bytes encodeResponse(const Response &response)
{
    Bytes out;
    out.reserve(usualResponseSize);
    writeDetails(response.details, &out);
    writeDevices(response.source, response.destination, &out);
    Bytes result(1, static_cast<std::uint8_t>(response.result));
    result.insert(result.end(), response.additionalInformation.begin(), response.additionalInformation.end());
    appendObject(&out, Tag::Result, true, result);
    if (response.duration)
        writeDuration(*response.duration, {Tag::Duration, true}, &out);
    if (response.text && carriesText(response.result))
        appendAnswer(response, &out);
    if (response.itemId && carriesItem(response.result))
        appendObject(&out, Tag::ItemIdentifier, true, ByteView(&*response.itemId, 1));
    writeLocalInformation(response, &out);
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
                      readValue(findObject(data, Tag::Duration), parseDuration, &response.duration) &&
                      readText(findObject(data, Tag::TextString), &response) &&
                      readItemId(findObject(data, Tag::ItemIdentifier), &response.itemId) &&
                      readLocalInformation(data, &response);
    return good ? std::optional<Response>(std::move(response)) : std::nullopt;
}

Bytes encodeMenuSelection(const MenuSelection &selection)
{
    Bytes value;
    writeDevices(Device::Keypad, Device::Uicc, &value);
    appendObject(&value, Tag::ItemIdentifier, true, ByteView(&selection.itemId, 1));
    if (selection.helpRequested)
        appendObject(&value, Tag::HelpRequest, false, ByteView());
    return berObject(BerTag::MenuSelection, std::move(value));
}

std::optional<MenuSelection> decodeMenuSelection(ByteView data)
{
    const std::optional<ByteView> objects = envelopeObjects(data, BerTag::MenuSelection);
    const std::optional<TlvObject> item = objects ? findObject(*objects, Tag::ItemIdentifier) : std::nullopt;
    if (!item || item->value.size != 1)
        return std::nullopt;
    return MenuSelection{item->value[0], findObject(*objects, Tag::HelpRequest).has_value()};
}

Bytes encodeTimerExpiration(const TimerExpiration &expiration)
{
    Bytes value;
    writeDevices(Device::Terminal, Device::Uicc, &value);
    appendObject(&value, Tag::TimerIdentifier, true, ByteView(&expiration.timerId, 1));
    appendObject(&value, Tag::TimerValue, true, timerValueOf(expiration.value));
    return berObject(BerTag::TimerExpiration, std::move(value));
}

std::optional<TimerExpiration> decodeTimerExpiration(ByteView data)
{
    const std::optional<ByteView> objects = envelopeObjects(data, BerTag::TimerExpiration);
    const std::optional<TlvObject> timer = objects ? findObject(*objects, Tag::TimerIdentifier) : std::nullopt;
    const std::optional<TlvObject> value = objects ? findObject(*objects, Tag::TimerValue) : std::nullopt;
    const std::optional<std::uint8_t> timerId = timer ? parseTimerId(timer->value) : std::nullopt;
    const std::optional<std::chrono::seconds> time = value ? parseTimerValue(value->value) : std::nullopt;
    return timerId && time ? std::make_optional(TimerExpiration{*timerId, *time}) : std::nullopt;
}

} // namespace cat
