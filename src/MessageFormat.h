#ifndef QUARN_LOGGING_MESSAGE_FORMAT_H
#define QUARN_LOGGING_MESSAGE_FORMAT_H

#include <cstdarg>
#include <cstddef>

namespace Quarn::Logging {

/// @brief std::vswprintf, faster for what messages mostly consist of.
///
/// Text, return value and failures are those of std::vswprintf in the current locale. It formats the usual conversions
/// itself and leaves the whole message to std::vswprintf as soon as it meets anything else.
///
/// @param[out] buffer  size wide characters; as with std::vswprintf they hold what fits when the text does not
/// @return             wide characters written, without the terminator; negative on failure, a lack of room included
/// @par Real time      yes: no heap and no system call, unless std::vswprintf makes one.
int FormatMessage(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

} // namespace Quarn::Logging

#endif
