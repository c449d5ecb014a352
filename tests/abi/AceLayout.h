#ifndef QUARN_LOGGING_TESTS_ACE_LAYOUT_H
#define QUARN_LOGGING_TESTS_ACE_LAYOUT_H

#include <array>
#include <cstddef>

/// In bytes.
struct SAceLayout
{
    std::size_t timeValue;
    std::array<std::size_t, 6> shared; ///< Sizes and offsets.
};

SAceLayout LayoutWithLongTimes();
SAceLayout LayoutWithShortTimes();

#endif
