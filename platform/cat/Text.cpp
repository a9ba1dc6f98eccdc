#include "cat/Text.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace cat
{

namespace
{

constexpr std::uint8_t escape = 0x1B;
constexpr std::uint8_t carriageReturn = 0x0D;
constexpr std::uint8_t padding = 0xFF;
constexpr std::uint8_t noSeptet = 0xFF;
constexpr char16_t replacement = u'\uFFFD';

/// First octet of an alpha field that is not in the GSM default alphabet (ETSI TS 102 221 annex A).
constexpr std::uint8_t alphaUcs2 = 0x80;
constexpr std::uint8_t alphaPage = 0x81;
constexpr std::uint8_t alphaBase = 0x82;

/// 3GPP TS 23.038 clause 6.2.1; the escape is shown as a space where nothing follows it.
constexpr char16_t defaultAlphabet[] = u"@\u00A3$\u00A5\u00E8\u00E9\u00F9\u00EC\u00F2\u00C7\n\u00D8\u00F8\r\u00C5\u00E5"
                                       u"\u0394_\u03A6\u0393\u039B\u03A9\u03A0\u03A8\u03A3\u0398\u039E "
                                       u"\u00C6\u00E6\u00DF\u00C9 !\"#\u00A4%&'()*+,-./0123456789:;<=>?"
                                       u"\u00A1ABCDEFGHIJKLMNOPQRSTUVWXYZ\u00C4\u00D6\u00D1\u00DC\u00A7"
                                       u"\u00BFabcdefghijklmnopqrstuvwxyz\u00E4\u00F6\u00F1\u00FC\u00E0";
static_assert(std::size(defaultAlphabet) == 128 + 1, "one character for each septet, and the closing zero");

/// 3GPP TS 23.038 clause 6.2.1.1: what follows the escape.
constexpr struct {
    std::uint8_t septet;
    char16_t character;
} extensionTable[] = {
    {0x0A, u'\f'}, {0x14, u'^'}, {0x28, u'{'}, {0x29, u'}'}, {0x2F, u'\\'},
    {0x3C, u'['},  {0x3D, u'~'}, {0x3E, u']'}, {0x40, u'|'}, {0x65, u'\u20AC'},
};

char16_t defaultCharacter(std::uint8_t septet)
{
    return septet < 0x80 ? defaultAlphabet[septet] : u' ';
}

/// The character behind an escape. One that the extension table lacks is that of the default table.
char16_t extensionCharacter(std::uint8_t septet)
{
    for (const auto &row : extensionTable) {
        if (row.septet == septet)
            return row.character;
    }
    return defaultCharacter(septet);
}

/// The highest character of the alphabet is U+03A9.
using Septets = std::array<std::uint8_t, 0x03AA>;

constexpr Septets makeSeptets()
{
    Septets septets{};
    for (std::uint8_t &septet : septets)
        septet = noSeptet;
    for (std::uint8_t septet = 0; septet < 128; ++septet) {
        if (septet != escape) // its place in the alphabet holds a space only for show
            septets[defaultAlphabet[septet]] = septet;
    }
    return septets;
}

/// By character.
constexpr Septets defaultSeptets = makeSeptets();

std::optional<std::uint8_t> defaultSeptet(char16_t character)
{
    const std::uint8_t septet = character < defaultSeptets.size() ? defaultSeptets[character] : noSeptet;
    return septet == noSeptet ? std::nullopt : std::optional<std::uint8_t>(septet);
}

bool appendSeptets(char16_t character, Bytes *septets)
{
    if (const auto septet = defaultSeptet(character)) {
        septets->push_back(*septet);
        return true;
    }
    for (const auto &row : extensionTable) {
        if (row.character == character) {
            septets->insert(septets->end(), {escape, row.septet});
            return true;
        }
    }
    return false;
}

std::u16string decodeSeptets(ByteView septets)
{
    std::u16string text;
    text.reserve(septets.size);
    for (std::size_t i = 0; i < septets.size; ++i) {
        if (septets[i] == escape && i + 1 < septets.size)
            text.push_back(extensionCharacter(septets[++i]));
        else
            text.push_back(defaultCharacter(septets[i]));
    }
    return text;
}

std::optional<Bytes> encodeSeptets(std::u16string_view text)
{
    Bytes septets;
    septets.reserve(text.size());
    for (const char16_t character : text) {
        if (!appendSeptets(character, &septets))
            return std::nullopt;
    }
    return septets;
}

Bytes unpack(ByteView octets)
{
    Bytes septets;
    septets.reserve(octets.size * 8 / 7);
    unsigned int bits = 0;
    unsigned int count = 0;
    for (const std::uint8_t octet : octets) {
        bits |= static_cast<unsigned int>(octet) << count;
        count += 8;
        for (; count >= 7; count -= 7) {
            septets.push_back(bits & 0x7F);
            bits >>= 7;
        }
    }
    return septets;
}

Bytes pack(const Bytes &septets)
{
    Bytes octets;
    octets.reserve(septets.size() * 7 / 8 + 1);
    unsigned int bits = 0;
    unsigned int count = 0;
    for (const std::uint8_t septet : septets) {
        bits |= static_cast<unsigned int>(septet) << count;
        count += 7;
        if (count >= 8) {
            octets.push_back(static_cast<std::uint8_t>(bits));
            bits >>= 8;
            count -= 8;
        }
    }
    if (count > 0)
        octets.push_back(static_cast<std::uint8_t>(bits));
    return octets;
}

/// Text behind 81 or 82: `count` octets, each a character of the default alphabet or, with bit 8, one after `base`.
std::optional<std::u16string> decodeBased(ByteView octets, std::size_t count, unsigned int base)
{
    if (count > octets.size)
        return std::nullopt;
    std::u16string text;
    text.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t octet = octets[i];
        const unsigned int unit = base + (octet & 0x7Fu);
        if (octet >= 0x80 && unit > 0xFFFF)
            return std::nullopt;
        if (octet >= 0x80)
            text.push_back(static_cast<char16_t>(unit));
        else if (octet == escape && i + 1 < count && octets[i + 1] < 0x80)
            text.push_back(extensionCharacter(octets[++i]));
        else
            text.push_back(defaultCharacter(octet));
    }
    return text;
}

/// The lowest and the highest character of a text that the default alphabet lacks.
struct Span {
    char16_t lowest = 0xFFFF;
    char16_t highest = 0;
};

Span spanOutsideDefault(std::u16string_view text)
{
    Span span;
    for (const char16_t character : text) {
        if (!defaultSeptet(character)) {
            span.lowest = std::min(span.lowest, character);
            span.highest = std::max(span.highest, character);
        }
    }
    return span;
}

bool isSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

/// The octets behind the head of the codings 81 and 82. Extension characters go by the base like any other: the
/// annex does not say whether an escape counts as a character.
void appendBased(std::u16string_view text, char16_t base, Bytes *out)
{
    for (const char16_t character : text) {
        const auto septet = defaultSeptet(character);
        out->push_back(septet ? *septet : static_cast<std::uint8_t>(0x80 | (character - base)));
    }
}

std::optional<Bytes> encodePage(std::u16string_view text)
{
    const Span span = spanOutsideDefault(text);
    if (text.size() > 0xFF || span.lowest > span.highest || span.lowest >> 7 != span.highest >> 7)
        return std::nullopt;
    if (span.highest >= 0x8000)
        return std::nullopt; // bit 16 of the base pointer is always 0
    Bytes out{alphaPage, static_cast<std::uint8_t>(text.size()), static_cast<std::uint8_t>(span.lowest >> 7)};
    appendBased(text, static_cast<char16_t>(span.lowest & 0xFF80), &out);
    return out;
}

std::optional<Bytes> encodeBase(std::u16string_view text)
{
    const Span span = spanOutsideDefault(text);
    if (text.size() > 0xFF || span.lowest > span.highest || span.highest - span.lowest > 0x7F)
        return std::nullopt;
    if (std::any_of(text.begin(), text.end(), isSurrogate))
        return std::nullopt; // a half of a pair is no character that could stand by itself
    Bytes out{alphaBase, static_cast<std::uint8_t>(text.size()), static_cast<std::uint8_t>(span.lowest >> 8),
              static_cast<std::uint8_t>(span.lowest)};
    appendBased(text, span.lowest, &out);
    return out;
}

Bytes encodeAlphaUcs2(std::u16string_view text)
{
    Bytes out = encodeUcs2(text);
    out.insert(out.begin(), alphaUcs2);
    return out;
}

/// Well-formed sequences of UTF-8 by their first byte (The Unicode Standard, table 3-7).
constexpr struct Utf8Row {
    std::uint8_t first, last;     ///< range of the first byte
    std::uint8_t lowest, highest; ///< range of the second byte
    std::uint8_t mask;            ///< what the first byte adds to the character
    std::size_t following;        ///< bytes behind the first
} utf8Rows[] = {
    {0x00, 0x7F, 0x00, 0x00, 0x7F, 0}, {0xC2, 0xDF, 0x80, 0xBF, 0x1F, 1}, {0xE0, 0xE0, 0xA0, 0xBF, 0x0F, 2},
    {0xE1, 0xEC, 0x80, 0xBF, 0x0F, 2}, {0xED, 0xED, 0x80, 0x9F, 0x0F, 2}, {0xEE, 0xEF, 0x80, 0xBF, 0x0F, 2},
    {0xF0, 0xF0, 0x90, 0xBF, 0x07, 3}, {0xF1, 0xF3, 0x80, 0xBF, 0x07, 3}, {0xF4, 0xF4, 0x80, 0x8F, 0x07, 3},
};

const Utf8Row *utf8Row(std::uint8_t first)
{
    const auto row = std::find_if(std::begin(utf8Rows), std::end(utf8Rows),
                                  [first](const Utf8Row &r) { return first >= r.first && first <= r.last; });
    return row == std::end(utf8Rows) ? nullptr : row;
}

/// One character, or the bytes that cannot begin one.
struct Utf8Step {
    char32_t character = replacement;
    std::size_t size = 1;
    bool valid = false;
};

Utf8Step utf8Step(std::string_view text)
{
    Utf8Step step;
    const auto first = static_cast<std::uint8_t>(text[0]);
    const Utf8Row *row = utf8Row(first);
    if (!row)
        return step;
    char32_t character = first & row->mask;
    for (; step.size <= row->following; ++step.size) {
        const auto byte = step.size < text.size() ? static_cast<std::uint8_t>(text[step.size]) : std::uint8_t{0};
        const bool second = step.size == 1;
        if (byte < (second ? row->lowest : 0x80) || byte > (second ? row->highest : 0xBF))
            return step;
        character = character << 6 | (byte & 0x3Fu);
    }
    step.character = character;
    step.valid = true;
    return step;
}

void appendUtf16(char32_t character, std::u16string *out)
{
    if (character < 0x10000) {
        out->push_back(static_cast<char16_t>(character));
        return;
    }
    out->push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
}

void appendUtf8(char32_t character, std::string *out)
{
    const auto push = [out](char32_t byte) { out->push_back(static_cast<char>(static_cast<std::uint8_t>(byte))); };
    const int following = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr char32_t marks[] = {0x00, 0xC0, 0xE0, 0xF0};
    push(marks[following] | character >> 6 * following);
    for (int i = following - 1; i >= 0; --i)
        push(0x80 | (character >> 6 * i & 0x3F));
}

} // namespace

