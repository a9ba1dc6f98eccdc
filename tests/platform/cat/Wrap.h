#ifndef TESTS_CAT_WRAP_H
#define TESTS_CAT_WRAP_H

#include "cat/Command.h"
#include "cat/Tlv.h"
#include "platform/cat/Hex.h"

// Command details and device identities.
inline const QByteArray textHead = "8103012180 82028102 ";
inline const QByteArray keyHead = "8103012200 82028182 ";
inline const QByteArray inputHead = "8103012300 82028182 ";
inline const QByteArray toneHead = "8103012000 82028103 ";
inline const QByteArray callHead = "8103011000 82028183 ";
inline const QByteArray ussdHead = "8103011200 82028183 ";

/// The data objects, in hexadecimal digits, in the BER-TLV object of a proactive command.
inline cat::Bytes wrapped(const QByteArray &objects)
{
    return cat::berObject(cat::BerTag::ProactiveCommand, bytesOf(QByteArray(objects).replace(" ", "")));
}

inline cat::DecodedCommand decode(const QByteArray &objects)
{
    return cat::decodeCommand(wrapped(objects));
}

/// A data object with its tag and its length, in hexadecimal digits.
inline QByteArray object(const char *tag, const QByteArray &hex)
{
    cat::Bytes out;
    cat::appendLength(&out, static_cast<std::size_t>(hex.size()) / 2);
    return tag + hexOf(out) + hex;
}

/// The bytes of the object with that tag in an encoded command.
inline QByteArray objectIn(const cat::Bytes &pdu, cat::Tag tag)
{
    cat::TlvReader reader(cat::readBer(pdu)->value);
    while (const std::optional<cat::TlvObject> found = reader.next()) {
        if (found->tag == tag)
            return hexOf(found->value);
    }
    return "none";
}

#endif // TESTS_CAT_WRAP_H
