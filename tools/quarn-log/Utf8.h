#ifndef QUARN_TOOL_UTF8_H
#define QUARN_TOOL_UTF8_H

#include <optional>
#include <string>
#include <string_view>

namespace Quarn::Logging::Tool {

/// UTF-8 of a UTF-32 text from an image. What is no Unicode character becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

/// UTF-32 of valid UTF-8.
std::optional<std::wstring> FromUtf8(std::string_view text);

/// The valid UTF-8 in some bytes from an image. A byte that is not part of any becomes U+FFFD.
std::string CleanUtf8(std::string_view bytes);

/// Puts U+FFFD in the place of control characters, which could make a terminal do anything. Tab and line feed stay. For
/// UTF-8.
std::string WithoutControls(std::string_view text);

/// The same for UTF-32.
std::wstring WithoutControls(std::wstring_view text);

} // namespace Quarn::Logging::Tool

#endif
