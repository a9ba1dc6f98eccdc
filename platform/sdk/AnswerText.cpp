#include "sdk/AnswerText.h"

#include "sdk/Commands.h"

#include <algorithm>

namespace sdk
{

namespace
{

constexpr std::uint8_t noLimit = 255;

/// Longest data field of a command APDU with a short length (ISO/IEC 7816-4 clause 5.1).
constexpr std::size_t longestData = 255;

CheckedAnswer refused(const std::string &reason)
{
    return {std::nullopt, reason};
}

/// "4 to 8 characters".
std::string words(const cat::ResponseLength &length)
{
    const std::string minimum = std::to_string(length.minimum);
    if (length.maximum == noLimit)
        return "at least " + minimum + " characters";
    if (length.minimum == length.maximum)
        return minimum + (length.minimum == 1 ? " character" : " characters");
    return minimum + " to " + std::to_string(length.maximum) + " characters";
}

CheckedAnswer checkYesNo(std::u16string_view answer)
{
    if (answer == u"1" || answer == u"0")
        return {cat::Text{std::u16string(1, answer == u"1" ? u'\x01' : u'\x00'), cat::TextCoding::Gsm8Bit}, {}};
    return refused("neither 1 for yes nor 0 for no");
}

/// The length that the answer must have.
cat::ResponseLength lengthOf(const cat::Command &command)
{
    if (command.details.type == cat::CommandType::GetInkey)
        return {1, 1};
    return command.responseLength.value_or(cat::ResponseLength());
}

/// Why the characters themselves will not do; empty: they will.
std::string faultOfCharacters(const cat::Command &command, std::u16string_view answer)
{
    if (command.isDigitsOnly() && answer.find_first_not_of(u"0123456789*#+") != std::u16string_view::npos)
        return "other characters than the digits, * # and + that the card asks for";
    if (!command.isDigitsOnly() && !command.isUcs2() && !cat::encodeGsm8Bit(answer))
        return "characters outside the GSM default alphabet that the card asks for";
    return {};
}

} // namespace

std::size_t countCharacters(std::u16string_view text)
{
    const auto isSecondOfPair = [](char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isSecondOfPair));
}

CheckedAnswer checkAnswer(const cat::Command &command, std::u16string_view answer)
{
    if (command.isYesNo())
        return checkYesNo(answer);
    const cat::ResponseLength length = lengthOf(command);
    const std::size_t count = countCharacters(answer);
    if (count < length.minimum || (length.maximum != noLimit && count > length.maximum))
        return refused(std::to_string(count) + (count == 1 ? " character" : " characters") +
                       " where the card asks for " + words(length));
    const std::string fault = faultOfCharacters(command, answer);
    if (!fault.empty())
        return refused(fault);
    cat::Response response = responseTo(command, cat::Result::Performed);
    response.text = cat::Text{std::u16string(answer), command.answerCoding()};
    response.duration = command.duration;
    if (cat::encodeResponse(response).size() > longestData)
        return refused("too long for a terminal response");
    return {response.text, {}};
}

} // namespace sdk
