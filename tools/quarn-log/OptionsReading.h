#ifndef QUARN_TOOL_OPTIONS_READING_H
#define QUARN_TOOL_OPTIONS_READING_H

#include <QuarnLogging/Logging.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Quarn::Logging::Tool {

/// A category and its level, and what they were read from.
struct SReadPair
{
    std::size_t position; ///< In the string, characters.
    std::wstring_view text;
    SLevelDef level;
};

/// One option and how its parser stood behind it.
struct SReadOption
{
    std::size_t position;
    std::wstring_view text; ///< Its letter included.
    std::vector<SReadPair> pairs;
    int defaultLevel;
    std::uint32_t size;
    std::uint32_t count;

    wchar_t Letter() const { return text.front(); }
    std::wstring_view Value() const { return text.substr(1); }
};

/// @brief An options string as the library's own parser reads it.
struct SOptionsReading
{
    bool isShortcut; ///< One character, which is no list of options.
    std::vector<SReadOption> options;
    std::vector<SLevelDef> levels; ///< In the order in which they are applied.
    bool color;
    std::wstring fileName;
    std::uint32_t size;
    std::uint32_t count;

    /// The last option of a letter, or null.
    const SReadOption* Last(wchar_t letter) const;
};

/// The texts are parts of the string, which must outlive them.
SOptionsReading ReadOptionsString(const std::wstring& string);

} // namespace Quarn::Logging::Tool

#endif
