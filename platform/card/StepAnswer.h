#ifndef CARD_STEPANSWER_H
#define CARD_STEPANSWER_H

#include "card/Profile.h"

#include <string_view>

namespace card
{

constexpr std::u16string_view answerYes = u"yes";
constexpr std::u16string_view answerNo = u"no";

/// The user's answer in a response that says that the step was performed: the text, or "yes" or "no"; empty for a
/// command that asks nothing. Nothing when the response does not answer what was asked: no text, more or fewer
/// characters than allowed, other characters than digits where digits are wanted, neither yes nor no.
std::optional<std::u16string> answerOf(const Step &step, const cat::Response &response);

} // namespace card

#endif // CARD_STEPANSWER_H
