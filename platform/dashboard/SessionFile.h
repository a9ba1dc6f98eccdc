#ifndef DASHBOARD_SESSIONFILE_H
#define DASHBOARD_SESSIONFILE_H

#include "dashboard/ExchangeText.h"

#include <vector>

namespace dashboard
{

/// Writes the entries to a file: with the suffix ".pcap" their APDUs as a packet capture for network analysers, with
/// any other the time and line of every entry as text. `*report` tells what was written, or when it is false what is
/// wrong with which file, and what to do.
bool saveSession(const std::vector<SessionEntry> &entries, const QString &file, QString *report);

} // namespace dashboard

#endif // DASHBOARD_SESSIONFILE_H
