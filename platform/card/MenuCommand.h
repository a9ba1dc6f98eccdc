#ifndef CARD_MENUCOMMAND_H
#define CARD_MENUCOMMAND_H

#include "card/Profile.h"

namespace card
{

/// The longest answer that FETCH has room for (ETSI TS 102 221 clause 11.2.3: Le 00 stands for 256).
constexpr std::size_t longestCommand = 256;

/// SET UP MENU for the main menu of a card. `number` is the command's, 1 to 254.
cat::Command setUpMenu(const Menu &menu, std::uint8_t number);

/// SELECT ITEM for a sub-menu. `number` is the command's, 1 to 254.
cat::Command selectItem(const Menu &menu, std::uint8_t number);

} // namespace card

#endif // CARD_MENUCOMMAND_H