std::u16string decodeGsm8Bit(ByteView octets)
{
    while (!octets.empty() && octets[octets.size - 1] == padding)
        --octets.size;
    return decodeSeptets(octets);
}

std::u16string decodeGsm7Packed(ByteView octets)
{
    Bytes septets = unpack(octets);
    // Seven spare bits are filled with a carriage return, by older cards with zeros (3GPP TS 23.038 clause 6.1.2.3.1).
    if (!septets.empty() && octets.size % 7 == 0 && (septets.back() == carriageReturn || septets.back() == 0))
        septets.pop_back();
    return decodeSeptets(septets);
}

std::u16string decodeUcs2(ByteView octets)
{
    std::u16string text;
    text.reserve(octets.size / 2);
    for (std::size_t i = 0; i + 1 < octets.size; i += 2)
        text.push_back(static_cast<char16_t>(octets[i] << 8 | octets[i + 1]));
    while (!text.empty() && text.back() == 0xFFFF)
        text.pop_back();
    return text;
}

std::optional<std::u16string> decodeAlpha(ByteView octets)
{
    const std::uint8_t coding = octets.empty() ? std::uint8_t{0} : octets[0];
    const std::size_t head = coding == alphaUcs2 ? 1 : coding == alphaPage ? 3 : coding == alphaBase ? 4 : 0;
    if (octets.size < head)
        return std::nullopt;
    const ByteView rest(octets.data + head, octets.size - head);
    switch (coding) {
    case alphaUcs2:
        return decodeUcs2(rest);
    case alphaPage:
        return decodeBased(rest, octets[1], static_cast<unsigned int>(octets[2]) << 7);
    case alphaBase:
        return decodeBased(rest, octets[1], static_cast<unsigned int>(octets[2] << 8 | octets[3]));
    default:
        return decodeGsm8Bit(rest);
    }
}

