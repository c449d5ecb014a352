#include "LogLine.h"

#include "CompiledLocale.h"
#include "SeededRandom.h"
#include "TimeWidth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cwchar>
#include <limits>
#include <string>
#include <time.h>
#include <utility>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

constexpr std::size_t SIZE = 2000;
constexpr wchar_t UNTOUCHED = L'\x2592';

/// The line as the C library formats it. What it leaves in the buffer when it fails is a part of it.
std::wstring LineOfTheCLibrary(const SLogLine& line)
{
    constexpr long double LAST_YEARS = HAS_LONG_TIMES ? 6.7e16L : 2147483648.0L; // of those that an int takes
    const bool fits = line.wallTime > -LAST_YEARS - 1 && line.wallTime < LAST_YEARS;
    const time_t seconds = fits ? static_cast<time_t>(line.wallTime) : std::numeric_limits<int>::min();
    tm date{};
    localtime_r(&seconds, &date);
    const auto rounded = static_cast<long double>(static_cast<double>(line.wallTime));
    const long double fraction = (rounded - std::floor(rounded)) * 1000;
    const unsigned int milliseconds = std::isnan(fraction) ? 0
                                      : fraction < 1000    ? static_cast<unsigned int>(fraction)
                                                           : 999;
    const wchar_t* const color = line.level == 1000   ? L"\x1b[36m"
                                 : line.level == 2000 ? L"\x1b[32m"
                                 : line.level == 3000 ? L"\x1b[33m"
                                 : line.level == 4000 ? L"\x1b[31m"
                                                      : L"\x1b[0m";
    wchar_t buffer[SIZE] = {};
    std::swprintf(buffer, SIZE, L"%ls%s:%d: %ls: m=%d t=%04d.%02d.%02d-%02d:%02d:%02d.%03u tid=0x%x: %ls%ls\n",
                  line.useColor ? color : L"", line.file, line.line, NameOfLevel(line.level), line.category,
                  date.tm_year + 1900, date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec,
                  milliseconds, line.threadId, line.text, line.useColor ? L"\x1b[0m" : L"");
    buffer[SIZE - 1] = L'\0';
    return buffer;
}

class LogLineModelTest : public testing::Test
{
protected:
    ~LogLineModelTest() override { std::setlocale(LC_ALL, "C"); }

