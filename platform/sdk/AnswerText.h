#ifndef SDK_ANSWERTEXT_H
#define SDK_ANSWERTEXT_H

#include "cat/Command.h"

#include <optional>
#include <string>
#include <string_view>

namespace sdk
{

/// What came of looking at the user's answer to GET INPUT or GET INKEY.
struct CheckedAnswer {
    std::optional<cat::Text> text; ///< for the response, in the coding that the card asks for
    std::string reason;            ///< why there is none
};

/// Holds `answer` against what the card asks for (ETSI TS 102 223 clauses 6.4.2 and 6.4.3): length in characters, of
/// which one outside the first plane of Unicode is one; digits; the GSM default alphabet; and that the response fits
/// into a TERMINAL RESPONSE. Yes and no are "1" and "0" here, and the bytes 01 and 00 on the card interface.
CheckedAnswer checkAnswer(const cat::Command &command, std::u16string_view answer);

/// Characters of `text`, as they are counted above.
std::size_t countCharacters(std::u16string_view text);

} // namespace sdk

#endif // SDK_ANSWERTEXT_H
