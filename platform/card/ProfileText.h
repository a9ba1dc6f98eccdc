#ifndef CARD_PROFILETEXT_H
#define CARD_PROFILETEXT_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace card
{

/// A place in a file, as people count: from 1. 0 means the file as a whole.
struct Position {
    int line = 0;
    int column = 0; ///< in characters, not in bytes
};

/// The place of byte `byte` in line `line` (both from 0) of a UTF-8 text. Past the end: the end.
Position positionOf(std::string_view text, int line, int byte);

/// The place of the byte `offset` (from 0) of a UTF-8 text.
Position positionOfOffset(std::string_view text, std::size_t offset);

/// How many characters must change, go or come to make one word of the other.
std::size_t distance(const std::string &left, const std::string &right);

/// A decimal number and nothing else.
std::optional<long long> wholeNumber(std::string_view text);

/// "30s" or "500ms", negative ones too; nothing for anything else.
std::optional<std::chrono::milliseconds> duration(std::string_view text);

} // namespace card

#endif // CARD_PROFILETEXT_H
