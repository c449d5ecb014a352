#ifndef QUARN_TOOL_EXPLANATION_H
#define QUARN_TOOL_EXPLANATION_H

#include "FilePatternWords.h"
#include "OptionsReading.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Quarn::Logging::Tool {

/// An option, or a category and its level, in words. All texts are UTF-8.
struct SExplainedPart
{
    std::size_t position; ///< In the string, characters.
    std::string text;
    std::string meaning;
    std::vector<std::string> warnings;
    std::vector<SExplainedPart> parts;
};

/// @brief An options string in words: each option, what is wrong, and what a process has that is given it.
struct SExplanation
{
    std::vector<SExplainedPart> options;
    std::vector<std::string> warnings; ///< Of the string as a whole.
    WordsList result;

    std::size_t CountWarnings() const;
};

/// @param[in] rate  bytes of log lines in a second
SExplanation Explain(const std::wstring& string, const SOptionsReading& reading, double rate);

} // namespace Quarn::Logging::Tool

#endif
