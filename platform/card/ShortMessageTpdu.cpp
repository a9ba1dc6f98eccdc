#include "card/ShortMessageTpdu.h"

#include <algorithm>

namespace card
{

namespace
{

constexpr std::uint8_t internationalNumber = 0x91; ///< ISDN numbering plan (3GPP TS 24.008 clause 10.5.4.7)
constexpr std::uint8_t unknownNumber = 0x81;
constexpr std::size_t mostDigits = 40;
constexpr std::size_t mostDigitsOfTpdu = 20;
constexpr std::size_t mostOctets = 140;
constexpr std::string_view bcdDigits = "0123456789*#cde"; ///< 3GPP TS 24.008 table 10.5.118

std::uint8_t bcd(char digit)
{
    return static_cast<std::uint8_t>(bcdDigits.find(digit) & 0x0F);
}

void appendAddress(const cat::Address &address, cat::Bytes *out)
{
    const std::string &digits = address.digits;
    out->push_back(static_cast<std::uint8_t>(digits.size()));
    out->push_back(address.tonNpi);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const unsigned int high = i + 1 < digits.size() ? bcd(digits[i + 1]) : 0x0Fu;
        out->push_back(static_cast<std::uint8_t>(high << 4 | bcd(digits[i])));
    }
}

} // namespace

std::optional<cat::Address> addressOf(std::string_view number)
{
    cat::Address address;
    const bool international = !number.empty() && number.front() == '+';
    if (international)
        number.remove_prefix(1);
    address.tonNpi = international ? internationalNumber : unknownNumber;
    address.digits = number;
    std::replace(address.digits.begin(), address.digits.end(), 'p', 'c');
    const bool good = number.find_first_not_of("0123456789*#p") == std::string_view::npos;
    return good && !number.empty() && number.size() <= mostDigits ? std::optional<cat::Address>(address) : std::nullopt;
}

std::optional<cat::Bytes> submitTpdu(const cat::Address &destination, std::u16string_view text)
{
    constexpr std::uint8_t submit = 0x01;
    constexpr std::uint8_t defaultAlphabet = 0x00, ucs2 = 0x08;
    const std::optional<cat::Bytes> septets = cat::encodeGsm8Bit(text);
    const cat::Bytes data = septets ? *cat::encodeGsm7Packed(text) : cat::encodeUcs2(text);
    if (data.size() > mostOctets || destination.digits.size() > mostDigitsOfTpdu)
        return std::nullopt;
    cat::Bytes tpdu{submit, 0x00}; // the terminal gives the message its reference
    appendAddress(destination, &tpdu);
    tpdu.push_back(0x00); // an ordinary message, no other protocol
    tpdu.push_back(septets ? defaultAlphabet : ucs2);
    tpdu.push_back(static_cast<std::uint8_t>(septets ? septets->size() : data.size()));
    tpdu.insert(tpdu.end(), data.begin(), data.end());
    return tpdu;
}

} // namespace card
