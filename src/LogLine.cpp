#include "LogLine.h"

#include "Charset.h"
#include "SystemClocks.h"

#include <QuarnLogging/Logging.h>

#include <time.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <limits>
#include <type_traits>

namespace Quarn::Logging {

namespace {

constexpr wchar_t COLOR_END[] = L"\x1b[0m";

struct SLevelStyle
{
    const wchar_t* name;
    const wchar_t* colorStart;
};

SLevelStyle StyleOf(int level)
{
    switch (level) {
    case LEVEL_DEBUG:
        return {L"debug", L"\x1b[36m"}; // cyan
    case LEVEL_INFO:
        return {L"info", L"\x1b[32m"}; // green
    case LEVEL_WARNING:
        return {L"warning", L"\x1b[33m"}; // yellow
    case LEVEL_ERROR:
        return {L"error", L"\x1b[31m"}; // red
    default:
        return {L"?", COLOR_END};
    }
}

/// Milliseconds into the second, truncated. In extended precision, so that they are the same on every processor.
int MillisecondsOf(double seconds)
{
    const long double milliseconds =
        (static_cast<long double>(seconds) - std::floor(static_cast<long double>(seconds))) * 1000;
    if (std::isnan(milliseconds)) {
        return 0;
    }
    // So close to a full second below zero that the difference was rounded up to a whole one.
    return milliseconds < 1000 ? static_cast<int>(milliseconds) : 999;
}

/// A line under construction, in wide characters, which take every line, or in ASCII characters. It is full when
/// something does not fit, and takes nothing else then.
template <class Character>
class Line
{
public:
    /// The buffer has LOG_LINE_BUFFER_SIZE characters: what is short is written first, and cut then.
    explicit Line(Character* buffer)
        : m_pNext(buffer)
        , m_pEnd(buffer + LOG_LINE_SIZE - 1)
    {
    }

    template <std::size_t SIZE>
    void AppendLiteral(const wchar_t (&literal)[SIZE])
    {
        static_assert(SIZE - 1 <= LOG_LINE_BUFFER_SIZE - LOG_LINE_SIZE);
        for (std::size_t i = 0; i < SIZE - 1; ++i) {
            m_pNext[i] = static_cast<Character>(literal[i]);
        }
        Advance(SIZE - 1);
    }

    void Append(const wchar_t* text) { Copy(text); }

    /// Text in the encoding of the locale. A line of ASCII characters is made where they have the codes of ASCII.
    void Append(const char* text)
    {
        if constexpr (std::is_same_v<Character, wchar_t>) {
            Convert(text);
        } else {
            Copy(reinterpret_cast<const unsigned char*>(text));
        }
    }

    template <class Integer>
    void AppendNumber(Integer number, int base = 10)
    {
        static_assert(std::numeric_limits<Integer>::digits10 + 2 <= LOG_LINE_BUFFER_SIZE - LOG_LINE_SIZE);
        if constexpr (std::is_same_v<Character, char>) {
            Advance(std::to_chars(m_pNext, m_pNext + LOG_LINE_BUFFER_SIZE - LOG_LINE_SIZE, number, base).ptr - m_pNext);
        } else {
            char digits[LOG_LINE_BUFFER_SIZE - LOG_LINE_SIZE];
            *std::to_chars(std::begin(digits), std::end(digits) - 1, number, base).ptr = '\0';
            Copy(digits);
        }
    }

    /// The last DIGITS digits of a number that is not negative, and what follows them.
    template <std::size_t DIGITS>
    void AppendDigits(int number, char separator)
    {
        m_pNext[DIGITS] = static_cast<Character>(separator);
        for (std::size_t i = DIGITS; i != 0; number /= 10) {
            m_pNext[--i] = static_cast<Character>('0' + number % 10);
        }
        Advance(DIGITS + 1);
    }

