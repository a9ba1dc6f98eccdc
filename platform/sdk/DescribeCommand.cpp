#include "sdk/Describe.h"

#include "cat/Explain.h"

#include <algorithm>

// What a person is told of each command.

namespace sdk
{

namespace
{

using cat::CommandType;

constexpr std::uint8_t noLimit = 255;

std::string quotedText(const std::optional<cat::Text> &text)
{
    return text ? ' ' + quoted(text->value) : std::string();
}

/// `, "text"`; empty when there is none.
std::string alpha(const std::optional<std::u16string> &text)
{
    return text && !text->empty() ? ", " + quoted(*text) : std::string();
}

/// "2.5 s".
std::string time(const cat::Duration &duration)
{
    const auto tenths = duration.time().count() / 100;
    const std::string whole = std::to_string(tenths / 10);
    return (tenths % 10 == 0 ? whole : whole + '.' + std::to_string(tenths % 10)) + " s";
}

std::string within(const std::optional<cat::Duration> &duration)
{
    return duration ? ", within " + time(*duration) : std::string();
}

/// "digits" or "characters" that an answer has, and what kind of them.
std::string characters(const cat::Command &command, bool isOne)
{
    const std::string what = command.isDigitsOnly() ? "digit" : "character";
    return what + (isOne ? "" : "s") + (command.isUcs2() ? " of any script" : "");
}

std::string menuWords(const cat::Command &command)
{
    const std::size_t count = command.items.size();
    const std::string title = command.alphaId ? ' ' + quoted(*command.alphaId) : std::string();
    return title + ", " + std::to_string(count) + (count == 1 ? " item" : " items");
}

std::string displayTextWords(const cat::Command &command)
{
    std::string words = quotedText(command.text);
    if (!command.isClearedByUser())
        words += ", clears itself" + (command.duration ? " after " + time(*command.duration) : std::string());
    else
        words += within(command.duration);
    if (command.isHighPriority())
        words += ", high priority";
    return words + (command.immediateResponse ? ", answered at once" : "");
}

std::string getInkeyWords(const cat::Command &command)
{
    const std::string what = command.isYesNo() ? "yes or no" : "one " + characters(command, true);
    return quotedText(command.text) + ", " + what + within(command.duration) +
           (command.helpAvailable() ? ", with help" : "");
}

/// "4 to 8 digits".
std::string length(const cat::Command &command)
{
    const cat::ResponseLength length = command.responseLength.value_or(cat::ResponseLength());
    const std::string minimum = std::to_string(length.minimum);
    if (length.minimum == length.maximum)
        return minimum + ' ' + characters(command, length.minimum == 1);
    if (length.maximum != noLimit)
        return minimum + " to " + std::to_string(length.maximum) + ' ' + characters(command, false);
    return (length.minimum == 0 ? "" : minimum + " or more ") + characters(command, false);
}

std::string hiddenOr(const cat::Command &command, const std::u16string &text)
{
    return quoted(command.isHidden() ? std::u16string(text.size(), u'*') : text);
}

std::string getInputWords(const cat::Command &command)
{
    std::string words = quotedText(command.text) + ", " + length(command);
    if (command.isHidden())
        words += ", hidden";
    if (command.defaultText && !command.defaultText->value.empty())
        words += ", default " + hiddenOr(command, command.defaultText->value);
    return words + (command.helpAvailable() ? ", with help" : "");
}

std::string playToneWords(const cat::Command &command)
{
    constexpr std::uint8_t generalBeep = 0x10;
    const std::string duration = command.duration ? ", " + time(*command.duration) : std::string();
    return ' ' + cat::toneName(command.tone.value_or(generalBeep)) + duration + alpha(command.alphaId);
}

/// The number as a person dials it.
std::string dialled(const std::optional<cat::Address> &address)
{
    constexpr unsigned int typeOfNumber = 0x70;
    constexpr unsigned int international = 0x10;
    if (!address || address->digits.empty())
        return {};
    const bool needsPlus = (address->tonNpi & typeOfNumber) == international && address->digits.front() != '+';
    return (needsPlus ? " +" : " ") + address->digits;
}

std::string setUpCallWords(const cat::Command &command)
{
    return dialled(command.address) + alpha(command.alphaId) + alpha(command.callAlphaId);
}

std::string sendShortMessageWords(const cat::Command &command)
{
    return alpha(command.alphaId);
}

std::string sendSsWords(const cat::Command &command)
{
    return ' ' + command.ss.value_or(cat::Address()).digits + alpha(command.alphaId);
}

std::string sendUssdWords(const cat::Command &command)
{
    return quotedText(command.ussd) + alpha(command.alphaId);
}

std::string launchBrowserWords(const cat::Command &command)
{
    const std::u16string url = cat::fromUtf8(command.url.value_or(std::string()));
    return (url.empty() ? " at the home page" : ' ' + quoted(url)) + alpha(command.alphaId);
}

std::string idleTextWords(const cat::Command &command)
{
    return quotedText(command.text);
}

std::string refreshWords(const cat::Command &command)
{
    const std::uint8_t mode = command.details.qualifier;
    const std::string words = cat::qualifierWords(command.details);
    return ", " + (words.empty() ? "mode " + cat::toHex(cat::Bytes{mode}) : words) + alpha(command.alphaId);
}

std::string pollIntervalWords(const cat::Command &command)
{
    return command.duration ? ", every " + time(*command.duration) : std::string();
}

std::string eventListWords(const cat::Command &command)
{
    std::string words;
    for (const std::uint8_t event : command.eventList.value_or(cat::Bytes()))
        words += ", " + cat::eventName(event);
    return words.empty() ? ", no events" : words;
}

std::string localInformationWords(const cat::Command &command)
{
    const std::string words = cat::qualifierWords(command.details);
    return ", " + (words.empty() ? "information " + cat::toHex(cat::Bytes{command.details.qualifier}) : words);
}

std::string timerWords(const cat::Command &command)
{
    const std::string value =
        command.timerValue ? ", " + std::to_string(command.timerValue->count()) + " s" : std::string();
    return ", " + cat::qualifierWords(command.details) + ", timer " + std::to_string(command.timerId.value_or(0)) +
           value;
}

std::string languageWords(const cat::Command &command)
{
    return ' ' + command.language.value_or("of no language in particular");
}

struct WordsRow {
    CommandType type;
    std::string (*words)(const cat::Command &command);
};

constexpr WordsRow wordsRows[] = {
    {CommandType::SetUpMenu, menuWords},
    {CommandType::SelectItem, menuWords},
    {CommandType::DisplayText, displayTextWords},
    {CommandType::GetInkey, getInkeyWords},
    {CommandType::GetInput, getInputWords},
    {CommandType::PlayTone, playToneWords},
    {CommandType::SetUpCall, setUpCallWords},
    {CommandType::SendShortMessage, sendShortMessageWords},
    {CommandType::SendSs, sendSsWords},
    {CommandType::SendUssd, sendUssdWords},
    {CommandType::LaunchBrowser, launchBrowserWords},
    {CommandType::SetUpIdleModeText, idleTextWords},
    {CommandType::Refresh, refreshWords},
    {CommandType::PollInterval, pollIntervalWords},
    {CommandType::SetUpEventList, eventListWords},
    {CommandType::ProvideLocalInformation, localInformationWords},
    {CommandType::TimerManagement, timerWords},
    {CommandType::LanguageNotification, languageWords},
};

} // namespace

std::string wordsOf(const cat::Command &command)
{
    const auto row = std::find_if(std::begin(wordsRows), std::end(wordsRows),
                                  [&](const WordsRow &each) { return each.type == command.details.type; });
    return row == std::end(wordsRows) ? std::string() : row->words(command);
}

} // namespace sdk
