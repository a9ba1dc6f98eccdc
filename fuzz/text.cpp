#include "Fuzz.h"

#include "cat/Text.h"
#include "cat/Tlv.h"
#include "cat/Values.h"

// Every coding of texts, both ways.

namespace
{

std::u16string decoded(cat::TextCoding coding, cat::ByteView octets)
{
    return coding == cat::TextCoding::Ucs2         ? cat::decodeUcs2(octets)
           : coding == cat::TextCoding::Gsm7Packed ? cat::decodeGsm7Packed(octets)
                                                   : cat::decodeGsm8Bit(octets);
}

std::optional<cat::Bytes> encoded(cat::TextCoding coding, const std::u16string &text)
{
    return coding == cat::TextCoding::Ucs2         ? cat::encodeUcs2(text)
           : coding == cat::TextCoding::Gsm7Packed ? cat::encodeGsm7Packed(text)
                                                   : cat::encodeGsm8Bit(text);
}

/// Packed text that ends on an octet's border: an "@" cannot be told from the padding of older cards, and a carriage
/// return goes out twice (3GPP TS 23.038 clause 6.1.2.3.1).
bool isSame(cat::TextCoding coding, const std::u16string &text, const std::u16string &again)
{
    if (coding == cat::TextCoding::Gsm7Packed && !text.empty() && text.back() == u'@' && again.size() < text.size())
        return again + u'@' == text;
    if (coding == cat::TextCoding::Gsm7Packed && !text.empty() && text.back() == u'\r' && again.size() > text.size())
        return again == text + u'\r';
    return again == text;
}

void checkCoding(cat::TextCoding coding, cat::ByteView octets)
{
    const std::u16string text = decoded(coding, octets);
    expect(text.size() <= octets.size * 8 / 7, "no more characters than there are septets");
    const std::optional<cat::Bytes> once = encoded(coding, text);
    expect(once.has_value(), "a coding can write what it has read");
    expect(isSame(coding, text, decoded(coding, *once)), "and reads the same again: " + cat::toHex(*once));
}

void checkAlpha(cat::ByteView octets)
{
    const std::optional<std::u16string> text = cat::decodeAlpha(octets);
    if (!text)
        return;
    const std::optional<std::u16string> again = cat::decodeAlpha(cat::encodeAlpha(*text));
    expect(again == text, "an alpha identifier is read again as it was: " + cat::toHex(cat::encodeAlpha(*text)));
}

struct TextObject {
    void (*append)(cat::Bytes *, const cat::ObjectHead &, const cat::Text &);
    std::optional<cat::Text> (*parse)(cat::ByteView);
};

void checkTextString(const std::optional<cat::Text> &text)
{
    if (!text)
        return;
    for (const TextObject &kind :
         {TextObject{cat::appendText, cat::parseTextValue}, TextObject{cat::appendUssd, cat::parseUssdValue}}) {
        cat::Bytes bytes;
        kind.append(&bytes, {cat::Tag::TextString, true}, *text);
        const std::optional<cat::TlvObject> object = cat::TlvReader(bytes).next();
        expect(object.has_value(), "a text string is an object: " + cat::toHex(bytes));
        const std::optional<cat::Text> again = kind.parse(object->value);
        expect(again && again->coding == text->coding, "a text string keeps its coding");
        expect(isSame(text->coding, text->value, again->value), "and its characters");
    }
}

void checkUtf8(cat::ByteView octets)
{
    const std::string bytes(octets.begin(), octets.end());
    const std::size_t good = cat::wellFormedUtf8(bytes);
    expect(good <= bytes.size(), "no more is good than there is");
    const std::string clean = cat::toUtf8(cat::fromUtf8(bytes));
    expect(cat::wellFormedUtf8(clean) == clean.size(), "what is written in UTF-8 is well-formed");
    expect(clean.compare(0, good, bytes, 0, good) == 0, "what is well-formed stays as it is");
    expect(cat::toUtf8(cat::fromUtf8(clean)) == clean, "once is enough");
}

void checkHex(cat::ByteView octets)
{
    cat::Bytes bytes;
    expect(cat::fromHex(cat::toHex(octets), &bytes) && std::equal(bytes.begin(), bytes.end(), octets.begin()),
           "hexadecimal digits give the bytes back");
    const cat::Bytes before = bytes;
    if (!cat::fromHex(std::string(octets.begin(), octets.end()), &bytes))
        expect(bytes == before, "what is no hexadecimal digits leaves the bytes alone");
}

void checkDigits(cat::ByteView octets)
{
    const std::string digits = cat::decodeBcd(octets);
    cat::Bytes written;
    cat::appendBcd(digits, &written);
    expect(cat::decodeBcd(written) == digits, "digits stay the same");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const cat::ByteView octets(data, size);
    for (const cat::TextCoding coding : {cat::TextCoding::Gsm7Packed, cat::TextCoding::Gsm8Bit, cat::TextCoding::Ucs2})
        checkCoding(coding, octets);
    checkAlpha(octets);
    checkTextString(cat::parseTextValue(octets));
    checkTextString(cat::parseUssdValue(octets));
    checkUtf8(octets);
    checkHex(octets);
    checkDigits(octets);
    return 0;
}
