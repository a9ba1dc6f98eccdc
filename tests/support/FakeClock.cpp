#include "support/FakeClock.h"

#include <atomic>
#include <climits>
#include <cstdlib>

#include <sched.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace
{
const qint64 NS_PER_S = 1000000000;
const qint64 NS_PER_MS = 1000000;

std::atomic<bool> g_active;
std::atomic<qint64> g_start; ///< nanoseconds since 1970, as are the next
std::atomic<qint64> g_now;
std::atomic<int> g_naps;
std::atomic<int> g_shortest;
std::atomic<int> g_longest;
thread_local int t_reads;
std::atomic<pid_t> g_owner;
std::function<void(int)> g_hook;

pid_t threadId()
{
    return pid_t(syscall(SYS_gettid));
}

void nap(qint64 length)
{
    const int ms = int(length / NS_PER_MS);
    g_shortest = qMin(int(g_shortest), ms);
    g_longest = qMax(int(g_longest), ms);
    const int number = ++g_naps;
    if (g_hook)
        g_hook(number);
    g_now += length;
    sched_yield();
}
} // namespace

// The C library's functions, found here first by every library of the process.
extern "C" {

int clock_gettime(clockid_t clock, struct timespec *time) noexcept
{
    if (clock != CLOCK_REALTIME)
        return int(syscall(SYS_clock_gettime, clock, time));
    ++t_reads;
    if (!g_active)
        return int(syscall(SYS_clock_gettime, clock, time));
    const qint64 now = g_now;
    time->tv_sec = time_t(now / NS_PER_S);
    time->tv_nsec = long(now % NS_PER_S);
    return 0;
}

int gettimeofday(struct timeval *time, void *) noexcept
{
    struct timespec now;
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}

int nanosleep(const struct timespec *request, struct timespec *remaining)
{
    if (!g_active || g_owner == threadId())
        return int(syscall(SYS_nanosleep, request, remaining));
    nap(qint64(request->tv_sec) * NS_PER_S + request->tv_nsec);
    return 0;
}

} // extern "C"

namespace support
{

FakeClock::FakeClock(const QTime &start) : m_zone(qgetenv("TZ")), m_hadZone(qEnvironmentVariableIsSet("TZ"))
{
    if (g_active)
        qFatal("FakeClock: there is one already");
    qputenv("TZ", "UTC");
    tzset();
    g_start = QDateTime(QDate(2024, 1, 10), start, Qt::UTC).toMSecsSinceEpoch() * NS_PER_MS;
    g_now = qint64(g_start);
    g_naps = 0;
    g_shortest = INT_MAX;
    g_longest = 0;
    g_owner = threadId();
    g_active = true;
}

FakeClock::~FakeClock()
{
    g_active = false;
    g_hook = nullptr;
    if (m_hadZone)
        qputenv("TZ", m_zone);
    else
        qunsetenv("TZ");
    tzset();
}

int FakeClock::naps() const
{
    return g_naps;
}

int FakeClock::elapsedMs() const
{
    return int((g_now - g_start) / NS_PER_MS);
}

int FakeClock::shortestNapMs() const
{
    return g_naps ? int(g_shortest) : 0;
}

int FakeClock::longestNapMs() const
{
    return g_longest;
}

void FakeClock::onNap(std::function<void(int)> hook)
{
    g_hook = hook;
}

int FakeClock::reads()
{
    return t_reads;
}

} // namespace support
