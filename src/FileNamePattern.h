#ifndef QUARN_LOGGING_FILE_NAME_PATTERN_H
#define QUARN_LOGGING_FILE_NAME_PATTERN_H

#include <optional>
#include <string>
#include <string_view>

namespace Quarn::Logging {

// What the pattern of a log file's name says, without a look at the file system. docs/log-files.md has examples.

/// A name as the file system gets it: the low 8 bits of each character. Names go out as they came in from options
/// strings built from bytes, whatever the locale, and directory entries come back the same way.
std::string Narrow(std::wstring_view name);

/// Whether the file system would get a part of the name only: a character like U+0100 has 0 in its low 8 bits. Where
/// the time stamp is behind it, every time-stamped name would be the one of the current file, and a rotation never end.
bool EndsEarly(std::wstring_view name);

/// A pattern, split at its first "%T". All of them are parts of its text.
struct SFileNameParts
{
    std::wstring_view prefix;                ///< In front of the time stamp.
    std::optional<std::wstring_view> suffix; ///< Behind it; none if there is no "%T".
    std::wstring_view currentHead;           ///< The current name is this one
    std::wstring_view currentTail;           ///< and this one: without the dashes beside the time stamp.
};

SFileNameParts SplitFileName(std::wstring_view pattern);

/// The folder in which the old files of a pattern are looked for. Empty: none of them is ever removed.
std::wstring_view FolderOfOldFiles(std::wstring_view pattern);

/// What the names of old files begin with there.
std::wstring_view BaseOfOldFiles(std::wstring_view prefix, std::wstring_view folder);

bool IsOldFile(std::wstring_view name, std::wstring_view base, std::wstring_view suffix);

/// The folder that is made for a file: the last one of its path. Empty if there is none to make.
std::string FolderToMake(std::wstring_view fileName);

} // namespace Quarn::Logging

#endif
