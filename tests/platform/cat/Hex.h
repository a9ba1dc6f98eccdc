#ifndef TESTS_CAT_HEX_H
#define TESTS_CAT_HEX_H

#include "cat/Bytes.h"

#include <QByteArray>
#include <QString>

/// The bytes of hexadecimal test data; data that is none ends the test program.
inline cat::Bytes bytesOf(const QByteArray &hex)
{
    cat::Bytes bytes;
    if (!cat::fromHex(hex.toStdString(), &bytes))
        qFatal("bad test data: %s", hex.constData());
    return bytes;
}

inline QByteArray hexOf(cat::ByteView bytes)
{
    return QByteArray::fromStdString(cat::toHex(bytes));
}

inline QString textOf(const std::u16string &text)
{
    return QString::fromStdU16String(text);
}

#endif // TESTS_CAT_HEX_H
