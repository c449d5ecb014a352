#ifndef QUARN_TOOL_JSON_TEXT_H
#define QUARN_TOOL_JSON_TEXT_H

#include "TimeText.h"

#include <nlohmann/json.hpp>

#include <string>

namespace Quarn::Logging::Tool {

using Json = nlohmann::ordered_json;

/// One line.
inline std::string ToText(const Json& object)
{
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// Null for a time that has no date.
inline Json IsoOrNull(double wallTime)
{
    const std::string text = ToIso8601(wallTime);
    return text.empty() ? Json(nullptr) : Json(text);
}

} // namespace Quarn::Logging::Tool

#endif
