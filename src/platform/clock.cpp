#include "platform/clock.h"

#ifdef _WIN32
#include <windows.h>
#include <timeapi.h>
#else
#include <sys/time.h>
#include <time.h>

#include <cerrno>
#endif

#ifdef _WIN32

namespace {
// Windows sleeps in steps of its timer tick, 15.6 ms unless a process asks for finer ones; the timer of a
// search polls every millisecond.
[[maybe_unused]] const bool fineTimer = timeBeginPeriod(1) == TIMERR_NOERROR;

int64_t FileTimeMs(const FILETIME& time) {
    return int64_t((uint64_t(time.dwHighDateTime) << 32 | time.dwLowDateTime) / 10000);
}
}  // namespace

int64_t WallClockMs() {
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    // 100-ns steps since 1601; the Unix epoch keeps the readings equal to those of other systems.
    return FileTimeMs(now) - 11644473600000;
}

int64_t ProcessorClockMs() {
    FILETIME creation, exit, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &creation, &exit, &kernel, &user)) return 0;
    return FileTimeMs(kernel) + FileTimeMs(user);
}

void SleepMs(int ms) { Sleep(DWORD(ms)); }

#else

int64_t WallClockMs() {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return int64_t(tv.tv_sec) * 1000 + int64_t(tv.tv_usec) / 1000;
}

int64_t ProcessorClockMs() {
    timespec ts;
    if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts) != 0) return 0;
    return int64_t(ts.tv_sec) * 1000 + int64_t(ts.tv_nsec) / 1000000;
}

void SleepMs(int ms) {
    timespec ts{ms / 1000, long(ms % 1000) * 1000000};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

#endif
