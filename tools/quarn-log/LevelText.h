#ifndef QUARN_TOOL_LEVEL_TEXT_H
#define QUARN_TOOL_LEVEL_TEXT_H

#include <optional>
#include <string>

namespace Quarn::Logging::Tool {

/// What ParseLevel() takes, for messages.
inline constexpr const char* LEVEL_FORMS =
    "debug, info, warning, error or their beginnings, a digit from 1 (error) to 5 (debug), or a level's number";

/// @brief The level that a user gives.
///
/// A name or its beginning, in any case ("warning", "Warn", "w"), or a digit from 1 to 5 as in options strings; any
/// other number is a level itself. Nothing for what an options string would pass over.
std::optional<int> ParseLevel(const std::string& text);

} // namespace Quarn::Logging::Tool

#endif
