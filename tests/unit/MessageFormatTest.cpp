#include "MessageFormat.h"

#include "HeapCount.h"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;

extern "C" int __real_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);
extern "C" int __wrap_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

namespace {

unsigned int g_FallBacks = 0;

class MessageFormatTest : public testing::Test
{
protected:
    MessageFormatTest() { g_FallBacks = 0; }

    std::wstring Format(const wchar_t* format, ...)
    {
        va_list args;
        va_start(args, format);
        const unsigned long before = HeapCalls();
        m_Result = FormatMessage(m_Buffer, m_Size, format, args);
        m_HeapCalls = HeapCalls() - before;
        va_end(args);
        return m_Buffer;
    }

    wchar_t m_Buffer[1000] = {};
    std::size_t m_Size = 1000;
    int m_Result = 0;
    unsigned long m_HeapCalls = 0;
};

TEST_F(MessageFormatTest, TextWithoutConversionsIsCopied)
{
    EXPECT_EQ(Format(L"pump started"), L"pump started");
    EXPECT_EQ(m_Result, 12);
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, IntegersOfEveryLengthKeepTheirWidth)
{
    EXPECT_EQ(Format(L"%hhd %hd %d %ld %lld %zd", 511, 65537, INT_MIN, -7L, LLONG_MIN, sizeof(char)),
              L"-1 1 -2147483648 -7 -9223372036854775808 1");
    EXPECT_EQ(Format(L"%hhu %hu %u %lu %llu %zu", 511, 65537, UINT_MAX, 7UL, ULLONG_MAX, sizeof(char)),
              L"255 1 4294967295 7 18446744073709551615 1");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, FlagsWidthAndPrecisionShapeAnInteger)
{
    EXPECT_EQ(Format(L"[%5d|%-5d|%05d|%+d|% d|%.3d|%*.*d]", 42, 42, -42, 42, 42, 7, 6, 2, 3),
              L"[   42|42   |-0042|+42| 42|007|    03]");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, HexadecimalHasAPrefixExceptForZero)
{
    EXPECT_EQ(Format(L"%x %X %#x %#x %#08X", 0xBEEF, 0xBEEF, 255, 0, 0xAB), L"beef BEEF 0xff 0 0X0000AB");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, ZeroWithPrecisionZeroHasNoDigits)
{
    EXPECT_EQ(Format(L"[%.0d|%+.0d|%.0x]", 0, 0, 0), L"[|+|]");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, FixedNumbersRoundTheirExactValueHalfToEven)
{
    EXPECT_EQ(Format(L"%f %.0f %.0f %.2f %08.1f %+.1f", 1.5, 0.5, 1.5, 2.675, -3.25, 0.75),
              L"1.500000 0 2 2.67 -00003.2 +0.8");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, StringsAreCutToThePrecisionAndPaddedToTheWidth)
{
    EXPECT_EQ(Format(L"[%s|%ls|%6.2s|%-4ls|%c%lc]", "abc", L"d\x20AC", "xyz", L"k", 'p', L'q'),
              L"[abc|d\x20AC|    xy|k   |pq]");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, PointersAreHexadecimalAndNullIsNil)
{
    EXPECT_EQ(Format(L"%p %p", reinterpret_cast<void*>(0x1F0), static_cast<void*>(nullptr)), L"0x1f0 (nil)");
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, OtherConversionsLeaveTheWholeMessageToTheCLibrary)
{
    EXPECT_EQ(Format(L"%d %g %d", 1, 0.25, 2), L"1 0.25 2");
    EXPECT_EQ(g_FallBacks, 1U);
}

TEST_F(MessageFormatTest, ShapesThatAreRareAreLeftToTheCLibrary)
{
    EXPECT_EQ(Format(L"%+p %.20p %lp", m_Buffer, nullptr, nullptr).find(L'+'), 0U);
    EXPECT_EQ(Format(L"%.20p", nullptr), L"(nil)");
    EXPECT_EQ(Format(L"%lp", nullptr), L"(nil)");
    EXPECT_EQ(Format(L"%#.0f", 1.0), L"1.");
    EXPECT_EQ(Format(L"%hf", 1.0), L"1.000000");
    EXPECT_EQ(Format(L"%lf", 1.0), L"1.000000") << "not this one";
    EXPECT_EQ(Format(L"%+c%.3c", 'a', 'b'), L"ab");
    EXPECT_EQ(Format(L"%.3c", 'b'), L"b");
    EXPECT_EQ(Format(L"%hc", 'b'), L"b");
    EXPECT_EQ(Format(L"%hs", "b"), L"b");
    EXPECT_EQ(Format(L"%+s", "b"), L"b");
    EXPECT_EQ(g_FallBacks, 10U);
}

TEST_F(MessageFormatTest, WidthsInTheTenThousandsAreLeftToTheCLibrary)
{
    Format(L"%10000d", 1);
    Format(L"%1234567d", 1);
    Format(L"%*d", 10000, 1);
    Format(L"%*d", -10000, 1);
    EXPECT_EQ(m_Result, -1) << "no room";
    EXPECT_EQ(g_FallBacks, 4U);
}

TEST_F(MessageFormatTest, BufferWithoutAnyRoomFails)
{
    m_Size = 0;
    Format(L"text");
    EXPECT_EQ(m_Result, -1);
}

TEST_F(MessageFormatTest, PositionalArgumentsAreLeftToTheCLibrary)
{
    EXPECT_EQ(Format(L"%2$d %1$d", 1, 2), L"2 1");
    EXPECT_EQ(g_FallBacks, 1U);
}

TEST_F(MessageFormatTest, TextThatFillsTheBufferSucceeds)
{
    m_Size = 6;

    EXPECT_EQ(Format(L"%d%s", 12, "abc"), L"12abc");
    EXPECT_EQ(m_Result, 5);
    EXPECT_EQ(g_FallBacks, 0U);
}

TEST_F(MessageFormatTest, TextThatDoesNotFitFailsAndLeavesItsBeginning)
{
    m_Size = 6;

    EXPECT_EQ(Format(L"%d%s", 12, "abcd").substr(0, 5), L"12abc");
    EXPECT_EQ(m_Result, -1);
    EXPECT_EQ(g_FallBacks, 1U);
}

TEST_F(MessageFormatTest, TextThatCannotBeConvertedFailsAndLeavesItsBeginning)
{
    EXPECT_EQ(Format(L"before %s after", "\xFF"), L"before ");
    EXPECT_EQ(m_Result, -1);
}

TEST_F(MessageFormatTest, CharacterThatIsTheEndOfFileFailsAsInTheCLibrary)
{
    EXPECT_EQ(Format(L"%lc", WEOF), L"\xFFFFFFFF");
    EXPECT_EQ(m_Result, -1);
    EXPECT_EQ(g_FallBacks, 1U);
}

TEST_F(MessageFormatTest, NoConversionOfItsOwnUsesTheHeap)
{
    if (!CountsHeapCalls()) {
        GTEST_SKIP() << "a sanitizer keeps the heap to itself";
    }

    Format(L"%d %x %s %ls %p %f %.30f", 1, 2U, "a", L"b", static_cast<void*>(m_Buffer), 1e50, 1e22 / 3);

    EXPECT_EQ(m_HeapCalls, 0UL);
    EXPECT_EQ(g_FallBacks, 0U);
}

} // namespace

extern "C" int __wrap_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args)
{
    ++g_FallBacks;
    return __real_vswprintf(buffer, size, format, args);
}
