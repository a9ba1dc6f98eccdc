#include "dashboard/ExchangeText.h"

#include "dashboard/ApduText.h"

#include <QtCore/QByteArray>

#include <algorithm>
#include <array>
#include <utility>

namespace dashboard
{

namespace
{

const std::array<std::pair<EntryKind, const char *>, 7> directions{{
    {EntryKind::Command, "card asks"},
    {EntryKind::Response, "answer"},
    {EntryKind::Envelope, "envelope"},
    {EntryKind::Device, "device"},
    {EntryKind::Note, "note"},
    {EntryKind::Host, "host"},
    {EntryKind::Apdu, "APDU"},
}};

/// Texts of a card may hold line ends and worse; a log entry is one line of printable characters.
QString oneLine(const QString &text)
{
    QString line;
    for (const QChar character : text) {
        if (character == '\n')
            line += "\\n";
        else if (character == '\r')
            line += "\\r";
        else if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
                 character == QChar::ParagraphSeparator)
            line += QString("\\x%1").arg(character.unicode(), 2, 16, QChar('0'));
        else
            line += character;
    }
    return line;
}

} // namespace

QString directionOf(EntryKind kind)
{
    for (const auto &entry : directions) {
        if (entry.first == kind)
            return entry.second;
    }
    return QString("kind %1").arg(static_cast<int>(kind));
}

QString spacedHex(const cat::Bytes &bytes)
{
    const QByteArray raw(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()));
    return QString::fromLatin1(raw.toHex(' ').toUpper());
}

QString bytesOf(const SessionEntry &entry)
{
    const QString bytes = spacedHex(entry.bytes);
    return entry.answer.empty() ? bytes : bytes + QString::fromUtf8(" \u2192 ") + spacedHex(entry.answer);
}

SessionEntry describe(const sdk::Exchange &exchange)
{
    return {static_cast<EntryKind>(exchange.kind),
            QDateTime::currentDateTime(),
            oneLine(QString::fromStdString(exchange.text)),
            exchange.bytes,
            {}};
}

SessionEntry describe(const sdk::ApduExchange &exchange)
{
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<milliseconds>(exchange.time.time_since_epoch()).count();
    return {EntryKind::Apdu, QDateTime::fromMSecsSinceEpoch(sinceEpoch), apduWords(exchange.command, exchange.answer),
            exchange.command, exchange.answer};
}

std::optional<QString> idleTextOf(const sdk::Exchange &exchange)
{
    if (exchange.kind != sdk::Exchange::Kind::Command)
        return std::nullopt;
    const cat::DecodedCommand decoded = cat::decodeCommand(exchange.bytes);
    if (decoded.result != cat::Result::Performed ||
        decoded.command.details.type != cat::CommandType::SetUpIdleModeText || !decoded.command.text)
        return std::nullopt;
    return oneLine(QString::fromStdU16String(decoded.command.text->value));
}

SessionEntry hostEntry(const QString &text)
{
    return {EntryKind::Host, QDateTime::currentDateTime(), oneLine(text), {}, {}};
}

QString toLine(const SessionEntry &entry)
{
    const QString line = directionOf(entry.kind) + ": " + entry.text;
    return entry.bytes.empty() ? line : line + " | " + bytesOf(entry);
}

/// With marks behind the quoted texts of a card: what follows Arabic would otherwise be drawn on its wrong side.
QString readable(QString text)
{
    const QChar leftToRightMark(0x200e);
    const bool isMixed = std::any_of(text.cbegin(), text.cend(), [](QChar character) {
        return character.direction() == QChar::DirR || character.direction() == QChar::DirAL;
    });
    return isMixed ? text.replace('"', QString('"') + leftToRightMark) : text;
}

} // namespace dashboard
