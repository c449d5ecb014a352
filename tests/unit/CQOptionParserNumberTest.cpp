#include "CQOptionParser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

using namespace Quarn::Logging;

namespace {

// Numbers are read as where unsigned long has 32 bits, on every word size: what does not fit becomes 2^32 - 1, a minus
// sign negates modulo 2^32.
struct SNumber
{
    const wchar_t* text;
    std::uint32_t size;
    std::uint32_t count;
};

void PrintTo(const SNumber& number, std::ostream* out) { *out << testing::PrintToString(std::wstring(number.text)); }

class CQOptionParserNumberTest : public testing::TestWithParam<SNumber>
{
};

TEST_P(CQOptionParserNumberTest, IsReadAsTheSizeOfAFile)
{
    CQOptionParser parser;

    parser.ParseOptions((std::wstring(L"S") + GetParam().text + L";c").c_str());

    EXPECT_EQ(parser.GetLogFileSize(), GetParam().size);
    EXPECT_TRUE(parser.GetColorSetting());
}

TEST_P(CQOptionParserNumberTest, IsReadAsTheNumberOfFiles)
{
    CQOptionParser parser;

    parser.ParseOptions((std::wstring(L"N") + GetParam().text + L";c").c_str());

    EXPECT_EQ(parser.GetMaxCountLogFiles(), GetParam().count);
    EXPECT_TRUE(parser.GetColorSetting());
}

INSTANTIATE_TEST_SUITE_P(Plain, CQOptionParserNumberTest,
                         testing::Values(SNumber{L"", 0, 0}, SNumber{L"0", 0, 0}, SNumber{L"7", 7, 7},
                                         SNumber{L"007", 7, 7}, SNumber{L"4294967294", 4294967294, 4294967294},
                                         SNumber{L"4294967295", 4294967295, 4294967295}));

INSTANTIATE_TEST_SUITE_P(TooLarge, CQOptionParserNumberTest,
                         testing::Values(SNumber{L"4294967296", 4294967295, 4294967295},
                                         SNumber{L"4294967297", 4294967295, 4294967295},
                                         SNumber{L"18446744073709551615", 4294967295, 4294967295},
                                         SNumber{L"18446744073709551616", 4294967295, 4294967295},
                                         SNumber{L"99999999999999999999", 4294967295, 4294967295}));

INSTANTIATE_TEST_SUITE_P(Signed, CQOptionParserNumberTest,
                         testing::Values(SNumber{L"+5", 5, 5}, SNumber{L"-0", 0, 0},
                                         SNumber{L"-1", 4294967295, 4294967295}, SNumber{L"-4294967294", 2, 2},
                                         SNumber{L"-4294967295", 1, 1}, SNumber{L"-4294967296", 4294967295, 4294967295},
                                         SNumber{L"-18446744073709551615", 4294967295, 4294967295},
                                         SNumber{L"-99999999999999999999", 4294967295, 4294967295},
                                         SNumber{L"--5", 0, 0}, SNumber{L"+-5", 0, 0}, SNumber{L"-", 0, 0},
                                         SNumber{L"- 5", 0, 0}));

INSTANTIATE_TEST_SUITE_P(WhiteSpace, CQOptionParserNumberTest,
                         testing::Values(SNumber{L" 7", 7, 7}, SNumber{L"\t\n\v\f\r 7", 7, 7},
                                         SNumber{L"  -1", 4294967295, 4294967295}, SNumber{L" +5k", 5120, 5},
                                         SNumber{L"7 ", 7, 7}, SNumber{L"7 k", 7, 7}, SNumber{L" ", 0, 0},
                                         SNumber{L" -4294967296", 4294967295, 4294967295}));

INSTANTIATE_TEST_SUITE_P(Suffixed, CQOptionParserNumberTest,
                         testing::Values(SNumber{L"10k", 10240, 10}, SNumber{L"2M", 2097152, 2}, SNumber{L"2K", 2, 2},
                                         SNumber{L"2m", 2, 2}, SNumber{L"10kB", 10, 10}, SNumber{L"1Mk", 1, 1},
                                         SNumber{L"1kk", 1, 1}, SNumber{L"5x", 5, 5}, SNumber{L"k", 0, 0},
                                         SNumber{L"M", 0, 0}, SNumber{L"+5k", 5120, 5}, SNumber{L"1.5M", 1, 1},
                                         SNumber{L"0x10", 0, 0}, SNumber{L"1\u014D", 1, 1}));

INSTANTIATE_TEST_SUITE_P(Shifted, CQOptionParserNumberTest,
                         testing::Values(SNumber{L"4095M", 4293918720, 4095}, SNumber{L"4096M", 0, 4096},
                                         SNumber{L"4097M", 1048576, 4097}, SNumber{L"4194303k", 4294966272, 4194303},
                                         SNumber{L"4194304k", 0, 4194304}, SNumber{L"-1k", 4294966272, 4294967295},
                                         SNumber{L"4294967296M", 4293918720, 4294967295}));

TEST(CQOptionParserNumbersTest, LaterSizeAndCountWin)
{
    CQOptionParser parser;

    parser.ParseOptions(L"S5;N6;S7k;N8");

    EXPECT_EQ(parser.GetLogFileSize(), 7168u);
    EXPECT_EQ(parser.GetMaxCountLogFiles(), 8u);
}

TEST(CQOptionParserNumbersTest, LaterOptionWithoutANumberGivesZero)
{
    CQOptionParser parser;

    parser.ParseOptions(L"S5;N6;S;N");

    EXPECT_EQ(parser.GetLogFileSize(), 0u);
    EXPECT_EQ(parser.GetMaxCountLogFiles(), 0u);
}

} // namespace
