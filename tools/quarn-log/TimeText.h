#ifndef QUARN_TOOL_TIME_TEXT_H
#define QUARN_TOOL_TIME_TEXT_H

#include <cstdint>
#include <optional>
#include <string>

namespace Quarn::Logging::Tool {

/// What ParseTime() takes, for messages.
inline constexpr const char* TIME_FORMS = "-1h30m (w, d, h, m, s ago), 20:51[:07[.5]] (today), now, today or yesterday "
                                          "[20:51], 2026-11-20[ 20:51[:07[.5]]][Z or +01:00], @1795182309[.5]";

/// Which one is meant of two times with the same name, when clocks are set back.
enum class Ambiguous { FIRST, LAST };

/// @brief Milliseconds since the epoch of a time that a user gives.
///
/// A span before now ("-1h", "-1d12h"); a time of this day ("20:51"), also if it is still to come; "now", "today" and
/// "yesterday", the last two with or without a time of day; a local time "2026-11-20 13:45:09.123", the date and time
/// as log lines show them ("2026.11.20-13:45:09.123"), ISO 8601 with a "T" and perhaps a zone ("Z", "+01:00"), in each
/// of which seconds or the whole time of day may be missing; or seconds since the epoch, with or without an "@". A
/// local time that is left out when clocks are set forward counts as if they were not. Nothing for any other text.
std::optional<std::int64_t> ParseTime(const std::string& text, std::int64_t nowMs, Ambiguous ambiguous);

/// Whole milliseconds of a wall-clock time, cut off as log lines show them; nothing if it is not a number or too large.
std::optional<std::int64_t> MillisecondsOf(double wallTime);

/// ISO 8601 in UTC with microseconds, "2026-11-20T13:45:09.123000Z". Empty outside the years 0 to 9999.
std::string ToIso8601(double wallTime);

} // namespace Quarn::Logging::Tool

#endif
