#ifndef CAT_EXPLAIN_H
#define CAT_EXPLAIN_H

#include "cat/Command.h"

#include <string>
#include <vector>

namespace cat
{

/// One choice that a command's qualifier makes (ETSI TS 102 223 clause 8.6). A choice whose value is its whole mask is
/// a flag; the others with one mask exclude each other.
struct QualifierChoice {
    CommandType type;
    std::uint8_t mask;
    std::uint8_t value;
    const char *words;
};

/// The choices of a type of command, in the order of their bits; none for a type whose qualifier says nothing.
std::vector<QualifierChoice> qualifierChoices(CommandType type);

/// What the qualifier says: "help available, hidden"; empty when it says nothing.
std::string qualifierWords(const CommandDetails &details);

/// One data object, for people to read.
struct Explanation {
    std::string tag;  ///< as on the wire, in hexadecimal digits: "8D"; empty for what is no data object
    std::string name; ///< "text string"
    std::size_t length = 0;
    std::string value; ///< in words, or hexadecimal digits where there are none; UTF-8, on one line
    std::vector<Explanation> parts;
};

/// The data objects of a proactive command (tag D0), of an envelope (tags D3 and D7), or of the data field of a
/// terminal response, which has no tag of its own. What is cut off or no object is told in its place. Never reads
/// outside `data`.
std::vector<Explanation> explain(ByteView data);

} // namespace cat

#endif // CAT_EXPLAIN_H
