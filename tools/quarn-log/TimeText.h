#ifndef QUARN_TOOL_TIME_TEXT_H
#define QUARN_TOOL_TIME_TEXT_H

#include <cstdint>
#include <optional>
#include <string>

namespace Quarn::Logging::Tool {

/// @brief Milliseconds since the epoch of a time that a user gives.
///
/// Local time "2026-11-20 13:45:09.123", the date and time as log lines show them ("2026.11.20-13:45:09.123"), ISO 8601
/// with a "T" and perhaps a zone ("Z", "+01:00"), in each of which seconds or the whole time of day may be missing; or
/// seconds since the epoch. Nothing for any other text.
std::optional<std::int64_t> ParseTime(const std::string& text);

/// Whole milliseconds of a wall-clock time, cut off as log lines show them; nothing if it is not a number or too large.
std::optional<std::int64_t> MillisecondsOf(double wallTime);

/// ISO 8601 in UTC with microseconds, "2026-11-20T13:45:09.123000Z". Empty outside the years 0 to 9999.
std::string ToIso8601(double wallTime);

} // namespace Quarn::Logging::Tool

#endif
