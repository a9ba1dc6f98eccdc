#ifndef SUPPORT_FAKECLOCK_H
#define SUPPORT_FAKECLOCK_H

#include <QtCore/QDateTime>

#include <functional>

namespace support
{

/// Makes the wall clock of this process stand still at a chosen time, in UTC, and move only when another thread sleeps:
/// QThread::msleep() there returns at once and puts the clock forward by as much. So a wait of hours takes no time and
/// its length is exact. The thread that made the FakeClock sleeps for real, and monotonic clocks (QElapsedTimer) go on.
///
/// It works by standing in for the C library's gettimeofday, clock_gettime and nanosleep in programs that use this
/// class; without an object they do what they always did. One object at a time.
class FakeClock
{
public:
    explicit FakeClock(const QTime &start);
    ~FakeClock();

    /// How often another thread slept, and how long the clock says that took.
    int naps() const;
    int elapsedMs() const;

    /// The shortest and the longest of the naps, 0 when there was none.
    int shortestNapMs() const;
    int longestNapMs() const;

    /// Runs on the sleeping thread at the beginning of each nap; naps are counted from 1. Set it before that thread
    /// runs.
    void onNap(std::function<void(int nap)> hook);

    /// How often the calling thread has read the wall clock so far, with and without an object.
    static int reads();

private:
    FakeClock(const FakeClock &) = delete;
    FakeClock &operator=(const FakeClock &) = delete;

    QByteArray m_zone;
    bool m_hadZone;
};

} // namespace support

#endif // SUPPORT_FAKECLOCK_H
