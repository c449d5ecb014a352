#ifndef QUARN_LOGGING_SYSTEM_CLOCKS_H
#define QUARN_LOGGING_SYSTEM_CLOCKS_H

#include <cstdint>
#include <time.h>

namespace Quarn::Logging {

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

/// Truncates towards zero to a time of 32 bits, as the system that the dates are compared with has it; what does not
/// fit becomes the smallest one, as the processor's own conversion has it.
inline std::int32_t ToTime32(long double seconds)
{
    return seconds > -2147483649.0L && seconds < 2147483648.0L ? static_cast<std::int32_t>(seconds) : INT32_MIN;
}

} // namespace Quarn::Logging

#endif
