#ifndef CARD_SHORTMESSAGETPDU_H
#define CARD_SHORTMESSAGETPDU_H

#include "cat/Command.h"

#include <optional>
#include <string_view>

namespace card
{

/// A number as people write it: digits, "*", "#" and "p" for a pause, with "+" in front when it is international.
/// Nothing for anything else, and for more than 40 digits.
std::optional<cat::Address> addressOf(std::string_view number);

/// SMS-SUBMIT (3GPP TS 23.040 clause 9.2.2.2) with `text` in the default alphabet or, when that cannot express it, in
/// UCS2. Nothing when it does not fit into one short message: 160 septets or 140 octets; nor for an address that is
/// longer than 20 digits.
std::optional<cat::Bytes> submitTpdu(const cat::Address &destination, std::u16string_view text);

} // namespace card

#endif // CARD_SHORTMESSAGETPDU_H
