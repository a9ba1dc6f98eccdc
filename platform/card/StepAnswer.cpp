#include "card/StepAnswer.h"

#include <algorithm>

namespace card
{

namespace
{

constexpr std::uint8_t noLimit = 255;
constexpr std::uint8_t anyCharacter = 0x01, yesOrNo = 0x04; // ETSI TS 102 223 clause 8.6

/// Characters that take two UTF-16 units count once.
std::size_t characters(std::u16string_view text)
{
    const auto second =
        std::count_if(text.begin(), text.end(), [](char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; });
    return text.size() - static_cast<std::size_t>(second);
}

/// A terminal may count a character outside the first plane as one or as two.
bool hasLength(std::u16string_view text, const cat::ResponseLength &length)
{
    return text.size() >= length.minimum && (length.maximum == noLimit || characters(text) <= length.maximum);
}

bool isDigits(std::u16string_view text)
{
    return text.find_first_not_of(u"0123456789*#+") == std::u16string_view::npos;
}

std::optional<std::u16string> yesNoAnswer(std::u16string_view text)
{
    if (text.size() != 1 || text[0] > 1)
        return std::nullopt;
    return std::u16string(text[0] == 1 ? answerYes : answerNo);
}

} // namespace

std::optional<std::u16string> answerOf(const Step &step, const cat::Response &response)
{
    const cat::CommandType type = step.type();
    const bool isKey = type == cat::CommandType::GetInkey;
    // What bytes of the profile's own ask is not known here.
    if (!step.raw.empty() || (!isKey && type != cat::CommandType::GetInput))
        return std::u16string();
    if (!response.text)
        return std::nullopt;
    const std::u16string &text = response.text->value;
    const std::uint8_t qualifier = step.command.details.qualifier;
    if (isKey && (qualifier & yesOrNo) != 0)
        return yesNoAnswer(text);
    const cat::ResponseLength length =
        isKey ? cat::ResponseLength{1, 1} : step.command.responseLength.value_or(cat::ResponseLength());
    const bool good = hasLength(text, length) && ((qualifier & anyCharacter) != 0 || isDigits(text));
    return good ? std::optional<std::u16string>(text) : std::nullopt;
}

} // namespace card
