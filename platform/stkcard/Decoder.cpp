#include "stkcard/Decoder.h"

#include "cat/Tlv.h"

#include <algorithm>
#include <iterator>

namespace stkcard
{

namespace
{

using cat::ByteView;

constexpr std::uint8_t commandTag = 0xD0;
constexpr std::uint8_t menuSelectionTag = 0xD3;
constexpr std::size_t apduHead = 4;

/// BER-TLV tags from the network and the terminal to the card (ETSI TS 101 220 clause 7.2, 3GPP TS 31.111).
constexpr struct EnvelopeRow {
    std::uint8_t tag;
    const char *name;
} envelopes[] = {
    {0xD1, "SMS-PP download"},
    {0xD2, "cell broadcast download"},
    {menuSelectionTag, "menu selection"},
    {0xD4, "call control"},
    {0xD5, "short message control"},
    {0xD6, "event download"},
    {0xD7, "timer expiration"},
    {0xD9, "USSD download"},
    {0xDA, "multimedia message transfer status"},
    {0xDB, "multimedia message notification download"},
    {0xDC, "terminal applications"},
    {0xDD, "geographical location reporting"},
    {0xDE, "envelope container"},
    {0xDF, "proximity report"},
};

/// Instructions of the toolkit (ETSI TS 102 221 clause 10.1.2).
constexpr struct InstructionRow {
    std::uint8_t code;
    const char *name;
    bool hasObjects;
} instructions[] = {
    {0x10, "TERMINAL PROFILE", false}, {0x12, "FETCH", false},  {0x14, "TERMINAL RESPONSE", true},
    {0xC2, "ENVELOPE", true},          {0xF2, "STATUS", false},
};

template <typename Row, std::size_t count>
const Row *rowOf(const Row (&rows)[count], std::uint8_t Row::*key, std::uint8_t value)
{
    const auto row =
        std::find_if(std::begin(rows), std::end(rows), [&](const Row &each) { return each.*key == value; });
    return row == std::end(rows) ? nullptr : row;
}

std::string hex(std::uint8_t byte)
{
    return cat::toHex(ByteView(&byte, 1));
}

std::string count(std::size_t bytes)
{
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

/// The length that `bytes` begin with (ETSI TS 101 220 clause 7.1.2); nothing when it is of no form that is known.
std::optional<std::size_t> lengthAt(ByteView bytes)
{
    constexpr std::uint8_t oneByte = 0x7F, more = 0x80, mostBytes = 3;
    if (bytes[0] <= oneByte)
        return bytes[0];
    const std::size_t count = bytes[0] - more;
    if (count == 0 || count > mostBytes || bytes.size <= count)
        return std::nullopt;
    std::size_t length = 0;
    for (std::size_t i = 1; i <= count; ++i)
        length = length * 0x100 + bytes[i];
    return length;
}

/// Decodes one piece of input; knows where in it everything is.
class Decoder
{
public:
    explicit Decoder(const cat::Bytes &bytes) : m_all(bytes) {}

    Decoded decode();

private:
    void decodeAny(ByteView data);
    void decodeApdu();
    void decodeCommand(ByteView data);
    void decodeEnvelope(ByteView data, const char *name);
    void decodeResponse(ByteView data);
    /// The object that `data` begins with; behind it there may be nothing, or for a command a status word.
    ByteView open(ByteView data, const char *name);
    void addObjects(ByteView objects, std::vector<cat::Explanation> *to);
    void addBadRest(ByteView rest);
    void fault(const std::uint8_t *place, const std::string &reason);
    bool isSound() const { return m_decoded.faults.empty(); }

    const ByteView m_all;
    Decoded m_decoded;
};

void Decoder::fault(const std::uint8_t *place, const std::string &reason)
{
    m_decoded.faults.push_back({static_cast<std::size_t>(place - m_all.data) + 1, reason});
}

Decoded Decoder::decode()
{
    constexpr std::uint8_t toolkitClass = 0x80, gsmClass = 0xA0;
    const bool isApdu = !m_all.empty() && (m_all[0] == toolkitClass || m_all[0] == gsmClass);
    if (m_all.empty())
        fault(m_all.data, "there are no bytes");
    else if (isApdu)
        decodeApdu();
    else
        decodeAny(m_all);
    return std::move(m_decoded);
}

void Decoder::decodeAny(ByteView data)
{
    constexpr std::uint8_t commandDetails = 0x01, withFlag = 0x81;
    const EnvelopeRow *const envelope = rowOf(envelopes, &EnvelopeRow::tag, data[0]);
    if (data[0] == commandTag)
        decodeCommand(data);
    else if (envelope)
        decodeEnvelope(data, envelope->name);
    else if (data[0] == commandDetails || data[0] == withFlag)
        decodeResponse(data);
    else
        fault(data.data, hex(data[0]) + " begins no command (D0), no terminal response (81 or 01), no envelope (D1 to "
                                        "DF) and no APDU (80 or A0)");
}

void Decoder::decodeApdu()
{
    if (m_all.size < apduHead)
        return fault(m_all.end(), "the APDU ends here; its head has 4 bytes");
    const InstructionRow *const instruction = rowOf(instructions, &InstructionRow::code, m_all[1]);
    if (!instruction)
        return fault(m_all.data + 1, hex(m_all[1]) + " is no instruction of the toolkit");
    const std::size_t behind = m_all.size - apduHead;
    const std::size_t announced = behind > 1 ? m_all[apduHead] : 0;
    const ByteView data(m_all.data + apduHead + (behind > 1 ? 1 : 0), std::min(announced, behind > 1 ? behind - 1 : 0));
    const std::string head = cat::toHex(ByteView(m_all.data, apduHead));
    if (announced > data.size)
        fault(m_all.data + apduHead,
              "the APDU announces " + count(announced) + " of data, and " + count(data.size) + " follow");
    if (instruction->hasObjects && !data.empty()) {
        decodeAny(data);
        m_decoded.title = std::string(instruction->name) + " (APDU " + head + "): " + m_decoded.title;
        return;
    }
    m_decoded.title = std::string(instruction->name) + " (APDU " + head + ')';
    if (!data.empty())
        m_decoded.objects.push_back({{}, "data", data.size, cat::toHex(data), {}});
}

ByteView Decoder::open(ByteView data, const char *name)
{
    const std::optional<cat::BerObject> object = cat::readBer(data);
    if (!object) {
        fault(data.data + 1, "there is no readable length behind " + hex(data[0]));
        return {data.end(), 0};
    }
    m_decoded.objects.push_back({hex(data[0]), name, object->value.size, {}, {}});
    const std::size_t rest = static_cast<std::size_t>(data.end() - object->value.end());
    const std::uint8_t *const behind = object->value.end();
    constexpr std::size_t statusSize = 2;
    if (!object->complete)
        fault(data.data + 1, "the length is more than the " + count(object->value.size) + " that follow");
    else if (rest == statusSize && data[0] == commandTag && (behind[0] & 0xF0) == 0x90)
        m_decoded.notes.push_back("status word " + cat::toHex(ByteView(behind, rest)));
    else if (rest > 0)
        fault(behind, count(rest) + " too many, behind the end of what " + hex(data[0]) + " announces");
    return object->value;
}

void Decoder::addObjects(ByteView objects, std::vector<cat::Explanation> *to)
{
    const std::string malformed = "(not as it should be)";
    const std::vector<cat::Explanation> explained = cat::explain(objects);
    cat::TlvReader reader(objects);
    const std::uint8_t *place = objects.begin();
    for (const cat::Explanation &each : explained) {
        to->push_back(each);
        const std::optional<cat::TlvObject> object = reader.next();
        if (!object)
            break;
        const std::string &value = each.value;
        if (value.size() > malformed.size() &&
            value.compare(value.size() - malformed.size(), std::string::npos, malformed) == 0)
            fault(place, "the " + each.name + " (" + each.tag + ") is not as it should be");
        place = object->value.end();
    }
    if (place != objects.end())
        addBadRest({place, static_cast<std::size_t>(objects.end() - place)});
}

/// What begins no data object: a tag without a length, or one with too long a length.
void Decoder::addBadRest(ByteView rest)
{
    constexpr std::uint8_t longTag = 0x7F;
    const std::size_t tagSize = (rest[0] & longTag) == longTag ? 3 : 1;
    const std::string tag = cat::toHex(ByteView(rest.data, std::min(tagSize, rest.size)));
    const ByteView behind(rest.data + tag.size() / 2, rest.size - tag.size() / 2);
    if (behind.empty())
        return fault(rest.data, "there is no length behind the tag " + tag);
    const std::optional<std::size_t> length = lengthAt(behind);
    if (!length)
        return fault(rest.data, "the length behind the tag " + tag + " has no form that is known");
    fault(rest.data, "the object " + tag + " announces " + count(*length) + ", which is more than there are behind it");
}

void Decoder::decodeCommand(ByteView data)
{
    const ByteView objects = open(data, "proactive command");
    const cat::DecodedCommand decoded = cat::decodeCommand(data);
    m_decoded.title = "proactive command";
    if (decoded.detailsKnown)
        m_decoded.title += ' ' + cat::commandName(decoded.command.details.type);
    if (m_decoded.objects.empty())
        return;
    addObjects(objects, &m_decoded.objects.back().parts);
    const auto result = static_cast<std::uint8_t>(decoded.result);
    const std::string answer = "a terminal answers " + hex(result) + ", " + cat::resultMeaning(decoded.result);
    const bool isMalformed =
        decoded.result == cat::Result::DataNotUnderstood || decoded.result == cat::Result::ValuesMissing;
    if (!decoded.detailsKnown && isSound())
        fault(data.data, "the command has no readable command details; a terminal answers nothing");
    else if (isMalformed && isSound())
        fault(data.data, decoded.reason + "; " + answer);
    else if (decoded.detailsKnown && decoded.result != cat::Result::Performed)
        m_decoded.notes.push_back(answer + (decoded.reason.empty() ? "" : ": " + decoded.reason));
}

void Decoder::decodeEnvelope(ByteView data, const char *name)
{
    m_decoded.title = std::string("envelope, ") + name;
    const ByteView objects = open(data, name);
    if (m_decoded.objects.empty())
        return;
    addObjects(objects, &m_decoded.objects.back().parts);
    if (data[0] == menuSelectionTag && isSound() && !cat::decodeMenuSelection(data))
        fault(data.data, "a menu selection needs device identities (82) and an item identifier (90)");
}

void Decoder::decodeResponse(ByteView data)
{
    m_decoded.title = "terminal response";
    addObjects(data, &m_decoded.objects);
    const std::optional<cat::Response> response = cat::decodeResponse(data);
    if (response)
        m_decoded.title += " to " + cat::commandName(response->details.type);
    else if (isSound())
        fault(data.data, "a terminal response needs command details (81), device identities (82) and a result (83)");
}

} // namespace

std::optional<Fault> readHex(const std::string &text, cat::Bytes *bytes)
{
    const std::string blanks = " \t\r\n", digits = "0123456789abcdefABCDEF";
    const auto isDigit = [&](std::size_t at) { return at < text.size() && digits.find(text[at]) != std::string::npos; };
    for (std::size_t at = 0; at < text.size();) {
        if (blanks.find(text[at]) != std::string::npos) {
            ++at;
            continue;
        }
        for (const std::size_t place : {at, at + 1}) {
            const bool isMissing =
                place >= text.size() || (place > at && blanks.find(text[place]) != std::string::npos);
            if (isMissing)
                return Fault{at + 1, "a byte has two digits, and this one has one"};
            if (!isDigit(place))
                return Fault{place + 1, "this is no hexadecimal digit"};
        }
        at += 2;
    }
    cat::fromHex(text, bytes);
    return std::nullopt;
}

Decoded decodeBytes(const cat::Bytes &bytes)
{
    return Decoder(bytes).decode();
}

} // namespace stkcard
