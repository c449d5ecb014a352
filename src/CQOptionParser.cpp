#include "CQOptionParser.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <new>

namespace Quarn::Logging {

namespace {

constexpr std::size_t INITIAL_LEVEL_SETTINGS = 32;

struct SParsedNumber
{
    std::uint32_t value;
    const wchar_t* rest; ///< What was not converted.
};

/// wcstoul in base 10 as it is where long has 32 bits, whatever it has here: numbers of 2^32 and more give 2^32 - 1,
/// and a minus sign negates modulo 2^32.
SParsedNumber ParseUnsigned32(const wchar_t* text)
{
    const wchar_t* sign = text;
    while (std::iswspace(static_cast<std::wint_t>(*sign)) != 0) {
        ++sign;
    }
    wchar_t* rest = nullptr;
    const int callersErrno = errno;
    errno = 0;
    const unsigned long long value = std::wcstoull(text, &rest, 10);
    const unsigned long long magnitude = *sign == L'-' ? 0 - value : value;
    const bool isTooLarge = errno == ERANGE || magnitude > UINT32_MAX;
    errno = callersErrno;
    if (isTooLarge) {
        return {UINT32_MAX, rest};
    }
    return {static_cast<std::uint32_t>(value), rest};
}

/// How far a suffix shifts a size to the left.
unsigned int ShiftOfSuffix(const wchar_t* suffix)
{
    if (std::wcscmp(suffix, L"M") == 0) {
        return 20;
    }
    if (std::wcscmp(suffix, L"k") == 0) {
        return 10;
    }
    return 0;
}

} // namespace

CQOptionParser::CQOptionParser() { m_LevelSettings.reserve(INITIAL_LEVEL_SETTINGS); }

void CQOptionParser::ParseOptions(const wchar_t* options, Observer* observer)
{
    m_pObserver = observer;
    m_LevelSettings.clear();
    m_DefaultLevel = LEVEL_NONE;
    m_pCurrentChar = options;
    m_ColorSetting = false;
    m_LogFileName.clear();
    m_LogFileSize = 0;
    // Not m_MaxCountLogFiles: it is meant to last from one parse to the next.

    while (CurrentChar() != L'\0') {
        while (CurrentChar() == L';') {
            AdvanceCharPos();
        }
        const wchar_t* const begin = m_pCurrentChar;
        ParseOption();
        if (observer != nullptr && m_pCurrentChar != begin) {
            observer->OptionRead(begin, m_pCurrentChar);
        }
    }
    m_pCurrentChar = nullptr;
    m_pObserver = nullptr;
}

std::int32_t CQOptionParser::LevelOfShortcut(wchar_t character)
{
    const char digits[] = {static_cast<char>(character), '\0'}; // the low 8 bits alone count
    switch (std::strtol(digits, nullptr, 10)) {
    case 0:
        return LEVEL_NONE;
    case 1:
        return LEVEL_ERROR;
    case 2:
        return LEVEL_WARNING;
    case 3:
        return LEVEL_INFO;
    default:
        return LEVEL_DEBUG;
    }
}

void CQOptionParser::GetLevelSettings(SLevelDef* out) const
{
    std::copy(m_LevelSettings.begin(), m_LevelSettings.end(), out);
}

void CQOptionParser::AdvanceCharPos()
{
    if (CurrentChar() != L'\0') {
        ++m_pCurrentChar;
    }
}

/// Digits with an optional "-" in front; none give 0. Wraps around in 32 bits, as documented for users.
std::int32_t CQOptionParser::GetNum()
{
    const bool negative = CurrentChar() == L'-';
    if (negative) {
        AdvanceCharPos();
    }
    std::uint32_t value = 0;
    for (; CurrentChar() >= L'0' && CurrentChar() <= L'9'; AdvanceCharPos()) {
        value = value * 10 + static_cast<std::uint32_t>(CurrentChar() - L'0');
    }
    return static_cast<std::int32_t>(negative ? 0 - value : value);
}

/// The level of one character, which is consumed whatever it is: a ";" too, which users' strings depend on.
std::int32_t CQOptionParser::GetLevel()
{
    const wchar_t character = CurrentChar();
    AdvanceCharPos();
    switch (character) {
    case L'D':
    case L'd':
    case L'5':
    case L'4':
        return LEVEL_DEBUG;
    case L'I':
    case L'i':
    case L'3':
        return LEVEL_INFO;
    case L'W':
    case L'w':
    case L'2':
        return LEVEL_WARNING;
    case L'E':
    case L'e':
    case L'1':
        return LEVEL_ERROR;
    default:
        return LEVEL_NONE;
    }
}

void CQOptionParser::AppendSubSettings(ACE_String_Base<wchar_t>& text)
{
    const wchar_t* const begin = m_pCurrentChar;
    SkipSubSettings();
    const auto length = static_cast<std::size_t>(m_pCurrentChar - begin);
    const std::size_t expected = text.length() + length;
    text.append(begin, length);
    if (text.length() != expected) { // how the string says that there was no memory
        throw std::bad_alloc();
    }
}

void CQOptionParser::SkipSubSettings()
{
    while (!EndOfSubSettings()) {
        AdvanceCharPos();
    }
}

void CQOptionParser::ParseOption()
{
    switch (CurrentChar()) {
    case L'l':
        ParseDefaultLevel();
        break;
    case L'o':
        ParseLevelSettings();
        break;
    case L'c':
        ParseColorSetting();
        break;
    case L'L':
        ParseLogFileName();
        break;
    case L'S':
        ParseLogFileSize();
        break;
    case L'N':
        ParseMaxCountLogFiles();
        break;
    default:
        ParseUnknownSetting();
    }
}

void CQOptionParser::ParseDefaultLevel()
{
    AdvanceCharPos();
    m_DefaultLevel = GetLevel();
    SkipSubSettings();
}

void CQOptionParser::ParseLevelSettings()
{
    AdvanceCharPos();
    while (!EndOfSubSettings()) {
        const wchar_t* const begin = m_pCurrentChar;
        const std::int32_t category = GetNum();
        m_LevelSettings.push_back({category, GetLevel()});
        if (m_pObserver != nullptr) {
            m_pObserver->PairRead(begin, m_pCurrentChar);
        }
    }
}

void CQOptionParser::ParseColorSetting()
{
    m_ColorSetting = true;
    SkipSubSettings();
}

/// Several names are joined: a long one may be written in pieces.
void CQOptionParser::ParseLogFileName()
{
    AdvanceCharPos();
    AppendSubSettings(m_LogFileName);
}

void CQOptionParser::ParseLogFileSize()
{
    AdvanceCharPos();
    ACE_String_Base<wchar_t> text;
    AppendSubSettings(text);
    const SParsedNumber size = ParseUnsigned32(text.c_str());
    m_LogFileSize = size.value << ShiftOfSuffix(size.rest); // sizes of 4 GiB and more wrap
}

void CQOptionParser::ParseMaxCountLogFiles()
{
    AdvanceCharPos();
    ACE_String_Base<wchar_t> text;
    AppendSubSettings(text);
    m_MaxCountLogFiles = ParseUnsigned32(text.c_str()).value;
}

void CQOptionParser::ParseUnknownSetting() { SkipSubSettings(); }

} // namespace Quarn::Logging
