#ifndef SOAK_CENSUS_H
#define SOAK_CENSUS_H

#include <QtCore/QMap>
#include <QtCore/QStringList>

namespace soak
{

/// What a process holds at one moment, each kind by name with its number.
struct Census {
    QMap<QString, int> objects; ///< living QObjects by class
    QMap<QString, int> timers;  ///< timers that are set, by the class of the object whose they are
    QMap<QString, int> files;   ///< file descriptors by what they lead to, without numbers
    QMap<QString, int> threads; ///< by name
};

/// Counts QObjects from now on: those made before are not known. To be called once, before the first object that
/// matters.
void startCensus();

/// The user-interface thread's view; timers are those of its objects.
Census takeCensus();

/// Number of living QObjects.
int livingObjects();

/// Resident memory in KiB.
long residentKib();

/// What the main thread's allocations in use come to, in KiB.
long heapKib();

int openFiles();
int runningThreads();

/// What `after` has more of than `before`, as "2 x QTimer"; nothing when there is nothing.
QStringList growth(const QMap<QString, int> &before, const QMap<QString, int> &after);

} // namespace soak

#endif // SOAK_CENSUS_H
