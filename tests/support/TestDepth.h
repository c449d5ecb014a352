#ifndef QUARN_LOGGING_TESTS_TEST_DEPTH_H
#define QUARN_LOGGING_TESTS_TEST_DEPTH_H

#include <cstdlib>
#include <string>

namespace QuarnTest {

/// How much of the same the environment asks for: the full figures with QUARN_TEST_DEPTH=nightly, the least that still
/// says something with "short".
template <class T>
T ByDepth(T least, T ordinary, T nightly)
{
    const char* const variable = std::getenv("QUARN_TEST_DEPTH");
    const std::string depth = variable == nullptr ? "" : variable;
    return depth == "nightly" ? nightly : depth == "short" ? least : ordinary;
}

template <class T>
T ByDepth(T ordinary, T nightly)
{
    return ByDepth(ordinary, ordinary, nightly);
}

} // namespace QuarnTest

#endif
