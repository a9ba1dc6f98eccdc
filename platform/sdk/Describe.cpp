#include "sdk/Describe.h"

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
};

bool isControl(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}

std::string quoted(std::u16string text)
{
    std::replace_if(text.begin(), text.end(), isControl, u' ');
    return '"' + cat::toUtf8(text) + '"';
}

std::string count(std::size_t items)
{
    return std::to_string(items) + (items == 1 ? " item" : " items");
}

} // namespace

std::string describe(const cat::DecodedCommand &decoded)
{
    if (!decoded.detailsKnown)
        return "unreadable command: " + decoded.reason;
    std::string text = cat::commandName(decoded.command.details.type);
    if (decoded.result != cat::Result::Performed)
        return text + ": " + decoded.reason;
    if (decoded.command.alphaId)
        text += ' ' + quoted(*decoded.command.alphaId);
    return text + ", " + count(decoded.command.items.size());
}

std::string describe(const cat::Response &response, const std::vector<cat::Item> &items)
{
    const cat::Bytes result = {static_cast<std::uint8_t>(response.result)};
    std::string text =
        cat::commandName(response.details.type) + ": " + cat::toHex(result) + ' ' + cat::resultMeaning(response.result);
    const auto chosen =
        std::find_if(items.begin(), items.end(), [&](const cat::Item &item) { return item.id == response.itemId; });
    if (chosen != items.end())
        text += ", " + quoted(chosen->text);
    return text;
}

std::string describe(const cat::Item &chosen)
{
    return "MENU SELECTION " + quoted(chosen.text);
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
