#ifndef QUARN_LOGGING_TESTS_SEEDED_RANDOM_H
#define QUARN_LOGGING_TESTS_SEEDED_RANDOM_H

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

namespace QuarnTest {

/// Random numbers for a test that draws what it does, the same ones in each run. The environment variable
/// QUARN_TEST_SEED selects others; the seed is printed, so that a failure can be had again.
class SeededRandom
{
public:
    SeededRandom()
        : m_Seed(SeedOfRun())
        , m_Generator(m_Seed)
    {
        std::cout << "QUARN_TEST_SEED=" << m_Seed << std::endl;
    }

    /// Any number of 32 bits.
    std::uint32_t operator()() { return static_cast<std::uint32_t>(m_Generator()); }

    /// Any of first to last, both included.
    int Between(int first, int last)
    {
        // Not a distribution of the library: those differ between implementations, and the seed with them.
        const auto span = static_cast<std::uint32_t>(last - first) + 1;
        return first + static_cast<int>(m_Generator() % span);
    }
    bool OneIn(int n) { return Between(1, n) == 1; }

    /// Any element of an array.
    template <class T, std::size_t N>
    const T& AnyOf(const T (&array)[N])
    {
        return array[Between(0, static_cast<int>(N) - 1)];
    }

    std::uint32_t Seed() const { return m_Seed; }

private:
    static std::uint32_t SeedOfRun()
    {
        const char* const chosen = std::getenv("QUARN_TEST_SEED");
        return chosen == nullptr ? 20240517 : static_cast<std::uint32_t>(std::strtoul(chosen, nullptr, 10));
    }

    std::uint32_t m_Seed;
    std::mt19937 m_Generator;
};

} // namespace QuarnTest

#endif
