#ifndef CARD_STEPCOMMAND_H
#define CARD_STEPCOMMAND_H

#include "card/Profile.h"

#include <string_view>

namespace card
{

/// The command that a step without bytes of its own raises, with the answers filled in and its texts coded. Answers are
/// cut, all to the same length, until the command has at most 255 bytes and a short message fits into one. `number` is
/// the command's, 1 to 254.
cat::Command raised(const Step &step, const Values &values, std::uint8_t number);

/// SET UP MENU for the main menu of a card.
cat::Command raisedMainMenu(const Menu &menu, std::uint8_t number);

/// A step that shows `text` until the user clears it.
Step displayStep(const std::u16string &text);

/// Whether `coding` gives back every character of `text`.
bool holds(cat::TextCoding coding, std::u16string_view text);

/// The shortest coding that gives back every character of `text`.
cat::TextCoding shortestCoding(std::u16string_view text);

} // namespace card

#endif // CARD_STEPCOMMAND_H
