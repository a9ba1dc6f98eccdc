#include "cat/Tlv.h"

#include <algorithm>
#include <array>

namespace cat
{

namespace
{

constexpr std::uint8_t comprehensionFlag = 0x80;
constexpr std::uint8_t longTagMark = 0x7F;

ByteView behind(ByteView bytes, std::size_t count)
{
    return ByteView(bytes.data + count, bytes.size - count);
}

/// Takes a length field off the front of `bytes`.
std::optional<std::size_t> takeLength(ByteView *bytes)
{
    if (bytes->empty())
        return std::nullopt;
    const std::uint8_t first = (*bytes)[0];
    const std::size_t digits = first < 0x80 ? 0 : first - 0x80u;
    // 80 would be the indefinite form, which the clause does not have; 83 is the longest that it has.
    if (first == 0x80 || digits > 3 || bytes->size < 1 + digits)
        return std::nullopt;
    std::size_t length = digits == 0 ? first : 0;
    for (std::size_t i = 1; i <= digits; ++i)
        length = length << 8 | (*bytes)[i];
    *bytes = behind(*bytes, 1 + digits);
    return length;
}

/// Takes a tag of one or three bytes off the front of `bytes`.
bool takeTag(ByteView *bytes, TlvObject *object)
{
    const bool isLong = ((*bytes)[0] & longTagMark) == longTagMark;
    const std::size_t size = isLong ? 3 : 1;
    if (bytes->size < size)
        return false;
    const std::uint8_t first = (*bytes)[isLong ? 1 : 0];
    const std::uint8_t low = first & static_cast<std::uint8_t>(~comprehensionFlag);
    object->tag = static_cast<Tag>(isLong ? low << 8 | (*bytes)[2] : low);
    object->comprehension = (first & comprehensionFlag) != 0;
    *bytes = behind(*bytes, size);
    return true;
}

void appendHead(Bytes *out, Tag tag, bool comprehension, std::size_t length)
{
    const auto number = static_cast<std::uint8_t>(tag);
    out->push_back(comprehension ? number | comprehensionFlag : number);
    appendLength(out, length);
}

} // namespace

std::optional<BerObject> readBer(ByteView data)
{
    if (data.empty())
        return std::nullopt;
    BerObject object;
    object.tag = data[0];
    ByteView rest = behind(data, 1);
    const std::optional<std::size_t> length = takeLength(&rest);
    if (!length)
        return std::nullopt;
    object.complete = *length <= rest.size;
    object.value = ByteView(rest.data, std::min(*length, rest.size));
    return object;
}

std::optional<TlvObject> TlvReader::next()
{
    if (m_malformed || m_rest.empty())
        return std::nullopt;
    TlvObject object;
    ByteView rest = m_rest;
    const bool tagRead = takeTag(&rest, &object);
    const std::optional<std::size_t> length = tagRead ? takeLength(&rest) : std::nullopt;
    if (!length || *length > rest.size) {
        m_malformed = true;
        return std::nullopt;
    }
    object.value = ByteView(rest.data, *length);
    m_rest = behind(rest, *length);
    return object;
}

void appendLength(Bytes *out, std::size_t length)
{
    if (length > 0x7F) {
        const int digits = length > 0xFFFF ? 3 : length > 0xFF ? 2 : 1;
        out->push_back(static_cast<std::uint8_t>(0x80 + digits));
        for (int digit = digits - 1; digit > 0; --digit)
            out->push_back(static_cast<std::uint8_t>(length >> 8 * digit));
    }
    out->push_back(static_cast<std::uint8_t>(length));
}

void appendObject(Bytes *out, Tag tag, bool comprehension, ByteView value)
{
    appendHead(out, tag, comprehension, value.size);
    out->insert(out->end(), value.begin(), value.end());
}

void appendObject(Bytes *out, Tag tag, bool comprehension, std::uint8_t first, ByteView rest)
{
    appendHead(out, tag, comprehension, 1 + rest.size);
    out->push_back(first);
    out->insert(out->end(), rest.begin(), rest.end());
}

Bytes berObject(BerTag tag, Bytes value)
{
    // The length goes in front, and is known only now.
    const std::size_t size = value.size();
    value.push_back(static_cast<std::uint8_t>(tag));
    appendLength(&value, size);
    std::array<std::uint8_t, berHeadSize> head{};
    const std::size_t headSize = value.size() - size;
    std::copy(value.end() - static_cast<std::ptrdiff_t>(headSize), value.end(), head.begin());
    std::copy_backward(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(size), value.end());
    std::copy_n(head.begin(), headSize, value.begin());
    return value;
}

} // namespace cat
