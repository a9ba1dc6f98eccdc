#include "card/StepCommand.h"

#include "card/MenuCommand.h"
#include "card/ShortMessageTpdu.h"
#include "card/Template.h"

#include <algorithm>

namespace card
{

namespace
{

constexpr std::uint8_t clearedByUser = 0x80;
constexpr std::size_t longestWithAnswers = 255; ///< what the second status byte can say without a special case

/// Calls `change` for every text of the command.
template <typename Change>
void changeTexts(cat::Command *command, Change change)
{
    for (std::optional<cat::Text> *text : {&command->text, &command->defaultText, &command->ussd}) {
        if (*text)
            change(&(*text)->value);
    }
    for (std::optional<std::u16string> *text : {&command->alphaId, &command->callAlphaId}) {
        if (*text)
            change(&**text);
    }
    for (cat::Item &item : command->items)
        change(&item.text);
}

/// The coding that is asked for may not hold what the user has answered: then the shortest that does.
void giveCodings(cat::Command *command, const std::optional<cat::TextCoding> &wanted)
{
    for (std::optional<cat::Text> *text : {&command->text, &command->defaultText, &command->ussd}) {
        if (*text)
            (*text)->coding = wanted && holds(*wanted, (*text)->value) ? *wanted : shortestCoding((*text)->value);
    }
}

cat::Command filled(const Step &step, const cat::Command &raw, const Values &values, std::size_t longest, bool *fits)
{
    cat::Command command = raw;
    changeTexts(&command, [&](std::u16string *text) { *text = expanded(*text, values, longest); });
    giveCodings(&command, step.coding);
    *fits = true;
    if (step.message) {
        const auto tpdu = submitTpdu(step.message->destination, expanded(step.message->text, values, longest));
        *fits = tpdu.has_value();
        command.tpdu = tpdu.value_or(cat::Bytes());
    }
    *fits = *fits && cat::encodeCommand(command).size() <= longestWithAnswers;
    return command;
}

} // namespace

cat::Command raised(const Step &step, const Values &values, std::uint8_t number)
{
    cat::Command raw = step.menu ? selectItem(*step.menu, number) : step.command;
    raw.details.number = number;
    std::size_t longest = 0;
    for (const auto &[name, value] : values)
        longest = std::max(longest, value.size());
    bool fits = false;
    cat::Command command = filled(step, raw, values, longest, &fits);
    while (!fits && longest > 0)
        command = filled(step, raw, values, --longest, &fits);
    return command;
}

cat::Command raisedMainMenu(const Menu &menu, std::uint8_t number)
{
    cat::Command command = setUpMenu(menu, number);
    changeTexts(&command, [](std::u16string *text) { *text = expanded(*text, {}, 0); });
    return command;
}

Step displayStep(const std::u16string &text)
{
    Step step;
    step.command.details = {0, cat::CommandType::DisplayText, clearedByUser};
    step.command.destination = cat::Device::Display;
    step.command.text = cat::Text{text, cat::TextCoding::Gsm8Bit};
    return step;
}

bool holds(cat::TextCoding coding, std::u16string_view text)
{
    if (coding == cat::TextCoding::Ucs2)
        return true;
    const bool packed = coding == cat::TextCoding::Gsm7Packed;
    const std::optional<cat::Bytes> coded = packed ? cat::encodeGsm7Packed(text) : cat::encodeGsm8Bit(text);
    return coded && (packed ? cat::decodeGsm7Packed(*coded) : cat::decodeGsm8Bit(*coded)) == text;
}

cat::TextCoding shortestCoding(std::u16string_view text)
{
    for (const cat::TextCoding coding : {cat::TextCoding::Gsm7Packed, cat::TextCoding::Gsm8Bit}) {
        if (holds(coding, text))
            return coding;
    }
    return cat::TextCoding::Ucs2;
}

} // namespace card
