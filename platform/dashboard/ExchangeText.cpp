#include "dashboard/ExchangeText.h"

#include <QtCore/QByteArray>

#include <array>
#include <utility>

namespace dashboard
{

namespace
{

const std::array<std::pair<sdk::Exchange::Kind, const char *>, 5> directions{{
    {sdk::Exchange::Kind::Command, "card asks"},
    {sdk::Exchange::Kind::Response, "answer"},
    {sdk::Exchange::Kind::Envelope, "user picks"},
    {sdk::Exchange::Kind::Device, "device"},
    {sdk::Exchange::Kind::Note, "note"},
}};

QString directionOf(sdk::Exchange::Kind kind)
{
    for (const auto &entry : directions) {
        if (entry.first == kind)
            return entry.second;
    }
    return QString("kind %1").arg(static_cast<int>(kind));
}

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

QString spacedHex(const cat::Bytes &bytes)
{
    const QByteArray raw(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()));
    return QString::fromLatin1(raw.toHex(' ').toUpper());
}

} // namespace

SessionEntry describe(const sdk::Exchange &exchange)
{
    return {directionOf(exchange.kind), oneLine(QString::fromStdString(exchange.text)), spacedHex(exchange.bytes)};
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
    return {"host", oneLine(text), QString()};
}

QString toLine(const SessionEntry &entry)
{
    const QString line = entry.direction + ": " + entry.text;
    return entry.bytes.isEmpty() ? line : line + " | " + entry.bytes;
}

} // namespace dashboard