    int AnyInt()
    {
        const int edges[] = {0, 9, 10, -1, 1000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
        return m_Random.OneIn(3) ? m_Random.AnyOf(edges) : static_cast<int>(m_Random() >> m_Random.Between(0, 31));
    }
    std::size_t AnyLength()
    {
        const std::pair<int, int> ranges[] = {{0, 3}, {0, 60}, {1890, 2010}, {0, 2500}};
        const auto [first, last] = m_Random.AnyOf(ranges);
        return static_cast<std::size_t>(m_Random.Between(first, last));
    }
    std::string AnyFile()
    {
        const char* const others[] = {"\xc3\xa4", "\xe2\x82\xac", "\xff", "\xc3", "\x7f", "\x01"};
        std::string file(m_Random.OneIn(4) ? AnyLength() : 12, 'f');
        if (m_Random.OneIn(4)) {
            file.insert(m_Random() % (file.size() + 1), m_Random.AnyOf(others));
        }
        return file;
    }
    std::wstring AnyText()
    {
        const wchar_t others[] = {L'\n', L'%', L'\x7f', L'\x80', L'\xe4', L'\x20ac', L'\x1f600', L'\xd800'};
        std::wstring text(AnyLength(), L't');
        if (m_Random.OneIn(3)) {
            text.insert(m_Random() % (text.size() + 1), 1, m_Random.AnyOf(others));
        }
        return text;
    }
    long double AnyTime()
    {
        constexpr long double ENDLESS = std::numeric_limits<long double>::infinity();
        const long double edges[] = {
            0.0L,           -0.25L,        -1e-30L, 2147483647.9996L, 2147483648.0L,
            -2147483649.0L, 1711846800.0L, 1e300L,  ENDLESS,          std::numeric_limits<long double>::quiet_NaN(),
            2223374400.5L,  4107542399.0L, 1e12L,   -7e10L,           -1e12L,
            6e16L};
        return m_Random.OneIn(4)
                   ? m_Random.AnyOf(edges)
                   : static_cast<long double>(m_Random()) / 2 + static_cast<long double>(m_Random()) / 4294967296.0L;
    }

    /// Draws lines in the locale that is set and compares both ways of making them with the C library's.
    void CompareLines(int lines)
    {
        for (int i = 0; i < lines && !HasFailure(); ++i) {
            const int levels[] = {1000, 2000, 3000, 4000, AnyInt()};
            const std::string file = AnyFile();
            const std::wstring text = AnyText();
            const SLogLine line = {m_Random.OneIn(2), m_Random.AnyOf(levels), AnyInt(), AnyTime(),
                                   m_Random(),        file.c_str(),           AnyInt(), text.c_str()};
            Compare(line, LineOfTheCLibrary(line));
        }
    }

    void Compare(const SLogLine& line, const std::wstring& expected)
    {
        std::wstring wide(LOG_LINE_BUFFER_SIZE, UNTOUCHED);
        FormatLogLine(wide.data(), line);
        EXPECT_EQ(std::wstring(wide.c_str()), expected);
        m_Cut += expected.back() != L'\n';

        std::string ascii(LOG_LINE_BUFFER_SIZE, '#');
        const std::size_t length = FormatAsciiLogLine(ascii.data(), line);
        if (length == 0) {
            const bool isAscii = std::all_of(expected.begin(), expected.end(), [](wchar_t c) { return c < 0x80; });
            EXPECT_FALSE(m_IsAsciiExpected && isAscii && expected.back() == L'\n') << "a line that needs no conversion";
            return;
        }
        EXPECT_EQ(std::wstring(ascii.begin(), ascii.begin() + static_cast<std::ptrdiff_t>(length)), expected);
        ++m_Ascii;
    }

    SeededRandom m_Random;
    bool m_IsAsciiExpected = true; ///< Wherever a line is of ASCII characters and not cut.
    int m_Ascii = 0;
    int m_Cut = 0;
};

TEST_F(LogLineModelTest, LinesAreThoseOfTheCLibrary)
{
    CompareLines(10000);
    EXPECT_GT(m_Ascii, 1000);
    EXPECT_GT(m_Cut, 1000);
}

TEST_F(LogLineModelTest, LinesInUnicodeAreThoseOfTheCLibrary)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    CompareLines(10000);
    EXPECT_GT(m_Ascii, 1000);
    EXPECT_GT(m_Cut, 1000);
}

TEST_F(LogLineModelTest, LinesInOlderCharsetsAreThoseOfTheCLibrary)
{
    for (const auto& [source, charset] : {std::pair("de_DE", "ISO-8859-15"), std::pair("ja_JP", "EUC-JP")}) {
        if (!CompiledLocale::HasSource(source)) {
            GTEST_SKIP() << "no source of the locale; the package locales has it";
        }
        const CompiledLocale locale(source, charset);
        ASSERT_TRUE(locale.IsSet()) << source;
        CompareLines(5000);
    }
    EXPECT_GT(m_Ascii, 1000);
    EXPECT_GT(m_Cut, 1000);
}

TEST_F(LogLineModelTest, LinesInACharsetWithoutAllOfAsciiAreThoseOfTheCLibrary)
{
    const CompiledLocale vietnamese("vi_VN", "TCVN5712-1");
    ASSERT_TRUE(vietnamese.IsSet());
    m_IsAsciiExpected = false;
    CompareLines(5000);
    EXPECT_EQ(m_Ascii, 0);
    EXPECT_GT(m_Cut, 500);
}

} // namespace
