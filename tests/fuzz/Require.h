#ifndef QUARN_LOGGING_TESTS_REQUIRE_H
#define QUARN_LOGGING_TESTS_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace QuarnTest {

/// What must hold for every input. The end of the process is what libFuzzer takes for a finding.
inline void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

} // namespace QuarnTest

#endif
