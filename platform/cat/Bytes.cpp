#include "cat/Bytes.h"

namespace cat
{

namespace
{

constexpr char hexDigits[] = "0123456789ABCDEF";

int digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

bool isBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

} // namespace

std::string toHex(ByteView bytes)
{
    std::string text;
    text.reserve(bytes.size * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(hexDigits[byte >> 4]);
        text.push_back(hexDigits[byte & 0x0F]);
    }
    return text;
}

bool fromHex(std::string_view text, Bytes *bytes)
{
    Bytes result;
    result.reserve(text.size() / 2);
    std::size_t at = 0;
    while (at < text.size()) {
        if (isBlank(text[at])) {
            ++at;
            continue;
        }
        const int high = digitValue(text[at]);
        const int low = at + 1 < text.size() ? digitValue(text[at + 1]) : -1;
        if (high < 0 || low < 0)
            return false;
        result.push_back(static_cast<std::uint8_t>(high * 16 + low));
        at += 2;
    }
    bytes->swap(result);
    return true;
}

} // namespace cat
