#ifndef QUARN_LOGGING_TESTS_WIDE_INPUT_H
#define QUARN_LOGGING_TESTS_WIDE_INPUT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <string>

namespace QuarnTest {

/// A wide string out of fuzz data: a byte a character, so that the fuzzer's dictionary and its splicing work on it, and
/// any other character behind a byte of 0xFF. No terminator inside.
inline std::wstring ConsumeWide(FuzzedDataProvider& data, std::size_t maxLength)
{
    const std::string bytes = data.ConsumeRandomLengthString(maxLength);
    std::wstring wide;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        auto character = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]));
        if (character == 0xFF) {
            character = 0;
            for (std::size_t end = i + 4; i < end && i + 1 < bytes.size(); ++i) {
                character = character << 8 | static_cast<unsigned char>(bytes[i + 1]);
            }
        }
        if (character != 0) {
            wide += static_cast<wchar_t>(character);
        }
    }
    return wide;
}

} // namespace QuarnTest

#endif
