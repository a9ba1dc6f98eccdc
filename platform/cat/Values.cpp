#include "cat/Values.h"

#include "cat/Text.h"

#include <algorithm>
#include <iterator>

namespace cat
{

namespace
{

/// BCD digits (ETSI TS 102 223 clause 8.1, 3GPP TS 31.102 clause 4.4.2.3); F fills up and ends them.
constexpr char bcdDigits[] = "0123456789*#cde";
constexpr std::uint8_t bcdFiller = 0x0F;

/// Bits 4 and 3 of a coding scheme in the general group; the reserved value stands for the default alphabet.
constexpr TextCoding generalCodings[] = {TextCoding::Gsm7Packed, TextCoding::Gsm8Bit, TextCoding::Ucs2,
                                         TextCoding::Gsm7Packed};

TextCoding generalCoding(std::uint8_t scheme)
{
    return generalCodings[scheme >> 2 & 0x03];
}

/// The group that has a message class and only two alphabets.
TextCoding classCoding(std::uint8_t scheme)
{
    return (scheme & 0x04) != 0 ? TextCoding::Gsm8Bit : TextCoding::Gsm7Packed;
}

/// Coding of a text string: the alphabet in the data coding scheme of short messages, the rest of which does not count
/// (3GPP TS 23.038 clause 4). Nothing for compressed text.
std::optional<TextCoding> smsCoding(std::uint8_t scheme)
{
    constexpr std::uint8_t compressed = 0x20;
    const unsigned int group = scheme >> 4;
    if (group < 8)
        return (scheme & compressed) != 0 ? std::nullopt : std::optional<TextCoding>(generalCoding(scheme));
    if (group == 0xF)
        return classCoding(scheme);
    return group == 0xE ? TextCoding::Ucs2 : TextCoding::Gsm7Packed;
}

/// Coding of a USSD string: the data coding scheme of cell broadcast (3GPP TS 23.038 clause 5), in which reserved
/// groups stand for the default alphabet. Nothing for text that is compressed or that has something else in front of
/// it: a language, a user data header, the groups of other protocols.
std::optional<TextCoding> broadcastCoding(std::uint8_t scheme)
{
    switch (scheme >> 4) {
    case 0x1:
    case 0x6:
    case 0x7:
    case 0x9:
    case 0xE:
        return std::nullopt;
    case 0x4:
    case 0x5:
        return generalCoding(scheme);
    case 0xF:
        return classCoding(scheme);
    default:
        return TextCoding::Gsm7Packed;
    }
}

std::u16string decodeOctets(ByteView octets, TextCoding coding)
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

/// The text behind the coding scheme in front of it; nothing when the scheme gave no coding.
std::optional<Text> decodeText(ByteView value, std::optional<TextCoding> coding)
{
    if (!coding)
        return std::nullopt;
    return Text{decodeOctets(ByteView(value.data + 1, value.size - 1), *coding), *coding};
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

// Numbers of two digits are written with the lower one in front (3GPP TS 23.040 clause 9.2.3.11).

constexpr int noNumber = -1;

int readNumber(std::uint8_t octet)
{
    const int tens = octet & 0x0F;
    const int ones = octet >> 4;
    return tens < 10 && ones < 10 ? tens * 10 + ones : noNumber;
}

std::uint8_t number(int value)
{
    return static_cast<std::uint8_t>(value % 10 << 4 | value / 10 % 10);
}

bool isWithin(int value, int least, int most)
{
    return value >= least && value <= most;
}

constexpr std::uint8_t unknownZone = 0xFF;
constexpr std::uint8_t zoneSign = 0x08; ///< of the digit of the tens, which has only three bits left
constexpr int farthestZone = 79;

/// False when it is neither a zone nor the value for one that is not known.
bool readZone(std::uint8_t octet, std::optional<int> *zone)
{
    if (octet == unknownZone)
        return true;
    const int quarters = readNumber(static_cast<std::uint8_t>(octet & ~zoneSign));
    if (quarters == noNumber)
        return false;
    *zone = (octet & zoneSign) != 0 ? -quarters : quarters;
    return true;
}

std::uint8_t zoneOctet(const std::optional<int> &zone)
{
    if (!zone)
        return unknownZone;
    const int quarters = std::clamp(*zone, -farthestZone, farthestZone);
    return quarters < 0 ? static_cast<std::uint8_t>(number(-quarters) | zoneSign) : number(quarters);
}

bool isLanguageCharacter(std::uint8_t octet)
{
    return (octet >= '0' && octet <= '9') || (octet >= 'A' && octet <= 'Z') || (octet >= 'a' && octet <= 'z');
}

} // namespace

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

std::optional<Text> parseTextValue(ByteView value)
{
    return value.empty() ? Text() : decodeText(value, smsCoding(value[0]));
}

void appendText(Bytes *out, const ObjectHead &head, const Text &text)
{
    const Encoded encoded = encodeText(text);
    appendObject(out, head.tag, head.comprehension, static_cast<std::uint8_t>(encoded.coding), encoded.octets);
}

std::optional<Text> parseUssdValue(ByteView value)
{
    return value.empty() ? std::nullopt : decodeText(value, broadcastCoding(value[0]));
}

void appendUssd(Bytes *out, const ObjectHead &head, const Text &text)
{
    const Encoded encoded = encodeText(text);
    // Packed text goes without a message class; the others take the general group, without compression and class.
    const std::uint8_t scheme = encoded.coding == TextCoding::Gsm7Packed ? 0xF0
                                : encoded.coding == TextCoding::Gsm8Bit  ? 0x44
                                                                         : 0x48;
    appendObject(out, head.tag, head.comprehension, scheme, encoded.octets);
}

std::optional<std::uint8_t> parseTimerId(ByteView value)
{
    if (value.size != 1 || !isWithin(value[0], 1, timerCount))
        return std::nullopt;
    return value[0];
}

std::optional<std::chrono::seconds> parseTimerValue(ByteView value)
{
    if (value.size != 3)
        return std::nullopt;
    const int hours = readNumber(value[0]);
    const int minutes = readNumber(value[1]);
    const int seconds = readNumber(value[2]);
    if (hours == noNumber || !isWithin(minutes, 0, 59) || !isWithin(seconds, 0, 59))
        return std::nullopt;
    const std::chrono::seconds time((hours * 60 + minutes) * 60 + seconds);
    return time <= longestTimer ? std::make_optional(time) : std::nullopt;
}

Bytes timerValueOf(std::chrono::seconds value)
{
    const auto seconds = static_cast<int>(std::clamp(value, std::chrono::seconds(0), longestTimer).count());
    return {number(seconds / 3600), number(seconds / 60 % 60), number(seconds % 60)};
}

std::optional<DateTime> parseDateTime(ByteView value)
{
    if (value.size != 7)
        return std::nullopt;
    DateTime time;
    const int year = readNumber(value[0]);
    time.year += year;
    time.month = readNumber(value[1]);
    time.day = readNumber(value[2]);
    time.hour = readNumber(value[3]);
    time.minute = readNumber(value[4]);
    time.second = readNumber(value[5]);
    const bool isDate = year != noNumber && isWithin(time.month, 1, 12) && isWithin(time.day, 1, 31);
    const bool isTime = isWithin(time.hour, 0, 23) && isWithin(time.minute, 0, 59) && isWithin(time.second, 0, 59);
    return isDate && isTime && readZone(value[6], &time.zone) ? std::make_optional(time) : std::nullopt;
}

Bytes dateTimeValue(const DateTime &time)
{
    return {number(time.year % 100), number(time.month),  number(time.day),    number(time.hour),
            number(time.minute),     number(time.second), zoneOctet(time.zone)};
}

std::optional<std::string> parseLanguage(ByteView value)
{
    if (value.size != 2 || !std::all_of(value.begin(), value.end(), isLanguageCharacter))
        return std::nullopt;
    return std::string(value.begin(), value.end());
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
