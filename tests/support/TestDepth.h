#ifndef QUARN_LOGGING_TESTS_TEST_DEPTH_H
#define QUARN_LOGGING_TESTS_TEST_DEPTH_H

#include <cstdlib>
#include <string>

namespace QuarnTest {

/// Whether the environment asks for the full figures (QUARN_TEST_DEPTH=nightly) instead of a short run of the same.
inline bool IsNightly()
{
    const char* const depth = std::getenv("QUARN_TEST_DEPTH");
    return depth != nullptr && std::string(depth) == "nightly";
}

template <class T>
T ByDepth(T ordinary, T nightly)
{
    return IsNightly() ? nightly : ordinary;
}

} // namespace QuarnTest

#endif
