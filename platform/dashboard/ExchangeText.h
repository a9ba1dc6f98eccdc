#ifndef DASHBOARD_EXCHANGETEXT_H
#define DASHBOARD_EXCHANGETEXT_H

#include "sdk/SdkControl.h"

#include <QtCore/QString>

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

/// An entry for what the dashboard itself does.
SessionEntry hostEntry(const QString &text);

/// "card asks: SELECT ITEM "Balance", 4 items | D0 1A 81", without a line end.
QString toLine(const SessionEntry &entry);

} // namespace dashboard

#endif // DASHBOARD_EXCHANGETEXT_H
