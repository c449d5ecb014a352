#include "FilePatternWords.h"

#include "FileNamePattern.h"
#include "OptionWords.h"

#include <limits.h>

#include <algorithm>
#include <string_view>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::wstring_view TIME_STAMP = L"20240517-134509"; // one as good as any
constexpr std::wstring_view SHOWN_TIME_STAMP = L"YYYYMMDD-hhmmss";

/// The names that come of a pattern.
struct SFileNames
{
    explicit SFileNames(const std::wstring& pattern)
        : parts(SplitFileName(pattern))
        , suffix(parts.suffix.value_or(std::wstring_view()))
        , current(std::wstring(parts.currentHead).append(parts.currentTail))
        , stamped(std::wstring(parts.prefix).append(TIME_STAMP).append(suffix))
        , folder(FolderOfOldFiles(pattern))
        , base(BaseOfOldFiles(parts.prefix, folder))
    {
    }

    SFileNameParts parts;
    std::wstring_view suffix;
    std::wstring current;
    std::wstring stamped;
    std::wstring_view folder; ///< Of the old files.
    std::wstring_view base;
};

std::wstring_view LastComponent(std::wstring_view name)
{
    name.remove_prefix(name.rfind(L'/') + 1); // npos + 1 is 0
    return name;
}

/// The name of a file as the folder's entry comes back, if it lies in the folder of the old files; else empty.
std::wstring EntryOf(const SFileNames& names, std::wstring_view file)
{
    const std::wstring_view component = LastComponent(file);
    if (names.folder.empty() || component.size() + 1 + names.folder.size() != file.size() ||
        file.substr(0, names.folder.size()) != names.folder) {
        return {};
    }
    std::wstring entry(component);
    std::transform(entry.begin(), entry.end(), entry.begin(),
                   [](wchar_t character) { return static_cast<wchar_t>(static_cast<unsigned char>(character)); });
    return entry;
}

bool IsRecognised(const SFileNames& names, std::wstring_view entry)
{
    return !entry.empty() && IsOldFile(entry, names.base, names.suffix);
}

std::string KeptInWords(const SFileNames& names, std::uint32_t count)
{
    if (names.folder.empty()) {
        return "all, for the name has no folder in which old ones would be looked for";
    }
    if (!IsRecognised(names, EntryOf(names, names.stamped))) {
        return "all, for they are not recognised in " + Quote(names.folder);
    }
    const std::string base = names.base.empty() ? "" : " that begin with " + Quote(names.base);
    const std::string suffix = names.suffix.empty() ? "" : " that end with " + Quote(names.suffix);
    return std::to_string(count) + ", the last in the order of names, of the files in " + Quote(names.folder) +
           (base.empty() && suffix.empty() ? ", whatever their names" : base) +
           (base.empty() || suffix.empty() ? "" : " and") + suffix + "; the others are removed";
}

/// The pattern with a dash beside the time stamp.
std::wstring WithDash(const SFileNames& names)
{
    if (names.parts.suffix) {
        return std::wstring(names.parts.prefix).append(L"-%T").append(names.suffix);
    }
    const std::size_t dot = LastComponent(names.current).rfind(L'.');
    const bool hasEnding = dot != std::wstring_view::npos && dot != 0;
    const std::size_t end =
        hasEnding ? names.current.size() - LastComponent(names.current).size() + dot : names.current.size();
    return names.current.substr(0, end) + L"-%T" + names.current.substr(end);
}

class FileWarner
{
public:
    explicit FileWarner(const SOptionsReading& reading)
        : m_Reading(reading)
        , m_Count(std::max(reading.count, 1U))
        , m_Names(reading.fileName)
    {
    }

    std::vector<std::string> Warnings()
    {
        WarnOfPieces();
        if (!WarnOfNoFile()) {
            WarnOfMarkers();
            WarnOfRemoval();
        }
        WarnOfCharacters();
        return std::move(m_Warnings);
    }

private:
    void Warn(const std::string& warning) { m_Warnings.push_back(warning); }

    /// A name in pieces is meant, two names are not.
    void WarnOfPieces()
    {
        const SReadOption* before = nullptr;
        for (const SReadOption& option : m_Reading.options) {
            if (option.Letter() != L'L') {
                continue;
            }
            if (before != nullptr && (LastComponent(before->Value()).find(L'.') != std::wstring_view::npos ||
                                      before->Value() == option.Value() ||
                                      (option.Value().substr(0, 1) == L"/" && before->Value() != L""))) {
                Warn("the names of several L are joined to one, " + Quote(m_Reading.fileName));
                return;
            }
            before = &option;
        }
    }

    bool WarnOfNoFile()
    {
        const std::wstring_view last = LastComponent(m_Names.current);
        const std::string lost = ": no file can be opened, and all lines are lost";
        if (EndsEarly(m_Names.current)) {
            Warn("a character whose low eight bits are 0 ends the name" + lost);
        } else if (last.empty() || last == L"." || last == L"..") {
            const bool isAnyOld = !m_Names.folder.empty() && m_Names.base.empty() && m_Names.suffix.empty();
            Warn((m_Names.current.empty() ? "the current name is empty"
                                          : "the current name " + Quote(m_Names.current) + " is that of a folder") +
                 lost + (isAnyOld ? "; all files in the folder count as old ones and may be removed" : ""));
        } else if (Narrow(LastComponent(m_Names.stamped)).size() > NAME_MAX || m_Names.stamped.size() >= PATH_MAX) {
            Warn("the name is too long: with a time stamp the last part may have " + std::to_string(NAME_MAX) +
                 " bytes, the whole " + std::to_string(PATH_MAX - 1));
        } else {
            return false;
        }
        return true;
    }

