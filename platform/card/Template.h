#ifndef CARD_TEMPLATE_H
#define CARD_TEMPLATE_H

#include "card/Profile.h"

#include <string>
#include <string_view>
#include <vector>

namespace card
{

/// Whether `name` can be the name of an answer: letters, digits, "-" and "_" of ASCII, a letter first.
bool isAnswerName(std::string_view name);

/// The names in the braces of `text`: "{name}" stands for an answer, "{{" for a brace. When the braces make no sense
/// `*fault` says why, and otherwise it is left alone.
std::vector<std::string> namesIn(std::u16string_view text, std::string *fault);

/// `text` with its answers filled in, each cut to at most `longest` UTF-16 units and never inside a surrogate pair.
/// A name without an answer becomes nothing, a fault stays as it stands. Answers are data: their braces mean nothing.
std::u16string expanded(std::u16string_view text, const Values &values, std::size_t longest);

} // namespace card

#endif // CARD_TEMPLATE_H