std::optional<Bytes> encodeGsm8Bit(std::u16string_view text)
{
    return encodeSeptets(text);
}

std::optional<Bytes> encodeGsm7Packed(std::u16string_view text)
{
    std::optional<Bytes> septets = encodeSeptets(text);
    if (!septets)
        return std::nullopt;
    // 3GPP TS 23.038 clause 6.1.2.3.1: seven spare bits become a carriage return, and a wanted one that ends on an
    // octet boundary is written twice.
    const bool closesOctet = !septets->empty() && septets->size() % 8 == 0;
    if (septets->size() % 8 == 7 || (closesOctet && septets->back() == carriageReturn))
        septets->push_back(carriageReturn);
    return pack(*septets);
}

Bytes encodeUcs2(std::u16string_view text)
{
    Bytes out;
    out.reserve(text.size() * 2);
    for (const char16_t unit : text) {
        out.push_back(static_cast<std::uint8_t>(unit >> 8));
        out.push_back(static_cast<std::uint8_t>(unit));
    }
    return out;
}

Bytes encodeAlpha(std::u16string_view text)
{
    std::optional<Bytes> best = encodeGsm8Bit(text);
    if (best && best->size() == text.size())
        return *std::move(best); // no coding takes less than a byte for a character
    for (const std::optional<Bytes> &other :
         {std::optional<Bytes>(encodeAlphaUcs2(text)), encodePage(text), encodeBase(text)}) {
        if (other && (!best || other->size() < best->size()))
            best = other;
    }
    return *best;
}

std::u16string fromUtf8(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Utf8Step step = utf8Step(text);
        appendUtf16(step.character, &out);
        text.remove_prefix(step.size);
    }
    return out;
}

std::size_t wellFormedUtf8(std::string_view text)
{
    std::size_t size = 0;
    while (size < text.size()) {
        const Utf8Step step = utf8Step(text.substr(size));
        if (!step.valid)
            break;
        size += step.size;
    }
    return size;
}

std::string toUtf8(std::u16string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t character = text[i];
        const char32_t next = i + 1 < text.size() ? text[i + 1] : u'\0';
        if (character >= 0xD800 && character < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            character = 0x10000 + ((character - 0xD800) << 10) + (next - 0xDC00);
            ++i;
        } else if (isSurrogate(text[i])) {
            character = replacement;
        }
        appendUtf8(character, &out);
    }
    return out;
}

} // namespace cat
