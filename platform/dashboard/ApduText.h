#ifndef DASHBOARD_APDUTEXT_H
#define DASHBOARD_APDUTEXT_H

#include "cat/Explain.h"

#include <QtCore/QString>

#include <vector>

namespace dashboard
{

struct SessionEntry;

/// `FETCH, 26 bytes: 9000 done`: a command APDU of the toolkit (ETSI TS 102 221 clause 11) and what the card answered.
QString apduWords(const cat::Bytes &command, const cat::Bytes &answer);

/// What an entry's bytes say, object by object; for an APDU the command and the answer. Nothing for an entry without
/// bytes.
std::vector<cat::Explanation> explainEntry(const SessionEntry &entry);

} // namespace dashboard

#endif // DASHBOARD_APDUTEXT_H
