#include "FileNamePattern.h"

#include <ace/ACE.h>

#include <limits.h>

#include <algorithm>

namespace Quarn::Logging {

namespace {

constexpr std::wstring_view TIME_STAMP_MARKER = L"%T";

} // namespace

std::string Narrow(std::wstring_view name)
{
    std::string narrow(name.size(), '\0');
    std::transform(name.begin(), name.end(), narrow.begin(),
                   [](wchar_t character) { return static_cast<char>(character); });
    return narrow;
}

bool EndsEarly(std::wstring_view name) { return Narrow(name).find('\0') != std::string::npos; }

SFileNameParts SplitFileName(std::wstring_view pattern)
{
    const std::size_t marker = pattern.find(TIME_STAMP_MARKER);
    if (marker == std::wstring_view::npos) {
        return {pattern, std::nullopt, pattern, {}};
    }
    const std::wstring_view prefix = pattern.substr(0, marker);
    const std::wstring_view suffix = pattern.substr(marker + TIME_STAMP_MARKER.size());
    SFileNameParts parts = {prefix, suffix, prefix, suffix};
    if (!prefix.empty() && prefix.back() == L'-') {
        parts.currentHead.remove_suffix(1);
    }
    if (!suffix.empty() && suffix.front() == L'-') {
        parts.currentTail.remove_prefix(1);
    }
    return parts;
}

std::wstring_view FolderOfOldFiles(std::wstring_view pattern)
{
    std::size_t separator = pattern.rfind(L'/');
    if (separator == std::wstring_view::npos) {
        separator = pattern.rfind(L'\\');
    }
    return separator == std::wstring_view::npos ? std::wstring_view() : pattern.substr(0, separator);
}

std::wstring_view BaseOfOldFiles(std::wstring_view prefix, std::wstring_view folder)
{
    return prefix.substr(std::min(folder.size() + 1, prefix.size()));
}

bool IsOldFile(std::wstring_view name, std::wstring_view base, std::wstring_view suffix)
{
    return name.substr(0, base.size()) == base && name.size() >= suffix.size() &&
           name.substr(name.size() - suffix.size()) == suffix;
}

/// Either separator may have been used.
std::string FolderToMake(std::wstring_view fileName)
{
    const std::string name = Narrow(fileName);
    if (name.size() >= PATH_MAX) {
        return {}; // no such file can be opened, and ACE::dirname has room for a path only
    }
    std::string backslashed = ACE::dirname(name.c_str(), '\\');
    std::string slashed = ACE::dirname(name.c_str(), '/');
    if (backslashed.size() > slashed.size()) {
        return backslashed;
    }
    return slashed == "." ? std::string() : slashed;
}

} // namespace Quarn::Logging
