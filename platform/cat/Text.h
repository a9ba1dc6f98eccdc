#ifndef CAT_TEXT_H
#define CAT_TEXT_H

#include "cat/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace cat
{

/// Data coding schemes of a text string data object (ETSI TS 102 223 clause 8.15; 3GPP TS 23.038 clause 5).
enum class TextCoding : std::uint8_t {
    Gsm7Packed = 0x00,
    Gsm8Bit = 0x04, ///< GSM default alphabet, one septet in an octet
    Ucs2 = 0x08,
};

/// GSM default alphabet with its extension table, one septet in an octet (3GPP TS 23.038 clause 6.2.1).
/// An octet that is no character is decoded as a space, an escape before an unknown character as that character of
/// the default table, as the clause asks for; trailing padding (FF) ends the text.
std::u16string decodeGsm8Bit(ByteView octets);

/// The same alphabet, packed to 7 bits (3GPP TS 23.038 clause 6.1.2.1). Seven spare bits at the end are no character.
std::u16string decodeGsm7Packed(ByteView octets);

/// Big-endian UCS2/UTF-16. An odd last octet is dropped, trailing FFFF padding ends the text.
std::u16string decodeUcs2(ByteView octets);

/// Alpha identifier or item text: GSM default alphabet unpacked, or one of the UCS2 codings that begin with 80, 81 or
/// 82 (3GPP TS 31.102 annex A, ETSI TS 102 221 annex A). Nothing when the octets contradict their own coding.
std::optional<std::u16string> decodeAlpha(ByteView octets);

/// Each encoder answers nothing when `text` has a character its coding cannot express.
std::optional<Bytes> encodeGsm8Bit(std::u16string_view text);
std::optional<Bytes> encodeGsm7Packed(std::u16string_view text);
Bytes encodeUcs2(std::u16string_view text);

/// The shortest of the alpha codings that holds `text`.
Bytes encodeAlpha(std::u16string_view text);

/// UTF-8 from and to UTF-16; what is malformed becomes U+FFFD.
std::u16string fromUtf8(std::string_view text);
std::string toUtf8(std::u16string_view text);

/// How many bytes at the beginning of `text` are well-formed UTF-8: all of them, or those before the first fault.
std::size_t wellFormedUtf8(std::string_view text);

} // namespace cat

#endif // CAT_TEXT_H
