#include "card/MenuCommand.h"

namespace card
{

namespace
{

constexpr std::uint8_t helpQualifier = 0x80;

cat::Command menuCommand(cat::CommandType type, const Menu &menu, std::uint8_t number)
{
    cat::Command command;
    command.details = {number, type, menu.helpAvailable ? helpQualifier : std::uint8_t{0}};
    for (const Entry &entry : menu.entries)
        command.items.push_back({entry.id, entry.text});
    return command;
}

} // namespace

cat::Command setUpMenu(const Menu &menu, std::uint8_t number)
{
    cat::Command command = menuCommand(cat::CommandType::SetUpMenu, menu, number);
    command.alphaId = menu.title; // mandatory, so a menu without a title has an empty one
    return command;
}

cat::Command selectItem(const Menu &menu, std::uint8_t number)
{
    cat::Command command = menuCommand(cat::CommandType::SelectItem, menu, number);
    if (!menu.title.empty())
        command.alphaId = menu.title;
    command.defaultItem = menu.defaultItem;
    return command;
}

} // namespace card