    /// At least four characters, the sign of a year before the year 0 included, and what follows them.
    void AppendYear(int year)
    {
        if (year >= 0 && year <= 9999) {
            AppendDigits<4>(year, '.');
            return;
        }
        if (year < 0 && year > -1000) {
            AppendLiteral(L"-");
            AppendDigits<3>(-year, '.');
            return;
        }
        AppendNumber(year);
        AppendLiteral(L".");
    }

    Character* End() const { return m_pNext; }
    bool IsFull() const { return m_IsFull; }
    bool IsAscii() const { return m_AllBits < 0x80; }

private:
    void Advance(std::ptrdiff_t length)
    {
        m_pNext += length;
        if (m_pNext > m_pEnd) {
            m_pNext = m_pEnd;
            m_IsFull = true;
        }
    }

    /// Up to the terminator that is met on the way: another process may be writing over the record, and a length that
    /// was measured before would let a terminator into the line.
    template <class Source>
    void Copy(const Source* source)
    {
        Character* next = m_pNext; // a local, since the characters stored may be this object's, for the compiler
        std::uint32_t allBits = 0;
        for (Source character = *source; character != 0; character = *++source) {
            if (next == m_pEnd) {
                m_IsFull = true;
                break;
            }
            allBits |= static_cast<std::uint32_t>(character);
            *next++ = static_cast<Character>(character);
        }
        m_pNext = next;
        m_AllBits |= allBits;
    }

    /// As far as the C library can.
    void Convert(const char* text)
    {
        const int length = std::swprintf(m_pNext, static_cast<std::size_t>(m_pEnd - m_pNext) + 1, L"%s", text);
        if (length >= 0) {
            m_pNext += length;
            return;
        }
        *m_pEnd = L'\0'; // which the C library leaves out when it runs out of room
        m_pNext += std::wcslen(m_pNext);
        m_pEnd = m_pNext;
    }

    Character* m_pNext;
    Character* m_pEnd; ///< The terminator's place in a line that is full.
    bool m_IsFull = false;
    std::uint32_t m_AllBits = 0; ///< All characters, one over the other.
};

/// The layout of a line, whatever its characters.
template <class Character>
void Build(Line<Character>& target, const SLogLine& source)
{
    const tm calendar = ToLocalDate(ToTime(source.wallTime));
    const SLevelStyle style = StyleOf(source.level);
    if (source.useColor) {
        target.Append(style.colorStart);
    }
    target.Append(source.file);
    target.AppendLiteral(L":");
    target.AppendNumber(source.line);
    target.AppendLiteral(L": ");
    target.Append(style.name);
    target.AppendLiteral(L": m=");
    target.AppendNumber(source.category);
    target.AppendLiteral(L" t=");
    target.AppendYear(calendar.tm_year + 1900);
    target.template AppendDigits<2>(calendar.tm_mon + 1, '.');
    target.template AppendDigits<2>(calendar.tm_mday, '-');
    target.template AppendDigits<2>(calendar.tm_hour, ':');
    target.template AppendDigits<2>(calendar.tm_min, ':');
    target.template AppendDigits<2>(calendar.tm_sec, '.');
    target.template AppendDigits<3>(MillisecondsOf(static_cast<double>(source.wallTime)), ' ');
    target.AppendLiteral(L"tid=0x");
    target.AppendNumber(source.threadId, 16);
    target.AppendLiteral(L": ");
    target.Append(source.text);
    if (source.useColor) {
        target.AppendLiteral(COLOR_END);
    }
    target.AppendLiteral(L"\n");
}

} // namespace

const wchar_t* NameOfLevel(int level) { return StyleOf(level).name; }

void FormatLogLine(wchar_t* buffer, const SLogLine& line)
{
    Line<wchar_t> target(buffer);
    Build(target, line);
    *target.End() = L'\0';
}

std::size_t FormatAsciiLogLine(char* buffer, const SLogLine& line)
{
    if (!CharsetKeepsAscii()) {
        return 0;
    }
    Line<char> target(buffer);
    Build(target, line);
    return target.IsFull() || !target.IsAscii() ? 0 : static_cast<std::size_t>(target.End() - buffer);
}

} // namespace Quarn::Logging
