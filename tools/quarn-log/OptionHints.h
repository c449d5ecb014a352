#ifndef QUARN_TOOL_OPTION_HINTS_H
#define QUARN_TOOL_OPTION_HINTS_H

#include <string>
#include <string_view>

namespace Quarn::Logging::Tool {

// What somebody may have meant who wrote something that the library takes for something else. A hint is the end of a
// sentence, such as "; write ldebug", or empty. What a hint tells to write is nothing that would be warned of.

/// The letters at the front; one character if it is none.
std::wstring_view LeadingWord(std::wstring_view text);

/// Whether a word says, in short or in full, a level that its first letter stands for.
bool IsWordFor(int level, std::wstring_view word);

bool IsWordForColor(std::wstring_view word);

/// Whether somebody who writes this for a level wants nothing to be logged.
bool MeansNothing(std::wstring_view level);

/// Whether something like "=off".
bool MeansOff(std::wstring_view value);

std::string HintForUnknown(std::wstring_view option);
std::string HintForLevel(std::wstring_view value);
/// For what stands behind a word that is no level, if it begins with "=" or ":".
std::string HintForAssigned(std::wstring_view rest);
std::string HintForLevelNumber(std::wstring_view value);
std::string HintForPairs(std::wstring_view value);
std::string HintForDigits(std::wstring_view pair);
std::string HintForFileName(std::wstring_view name);
std::string HintForNumber(std::wstring_view option);
std::string HintForUnit(std::wstring_view digits, std::wstring_view unit);
std::string HintForRest(std::wstring_view rest);

} // namespace Quarn::Logging::Tool

#endif
