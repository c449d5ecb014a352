#include "LevelText.h"

#include "LogLine.h"

#include <QuarnLogging/Logging.h>

#include <charconv>
#include <system_error>

namespace Quarn::Logging::Tool {

namespace {

constexpr int LEVELS_BY_DIGIT[] = {LEVEL_ERROR, LEVEL_WARNING, LEVEL_INFO, LEVEL_DEBUG, LEVEL_DEBUG}; // from 1 on

/// Whether a name begins with a text, upper and lower case alike.
bool HasBeginning(const std::wstring& name, const std::string& text)
{
    std::size_t same = 0;
    while (same < text.size() && same < name.size() && (text[same] | 0x20) == static_cast<int>(name[same])) {
        ++same;
    }
    return same == text.size() && same != 0;
}

} // namespace

std::optional<int> ParseLevel(const std::string& text)
{
    for (const int level : {LEVEL_DEBUG, LEVEL_INFO, LEVEL_WARNING, LEVEL_ERROR}) {
        if (HasBeginning(NameOfLevel(level), text)) {
            return level;
        }
    }
    int number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) {
        return std::nullopt;
    }
    return number >= 1 && number <= 5 ? LEVELS_BY_DIGIT[number - 1] : number;
}

} // namespace Quarn::Logging::Tool
