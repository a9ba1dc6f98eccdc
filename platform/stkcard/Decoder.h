#ifndef STKCARD_DECODER_H
#define STKCARD_DECODER_H

#include "cat/Explain.h"

#include <optional>
#include <string>
#include <vector>

namespace stkcard
{

/// Something that is wrong with bytes.
struct Fault {
    std::size_t place = 0; ///< which byte or character, from 1
    std::string reason;
};

/// What bytes of the toolkit turned out to be.
struct Decoded {
    std::string title; ///< "proactive command DISPLAY TEXT"; empty: nothing that is known
    std::vector<cat::Explanation> objects;
    std::vector<std::string> notes; ///< what else is to be said, such as a result that a terminal would answer
    std::vector<Fault> faults;      ///< in the order of their places; none: well-formed
};

/// Reads hexadecimal digits with blanks between the bytes or without. Gives what is wrong, or nothing.
std::optional<Fault> readHex(const std::string &text, cat::Bytes *bytes);

/// Tells a proactive command, the data of a terminal response, an envelope, and the APDUs that carry them apart by
/// their first byte, and says what is in them. Any bytes are allowed.
Decoded decodeBytes(const cat::Bytes &bytes);

} // namespace stkcard

#endif // STKCARD_DECODER_H
