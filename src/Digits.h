#ifndef QUARN_LOGGING_DIGITS_H
#define QUARN_LOGGING_DIGITS_H

#include <cstddef>
#include <cstdint>

namespace Quarn::Logging {

/// Digits of a number of 64 bits in base 10, the longest.
constexpr std::size_t MAX_DIGITS = 20;

/// The numbers 0 to 99, two digits each.
struct SDigitPairs
{
    wchar_t pairs[100][2] = {};

    constexpr SDigitPairs()
    {
        for (int i = 0; i < 100; ++i) {
            pairs[i][0] = static_cast<wchar_t>(L'0' + i / 10);
            pairs[i][1] = static_cast<wchar_t>(L'0' + i % 10);
        }
    }
};

inline constexpr SDigitPairs DIGITS;

inline wchar_t* PutPair(wchar_t* end, std::uint32_t pair)
{
    *--end = DIGITS.pairs[pair][1];
    *--end = DIGITS.pairs[pair][0];
    return end;
}

/// Puts the digits in front of end and returns the first.
inline wchar_t* PutDecimal(wchar_t* end, std::uint64_t value)
{
    while (value > UINT32_MAX) {
        end = PutPair(end, static_cast<std::uint32_t>(value % 100));
        value /= 100;
    }
    auto rest = static_cast<std::uint32_t>(value); // dividing 64 bits is slow on the 32-bit system
    while (rest >= 100) {
        end = PutPair(end, rest % 100);
        rest /= 100;
    }
    if (rest >= 10) {
        return PutPair(end, rest);
    }
    *--end = static_cast<wchar_t>(L'0' + static_cast<int>(rest));
    return end;
}

/// The same in base 16, with the sixteen digits given.
inline wchar_t* PutHexadecimal(wchar_t* end, std::uint64_t value, const char* digits)
{
    do {
        *--end = static_cast<wchar_t>(digits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return end;
}

} // namespace Quarn::Logging

#endif
