#ifndef SUPPORT_WORLD_H
#define SUPPORT_WORLD_H

#include <QtCore/QStringList>

namespace support
{

/// Delivers what was left for later (deferred deletions first) and tells what a test has left behind: top-level
/// widgets, modal windows. Override cursors are taken away and not reported, since the product never pops its own.
/// `cleanup()` compares it with an empty list.
QStringList leftovers();

/// When the minute of the wall clock is about to end, waits for the next one: the window's waits end with the minute,
/// which a test that looks at a waiting window does not want.
void keepClearOfMinuteEnd();

} // namespace support

#endif // SUPPORT_WORLD_H
