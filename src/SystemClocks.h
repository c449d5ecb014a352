#ifndef QUARN_LOGGING_SYSTEM_CLOCKS_H
#define QUARN_LOGGING_SYSTEM_CLOCKS_H

#include <time.h>

#include <climits>
#include <cstdint>
#include <limits>

namespace Quarn::Logging {

#if defined(_TIME_BITS) && _TIME_BITS == 64
static_assert(sizeof(time_t) == 8, "this C library has no times of 64 bits for 32-bit programs; glibc 2.34 has");
#endif

/// CLOCK_REALTIME as a timespec cut to whole microseconds; -1 s when the clock cannot be read.
inline timespec ReadRealTime()
{
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return {-1, 0};
    }
    now.tv_nsec -= now.tv_nsec % 1000;
    return now;
}

/// CLOCK_REALTIME in whole milliseconds since the epoch, truncated. The -1 s of an unreadable clock becomes 2^64 -
/// 1000.
inline std::uint64_t ReadRealTimeMs()
{
    const timespec now = ReadRealTime();
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000 / 1000);
}

/// CLOCK_MONOTONIC in nanoseconds; 0 when it cannot be read.
inline std::uint64_t ReadMonotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000 + static_cast<std::uint64_t>(now.tv_nsec);
}

/// CLOCK_MONOTONIC in seconds. In extended precision, like all that is computed from times: rounded to a double once,
/// it is the same number on every processor.
inline long double ReadMonotonicSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long double>(now.tv_sec) +
           static_cast<long double>(now.tv_nsec) * static_cast<long double>(1e-9);
}

/// Whole seconds, truncated towards zero, in the whole width of the system's time_t. What does not fit, is infinite or
/// is no number becomes the smallest time of 32 bits: the same moment on every system, and one that is seen to be
/// wrong.
inline time_t ToTime(long double seconds)
{
    constexpr auto FIRST = static_cast<long double>(std::numeric_limits<time_t>::min());
    constexpr auto LAST = static_cast<long double>(std::numeric_limits<time_t>::max());
    return seconds > FIRST - 1 && seconds < LAST + 1 ? static_cast<time_t>(seconds) : INT32_MIN;
}

/// The date in the process's time zone. The year, with 1900 added, fits an int; a time for which it would not, two
/// thousand million years away, counts as one that does not fit: see ToTime().
inline tm ToLocalDate(time_t seconds)
{
    tm date{};
    if (localtime_r(&seconds, &date) == nullptr || date.tm_year > INT_MAX - 1900) {
        const time_t smallest = INT32_MIN;
        localtime_r(&smallest, &date);
    }
    return date;
}

} // namespace Quarn::Logging

#endif
