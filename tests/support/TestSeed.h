#ifndef QUARN_LOGGING_TESTS_TEST_SEED_H
#define QUARN_LOGGING_TESTS_TEST_SEED_H

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace QuarnTest {

/// The seed of a test that draws its operations: QUARN_TEST_SEED if that is set, otherwise always the same one. It is
/// printed, so that a failing run can be had again.
inline std::mt19937::result_type TestSeed()
{
    const char* const given = std::getenv("QUARN_TEST_SEED");
    const auto seed = static_cast<std::mt19937::result_type>(given != nullptr ? std::stoul(given) : 20011);
    std::cout << "QUARN_TEST_SEED=" << seed << std::endl;
    return seed;
}

} // namespace QuarnTest

#endif
