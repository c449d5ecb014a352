#ifndef QUARN_TOOL_OPTION_WORDS_H
#define QUARN_TOOL_OPTION_WORDS_H

#include "OptionsReading.h"

#include <string>
#include <string_view>
#include <vector>

namespace Quarn::Logging::Tool {

// One option in words, and what of it is passed over or does something else than it looks like. What an option does is
// what the library's parser made of it; these compare it with what is written there.

/// UTF-8 with control characters, and others that one cannot see, as "<U+000A>".
std::string Shown(std::wstring_view text);

/// The same in quotes.
std::string Quote(std::wstring_view text);

/// What passes a level: "everything from debug (1000) on".
std::string Passes(int level);

/// "1 byte", "2 bytes".
std::string Bytes(const std::string& number);

std::string MeaningOf(const SReadOption& option);
std::string MeaningOf(const SReadPair& pair);

/// Whether a warning says what may have been meant. Without it the warnings are as many, and cheap.
enum class EHints { GIVE, LEAVE_OUT };

std::vector<std::string> WarningsOf(const SReadOption& option, EHints hints = EHints::GIVE);
std::vector<std::string> WarningsOf(const SReadPair& pair);

/// What is wrong with a string of one character.
std::vector<std::string> WarningsOfShortcut(wchar_t character);

} // namespace Quarn::Logging::Tool

#endif
