#ifndef QUARN_LOGGING_TESTS_TIME_WIDTH_H
#define QUARN_LOGGING_TESTS_TIME_WIDTH_H

#include <time.h>

namespace QuarnTest {

/// Whether the library under test has times of 64 bits: as everywhere but in the ordinary 32-bit build.
constexpr bool HAS_LONG_TIMES = sizeof(time_t) == 8;

/// What is expected of long times, and what of those that end in January 2038.
template <class Result>
constexpr Result ByTimes(Result ofLongOnes, Result ofShortOnes)
{
    return HAS_LONG_TIMES ? ofLongOnes : ofShortOnes;
}

} // namespace QuarnTest

#endif