    void WarnOfMarkers()
    {
        if (m_Names.suffix.find(L'/') != std::wstring_view::npos) {
            Warn("%T stands in the name of a folder: a full file cannot be renamed, as there is no such folder, and "
                 "is emptied");
        }
        for (const std::wstring_view part : {m_Names.parts.prefix, m_Names.suffix}) {
            if (const std::size_t percent = part.find(L'%'); percent != std::wstring_view::npos) {
                Warn(Quote(part.substr(percent, 2)) + " is text: only the first %T is the place of a time stamp");
                return;
            }
        }
    }

    void WarnOfRemoval()
    {
        if (m_Names.folder.empty()) {
            Warn("the name has no folder: files are never removed and pile up; write L" +
                 Shown(Recommended(m_Reading.fileName)));
            return;
        }
        const std::wstring stamped = EntryOf(m_Names, m_Names.stamped);
        if (!IsRecognised(m_Names, stamped)) {
            Warn("time-stamped files are not recognised as old ones: they are never removed and pile up");
            return;
        }
        if (m_Names.base.empty() && (m_Names.suffix.empty() || m_Names.suffix.front() == L'.')) {
            Warn("every file in " + Quote(m_Names.folder) +
                 (m_Names.suffix.empty() ? "" : " that ends with " + Quote(m_Names.suffix)) +
                 " counts as an old one and may be removed");
        }
        const std::wstring current = EntryOf(m_Names, m_Names.current);
        if (IsRecognised(m_Names, current)) {
            WarnOfCurrentFile(current < stamped);
        }
    }

    void WarnOfCurrentFile(bool isFirst)
    {
        std::string warning = "the current file " + Quote(m_Names.current) + " counts as an old one";
        if (m_Reading.size == 0) {
            warning += ", which matters as soon as there is a size";
        } else if (isFirst) {
            warning += ": with " + std::to_string(m_Count) +
                       " time-stamped beside it, it is the first to be removed when a file is full, and what is "
                       "written to it is lost";
        } else {
            warning +=
                ": when a file is full, of the time-stamped ones one less than " + std::to_string(m_Count) + " is kept";
        }
        Warn(warning + "; write L" + Shown(Recommended(m_Reading.fileName)));
    }

    void WarnOfCharacters()
    {
        const std::wstring& name = m_Reading.fileName;
        if (std::any_of(name.begin(), name.end(), [](wchar_t character) { return character < 0 || character > 127; })) {
            std::string bytes;
            for (const char byte : Narrow(m_Names.current)) {
                const auto code = static_cast<unsigned char>(byte);
                static constexpr char HEX[] = "0123456789ABCDEF";
                bytes += code > 0x20 && code < 0x7F ? std::string(1, byte)
                                                    : std::string("\\x") + HEX[code >> 4] + HEX[code & 15];
            }
            Warn("of each character the low eight bits make the name on disk, in no charset: \"" + bytes + '"');
        }
        if (name.find(L'\\') != std::wstring::npos) {
            Warn("\"\\\" separates folders when one is made and when old files are looked for, but not for the system");
        }
        if (name.front() == L'~' || name.find(L'$') != std::wstring::npos) {
            Warn(std::string(name.front() == L'~' ? "\"~\"" : "\"$\"") + " is text, as there is no shell");
        }
        if (const std::wstring_view last = LastComponent(name);
            !last.empty() && (last.front() == L' ' || last.back() == L' ')) {
            Warn("the blank at the " + std::string(last.back() == L' ' ? "end" : "beginning") + " is part of the name");
        }
        if (std::any_of(name.begin(), name.end(),
                        [](wchar_t character) { return character < 32 || character == 127; })) {
            Warn("control characters are part of the name");
        }
    }

    const SOptionsReading& m_Reading;
    const std::uint32_t m_Count;
    const SFileNames m_Names;
    std::vector<std::string> m_Warnings;
};

} // namespace

std::wstring Recommended(const std::wstring& pattern)
{
    if (FolderOfOldFiles(pattern).empty()) {
        const std::wstring placed = (pattern.substr(0, 1) == L"/" ? L"/." : L"./") + pattern;
        return Recommended(placed);
    }
    const SFileNames names(pattern);
    return IsRecognised(names, EntryOf(names, names.stamped)) && IsRecognised(names, EntryOf(names, names.current))
               ? WithDash(names)
               : pattern;
}

WordsList FilesInWords(const SOptionsReading& reading)
{
    const SFileNames names(reading.fileName);
    const std::string whenFull = reading.size == 0 ? "" : "at " + Bytes(std::to_string(reading.size)) + ", ";
    const std::string folder = FolderToMake(names.current);
    WordsList words = {{"file", Shown(names.current)}};
    if (!folder.empty()) {
        words.emplace_back("folder", Shown(std::wstring_view(names.current).substr(0, folder.size())) +
                                         ", made if it is missing, its parents are not");
    }
    words.emplace_back("put aside", whenFull + "with each list of options, at the end of the process; a file of an "
                                               "earlier run at once");
    words.emplace_back("its name then", Shown(names.parts.prefix) + Shown(SHOWN_TIME_STAMP) + Shown(names.suffix) +
                                            (names.parts.suffix ? "" : ", and the ending of an earlier name with %T"));
    words.emplace_back("kept", KeptInWords(names, std::max(reading.count, 1U)));
    return words;
}

std::vector<std::string> WarningsOfFiles(const SOptionsReading& reading) { return FileWarner(reading).Warnings(); }

} // namespace Quarn::Logging::Tool
