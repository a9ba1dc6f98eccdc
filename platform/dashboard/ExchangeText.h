#ifndef DASHBOARD_EXCHANGETEXT_H
#define DASHBOARD_EXCHANGETEXT_H

#include "sdk/SdkControl.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <optional>

namespace dashboard
{

/// What a line of the session is: one of the library's exchanges, or one of two more.
enum class EntryKind {
    Command = static_cast<int>(sdk::Exchange::Kind::Command),
    Response = static_cast<int>(sdk::Exchange::Kind::Response),
    Envelope = static_cast<int>(sdk::Exchange::Kind::Envelope),
    Device = static_cast<int>(sdk::Exchange::Kind::Device),
    Note = static_cast<int>(sdk::Exchange::Kind::Note),
    Host, ///< what the dashboard itself did
    Apdu, ///< a command APDU with the card's answer
};

/// One line of the session log.
struct SessionEntry {
    EntryKind kind = EntryKind::Host;
    QDateTime time;    ///< when it happened
    QString text;      ///< one line: control characters are shown as their escapes
    cat::Bytes bytes;  ///< as on the wire; empty where there are none
    cat::Bytes answer; ///< of an APDU: data and status word
};

/// "card asks", "answer", "envelope", "device", "note", "host" or "APDU"; any other kind as its number.
QString directionOf(EntryKind kind);

/// "D0 1A 81".
QString spacedHex(const cat::Bytes &bytes);

/// The bytes of an entry as one text; an APDU and its answer have an arrow in between.
QString bytesOf(const SessionEntry &entry);

/// Any thread.
SessionEntry describe(const sdk::Exchange &exchange);
SessionEntry describe(const sdk::ApduExchange &exchange);

/// The text for the idle screen when the exchange is a SET UP IDLE MODE TEXT, on one line; empty text takes it away.
/// Nothing for any other exchange. Any thread.
std::optional<QString> idleTextOf(const sdk::Exchange &exchange);

/// An entry for what the dashboard itself does.
SessionEntry hostEntry(const QString &text);

/// "card asks: SELECT ITEM "Balance", 4 items | D0 1A 81", without a line end.
QString toLine(const SessionEntry &entry);

/// The text as it is to be drawn: with marks behind the quotes of a text that is written from the right.
QString readable(QString text);

} // namespace dashboard

#endif // DASHBOARD_EXCHANGETEXT_H
