#ifndef SUPPORT_WORLD_H
#define SUPPORT_WORLD_H

#include <QtCore/QStringList>

namespace support
{

/// Delivers what was left for later (deferred deletions first) and tells what a test has left behind: top-level
/// widgets, modal windows. Override cursors are taken away and not reported, since the product never pops its own.
/// `cleanup()` compares it with an empty list.
QStringList leftovers();

} // namespace support

#endif // SUPPORT_WORLD_H
