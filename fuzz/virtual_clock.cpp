#include "virtual_clock.h"

#include <ctime>
#include <unistd.h>

#include <sys/syscall.h>

namespace
{

bool isTaken = false;
qint64 nowMs = 0;

} // namespace

namespace VirtualClock
{

void take()
{
    // Some time ahead of zero, which Qt takes for an invalid time in places.
    nowMs = 1000;
    isTaken = true;
}

void advance(qint64 ms)
{
    nowMs += ms;
}

qint64 now()
{
    return nowMs;
}

} // namespace VirtualClock

// A program's own function goes before the one of the C library, in the shared libraries too. The
// names of its parameters there are reserved ones.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC || !isTaken) {
        return int(syscall(SYS_clock_gettime, clock, time));
    }
    constexpr qint64 msPerSecond = 1000;
    constexpr qint64 nsPerMs = 1000000;
    time->tv_sec = time_t(nowMs / msPerSecond);
    time->tv_nsec = long(nowMs % msPerSecond * nsPerMs);
    return 0;
}
