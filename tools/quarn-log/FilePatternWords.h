#ifndef QUARN_TOOL_FILE_PATTERN_WORDS_H
#define QUARN_TOOL_FILE_PATTERN_WORDS_H

#include "OptionsReading.h"

#include <string>
#include <utility>
#include <vector>

namespace Quarn::Logging::Tool {

/// What there is to say under a heading.
using WordsList = std::vector<std::pair<std::string, std::string>>;

/// Which files come of a string with a file name, under which names, and what becomes of them.
WordsList FilesInWords(const SOptionsReading& reading);

/// The pattern as it is best written: its old files are found, and its current file is none of them.
std::wstring Recommended(const std::wstring& pattern);

std::vector<std::string> WarningsOfFiles(const SOptionsReading& reading);

} // namespace Quarn::Logging::Tool

#endif
