#include "sdk/Describe.h"

#include "sdk/AnswerText.h"

#include "cat/Text.h"

#include <algorithm>

namespace sdk
{

namespace
{

struct StatusText {
    Status status;
    const char *text;
};

constexpr StatusText statusTexts[] = {
    {Status::Success, "success"},
    {Status::NoCard, "there is no card"},
    {Status::NoMenu, "the card has installed no menu"},
    {Status::StaleCommand, "the command is not open any more"},
    {Status::WrongCommand, "the open command is of another type"},
    {Status::BadArgument, "an argument is not valid"},
    {Status::SessionBusy, "a session is open"},
    {Status::NotAvailable, "this library cannot do it"},
    {Status::AnswerRefused, "the answer is not what the card asks for"},
};

struct CauseText {
    std::uint8_t cause;
    const char *text;
};

/// ETSI TS 102 223 clause 8.12.2.
constexpr CauseText causeTexts[] = {
    {0x00, "no specific cause"},
    {0x01, "screen is busy"},
    {0x02, "busy on a call"},
    {0x04, "no service"},
};

bool isControl(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}

/// Behind the result that the terminal is unable at the moment; empty: nothing is known.
std::string cause(const cat::Response &response)
{
    if (response.result != cat::Result::TerminalUnable || response.additionalInformation.empty())
        return {};
    const auto row = std::find_if(std::begin(causeTexts), std::end(causeTexts), [&](const CauseText &each) {
        return each.cause == response.additionalInformation.front();
    });
    return row == std::end(causeTexts) ? std::string() : std::string(", ") + row->text;
}

/// What the user has chosen or entered; empty: nothing.
std::string answer(const cat::Response &response, const cat::Command &command)
{
    if (response.text && command.isYesNo())
        return response.text->value == u"\x01" ? ", yes" : ", no";
    if (response.text && command.isHidden())
        return ", \"" + std::string(countCharacters(response.text->value), '*') + '"';
    if (response.text)
        return ", " + quoted(response.text->value);
    if (response.timerValue)
        return ", " + std::to_string(response.timerValue->count()) + " s left";
    if (response.language)
        return ", " + *response.language;
    const auto chosen = std::find_if(command.items.begin(), command.items.end(),
                                     [&](const cat::Item &item) { return item.id == response.itemId; });
    return chosen == command.items.end() ? std::string() : ", " + quoted(chosen->text);
}

} // namespace

std::string quoted(std::u16string text)
{
    std::replace_if(text.begin(), text.end(), isControl, u' ');
    return '"' + cat::toUtf8(text) + '"';
}

std::string describe(const cat::DecodedCommand &decoded)
{
    if (!decoded.detailsKnown)
        return "unreadable command: " + decoded.reason;
    std::string text = cat::commandName(decoded.command.details.type);
    if (decoded.result != cat::Result::Performed)
        return text + ": " + decoded.reason;
    return text + wordsOf(decoded.command);
}

std::string describe(const cat::Response &response, const cat::Command &command)
{
    std::string text = cat::commandName(response.details.type) + ": " +
                       cat::toHex(cat::Bytes{static_cast<std::uint8_t>(response.result)});
    for (const std::uint8_t more : response.additionalInformation)
        text += ' ' + cat::toHex(cat::Bytes{more});
    return text + ' ' + cat::resultMeaning(response.result) + cause(response) + answer(response, command);
}

std::string describe(const cat::Item &chosen)
{
    return "MENU SELECTION " + quoted(chosen.text);
}

std::string describe(const cat::TimerExpiration &expiration)
{
    return "TIMER EXPIRATION, timer " + std::to_string(expiration.timerId) + " after " +
           std::to_string(expiration.value.count()) + " s";
}

std::string describe(StatusWord status)
{
    const cat::Bytes bytes = {status.sw1, status.sw2};
    return cat::toHex(bytes);
}

std::string describe(Status status)
{
    const auto row = std::find_if(std::begin(statusTexts), std::end(statusTexts),
                                  [status](const StatusText &text) { return text.status == status; });
    const std::string number = std::to_string(static_cast<int>(status));
    return row == std::end(statusTexts) ? number : std::string(row->text) + " (" + number + ')';
}

} // namespace sdk
