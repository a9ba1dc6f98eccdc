#ifndef DASHBOARD_EXCHANGETEXT_H
#define DASHBOARD_EXCHANGETEXT_H

#include "sdk/SdkControl.h"

#include <QtCore/QString>

#include <optional>

namespace dashboard
{

/// One line of the session log.
struct SessionEntry {
    QString direction; ///< "card asks", "answer", "user picks", "device", "note" or "host"
    QString text;      ///< one line: control characters are shown as their escapes
    QString bytes;     ///< as on the wire, "D0 1A 81"; empty where there are none
};

/// Any thread.
SessionEntry describe(const sdk::Exchange &exchange);

/// The text for the idle screen when the exchange is a SET UP IDLE MODE TEXT, on one line; empty text takes it away.
/// Nothing for any other exchange. Any thread.
std::optional<QString> idleTextOf(const sdk::Exchange &exchange);

/// An entry for what the dashboard itself does.
SessionEntry hostEntry(const QString &text);

/// "card asks: SELECT ITEM "Balance", 4 items | D0 1A 81", without a line end.
QString toLine(const SessionEntry &entry);

} // namespace dashboard

#endif // DASHBOARD_EXCHANGETEXT_H
