#include "RotationReference.h"

#include <limits.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace QuarnTest {

namespace {

/// A byte a character, up to the first that is 0.
std::string Narrow(const std::wstring& wide)
{
    std::string narrow;
    for (const wchar_t character : wide) {
        if (static_cast<char>(character) == '\0') {
            break;
        }
        narrow += static_cast<char>(character);
    }
    return narrow;
}

std::wstring Widen(const std::string& narrow)
{
    std::wstring wide;
    for (const char byte : narrow) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    }
    return wide;
}

/// Everything before the last separator: "." if there is none.
std::string DirectoryOf(const std::string& path, char separator)
{
    const std::size_t last = path.rfind(separator);
    return last == std::string::npos ? "." : path.substr(0, last);
}

bool Matches(const std::wstring& name, const std::wstring& start, const std::wstring& end)
{
    return name.size() >= start.size() && name.size() >= end.size() &&
           std::equal(start.begin(), start.end(), name.begin()) && std::equal(end.rbegin(), end.rend(), name.rbegin());
}

} // namespace

void RotationReference::SetOutputStream(const std::wstring& name, std::uint32_t size, std::uint32_t count)
{
    End();
    m_IsConsole = name.empty();
    m_Pattern = name;
    m_MaxSize = size;
    m_MaxOldFiles = std::max(count, std::uint32_t{1});
    Split();
    if (!m_IsConsole) {
        Open();
    }
}

void RotationReference::Split()
{
    const std::size_t marker = m_Pattern.find(L"%T");
    if (marker == std::wstring::npos) {
        m_Name = m_Pattern;
        m_Prefix = m_Pattern;
        m_Suffix = m_IsConsole ? L"" : m_Suffix;
        return;
    }
    m_Prefix = m_Pattern.substr(0, marker);
    m_Suffix = m_Pattern.substr(marker + 2);
    const std::size_t dashBefore = marker != 0 && m_Pattern[marker - 1] == L'-' ? 1 : 0;
    const std::size_t dashBehind = m_Suffix.substr(0, 1) == L"-" ? 1 : 0;
    m_Name = m_Prefix.substr(0, m_Prefix.size() - dashBefore) + m_Suffix.substr(dashBehind);
}

void RotationReference::Open()
{
    m_Written = 0;
    m_File = nullptr;
    if (Narrow(m_Name).size() != m_Name.size()) {
        return; // no file can have such a name
    }
    if (m_Files.Exists(Narrow(m_Name))) {
        MoveAside();
        Remove();
    }
    MakeDirectory();
    m_File = m_Files.Create(Narrow(m_Name));
}

/// What each line does while there is no file: no other one is touched, and one that is there by now goes on.
void RotationReference::OpenLate()
{
    m_Written = 0;
    if (Narrow(m_Name).size() == m_Name.size()) {
        MakeDirectory();
        m_File = m_Files.CreateOrContinue(Narrow(m_Name));
    }
}

void RotationReference::MakeDirectory()
{
    if (m_Name.size() >= PATH_MAX) {
        return; // no file can have a name of such a length
    }
    const std::string backslashed = DirectoryOf(Narrow(m_Name), '\\');
    const std::string slashed = DirectoryOf(Narrow(m_Name), '/');
    if (backslashed.size() > slashed.size()) {
        m_Files.MakeDirectory(backslashed);
    } else if (slashed != ".") {
        m_Files.MakeDirectory(slashed);
    }
}

void RotationReference::Log(const std::string& line, int result)
{
    if (m_IsConsole) {
        m_Console += result < 0 ? "" : line;
        return;
    }
    if (m_File == nullptr) {
        OpenLate();
    }
    if (m_File == nullptr) {
        return;
    }
    *m_File += result < 0 ? "" : line;
    m_Written += static_cast<std::uint32_t>(result);
    if (m_MaxSize != 0 && m_Written >= m_MaxSize) {
        MoveAside();
        m_File = m_Files.Create(Narrow(m_Name));
        m_Written = 0;
        Remove();
    }
}

void RotationReference::End()
{
    if (m_File != nullptr) {
        m_File = nullptr;
        MoveAside();
        Remove();
    }
}

std::wstring RotationReference::StampedName() const
{
    const auto seconds = static_cast<time_t>(m_Now / 1000000000);
    tm calendar{};
    gmtime_r(&seconds, &calendar);
    char stamp[16];
    strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &calendar);
    return m_Prefix + Widen(stamp) + m_Suffix;
}

void RotationReference::MoveAside()
{
    while (m_Files.Exists(Narrow(StampedName()))) {
        m_Now += 1000000000 - m_Now % 1000000000 / 1000 * 1000;
    }
    m_Files.Rename(Narrow(m_Name), Narrow(StampedName()));
}

void RotationReference::Remove()
{
    const bool hasSlash = m_Pattern.find(L'/') != std::wstring::npos;
    const std::size_t separator = m_Pattern.rfind(hasSlash ? L'/' : L'\\');
    if (separator == std::wstring::npos || separator == 0) {
        return;
    }
    const std::string directory = Narrow(m_Pattern.substr(0, separator));
    const auto names = m_Files.Names(directory);
    if (!names) {
        return;
    }
    const std::wstring start = separator + 1 < m_Prefix.size() ? m_Prefix.substr(separator + 1) : L"";
    std::vector<std::wstring> matches;
    for (const std::string& name : *names) {
        if (Matches(Widen(name), start, m_Suffix)) {
            matches.push_back(Widen(name));
        }
    }
    std::sort(matches.begin(), matches.end());
    for (std::size_t i = 0; i + m_MaxOldFiles < matches.size(); ++i) {
        m_Files.Unlink(directory + "/" + Narrow(matches[i]));
    }
}

} // namespace QuarnTest
