#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "PlatformDoubles.h"
#include "TempDir.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <time.h>

#include <cstdlib>
#include <string>
#include <utility>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

/// What the console gets for one guarded log call.
std::string Printed(int level, int category, const wchar_t* text)
{
    testing::internal::CaptureStdout();
    if (MustLog(category, level)) {
        LogHelperFunc(level, category, "app.cpp", 3, L"%ls", text);
    }
    return testing::internal::GetCapturedStdout();
}

class SetLogOptionsTest : public testing::Test
{
protected:
    SetLogOptionsTest()
    {
        setenv("TZ", "UTC", 1);
        tzset();
        m_Clock.SetRealTime(1715953509); // 2024-05-17 13:45:09
        ResetBuiltInLogger();
    }
    ~SetLogOptionsTest() override { ResetBuiltInLogger(); }

    /// Lowest of the four named levels that passes in a category; 9999 if none does.
    static int Threshold(int category)
    {
        for (const int level : {1000, 2000, 3000, 4000}) {
            if (!Printed(level, category, L"probe").empty()) {
                return level;
            }
        }
        return 9999;
    }

    FakeClock m_Clock;
    TempDir m_Dir;
};

constexpr const char* PLAIN_LINE = R"(app\.cpp:3: error: m=5 t=[0-9.]+-[0-9:]+\.[0-9]{3} tid=0x[0-9a-f]+: text
)";
constexpr const char* COLOURED_LINE =
    "\x1b\\[31mapp\\.cpp:3: error: m=5 t=[0-9.]+-[0-9:]+\\.[0-9]{3} tid=0x[0-9a-f]+: text\x1b\\[0m\n";

TEST_F(SetLogOptionsTest, BeforeTheFirstCallNothingIsPrinted) { EXPECT_EQ(Printed(4000, 5, L"text"), ""); }

TEST_F(SetLogOptionsTest, DefaultLevelAndColour)
{
    SetLogOptions(L"l5;c");

    EXPECT_EQ(Threshold(5), 1000);
    EXPECT_EQ(Threshold(999), 1000);
    EXPECT_EQ(Threshold(-7), 1000);
    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(COLOURED_LINE));
}

TEST_F(SetLogOptionsTest, LevelNoneSilencesAndSwitchesColourOff)
{
    SetLogOptions(L"l5;c");

    SetLogOptions(L"l0");

    EXPECT_EQ(Printed(4000, 5, L"text"), "");
    EXPECT_THAT(Printed(9999, 5, L"text"), StartsWith("app.cpp:3: ?: m=5 ")) << "9999 itself passes, uncoloured";
}

TEST_F(SetLogOptionsTest, EmptyStringSilencesAndSwitchesColourOff)
{
    SetLogOptions(L"l5;c");

    SetLogOptions(L"");

    EXPECT_EQ(Printed(4000, 5, L"text"), "");
    EXPECT_FALSE(g_BuiltInLogger.m_UseColor);
}

TEST_F(SetLogOptionsTest, TwoDigitsAreNoShortcut)
{
    SetLogOptions(L"55");

    EXPECT_EQ(Threshold(5), 9999);
}

TEST_F(SetLogOptionsTest, CategoryLevelsComeBehindTheDefault)
{
    SetLogOptions(L"ldebug;o7E12w");

    EXPECT_EQ(Threshold(7), 4000);
    EXPECT_EQ(Threshold(12), 3000);
    EXPECT_EQ(Threshold(13), 1000);
}

TEST_F(SetLogOptionsTest, DefaultLevelBehindTheCategoriesInTheStringComesFirstAllTheSame)
{
    SetLogOptions(L"o-2W;ldebug");

    EXPECT_EQ(Threshold(5), 3000) << "the category -2 is the default, and stands behind the one of \"l\"";
}

TEST_F(SetLogOptionsTest, CategoriesOutsideTheTableHaveLevelsToo)
{
    SetLogOptions(L"li;o1000E-5D");

    EXPECT_EQ(Threshold(1000), 4000);
    EXPECT_EQ(Threshold(-5), 1000);
    EXPECT_EQ(Threshold(1001), 2000);
}

TEST_F(SetLogOptionsTest, LaterStringKeepsCategoriesThatItDoesNotName)
{
    SetLogOptions(L"li;o7E8E");

    SetLogOptions(L"lw;o8D");

    EXPECT_EQ(Threshold(7), 4000);
    EXPECT_EQ(Threshold(8), 1000);
    EXPECT_EQ(Threshold(9), 3000);
}

TEST_F(SetLogOptionsTest, CategoryMinusOneForgetsCategoriesOfEarlierStrings)
{
    SetLogOptions(L"li;o7E8E");

    SetLogOptions(L"o-1W8D");

    EXPECT_EQ(Threshold(7), 3000);
    EXPECT_EQ(Threshold(8), 1000);
}

TEST_F(SetLogOptionsTest, SecondCallModifiesTheOneRegistration)
{
    SetLogOptions(L"l1");

    SetLogOptions(L"l5");

    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(PLAIN_LINE)) << "one line, not two";
    EXPECT_TRUE(g_LoggerRegistered);
}

TEST_F(SetLogOptionsTest, ShortcutRegistersToo)
{
    SetLogOptions(L"3");

    EXPECT_TRUE(g_LoggerRegistered);
    EXPECT_EQ(Threshold(5), 2000);
}

TEST_F(SetLogOptionsTest, FullStringAfterAShortcutModifiesTheOneRegistration)
{
    SetLogOptions(L"3");

    SetLogOptions(L"l5");

    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(PLAIN_LINE));
}

TEST_F(SetLogOptionsTest, FlagStaysWhenTheLoggerIsUnregisteredByHand)
{
    SetLogOptions(L"l5");
    UnRegisterLogger(&g_BuiltInLogger);

    SetLogOptions(L"l5");

    EXPECT_EQ(Printed(4000, 5, L"text"), "") << "modifies a registration that is gone";
}

TEST_F(SetLogOptionsTest, ShortcutDigitsHaveTheirOwnMapping)
{
    const std::pair<const wchar_t*, int> expected[] = {{L"0", 9999}, {L"1", 4000}, {L"2", 3000}, {L"3", 2000},
                                                       {L"4", 1000}, {L"5", 1000}, {L"6", 1000}, {L"7", 1000},
                                                       {L"8", 1000}, {L"9", 1000}};

    for (const auto& [options, level] : expected) {
        SetLogOptions(options);
        EXPECT_EQ(Threshold(5), level) << options;
    }
}

TEST_F(SetLogOptionsTest, ShortcutWithoutADigitSilences)
{
    for (const wchar_t* const options : {L"x", L"d", L"E", L";", L" ", L"-", L"+", L"l", L"c", L"\t", L"\u00B2"}) {
        SetLogOptions(L"5");
        SetLogOptions(options);
        EXPECT_EQ(Threshold(5), 9999) << options;
    }
}

TEST_F(SetLogOptionsTest, ShortcutLooksAtTheLowByteOnly)
{
    SetLogOptions(L"\u0133"); // ends in the byte of "3"
    const int threshold = Threshold(5);
    SetLogOptions(L"\U0001F431"); // ends in the byte of "1"

    EXPECT_EQ(threshold, 2000);
    EXPECT_EQ(Threshold(5), 4000);
}

TEST_F(SetLogOptionsTest, ShortcutWithALowByteOfZeroSilences)
{
    SetLogOptions(L"5");

    SetLogOptions(L"\u0100");

    EXPECT_EQ(Threshold(5), 9999);
}

TEST_F(SetLogOptionsTest, ShortcutForgetsTheLevelsOfCategories)
{
    SetLogOptions(L"li;o7E1000E");

    SetLogOptions(L"4");

    EXPECT_EQ(Threshold(7), 1000);
    EXPECT_EQ(Threshold(1000), 1000);
}

TEST_F(SetLogOptionsTest, ShortcutLeavesColourOn)
{
    SetLogOptions(L"l1;c");

    SetLogOptions(L"5");

    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(COLOURED_LINE));
}

TEST_F(SetLogOptionsTest, ShortcutLeavesColourOff)
{
    SetLogOptions(L"l1");

    SetLogOptions(L"5");

    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(PLAIN_LINE));
}

TEST_F(SetLogOptionsTest, FileTakesTheLinesInsteadOfTheConsole)
{
    SetLogOptions((L"l5;L" + m_Dir.Wide("app-%T.txt")).c_str());

    EXPECT_EQ(Printed(4000, 5, L"text"), "");
    EXPECT_THAT(m_Dir.Read("app.txt"), MatchesRegex(PLAIN_LINE));
    EXPECT_THAT(m_Dir.Names(), ElementsAre("app.txt"));
}

TEST_F(SetLogOptionsTest, FileIsColouredToo)
{
    SetLogOptions((L"c;l5;L" + m_Dir.Wide("app-%T.txt")).c_str());

    Printed(4000, 5, L"text");

    EXPECT_THAT(m_Dir.Read("app.txt"), MatchesRegex(COLOURED_LINE));
}

TEST_F(SetLogOptionsTest, PiecesOfAFileNameAreJoined)
{
    SetLogOptions((L"L" + m_Dir.Wide("a") + L";lE;Lpp.txt").c_str());

    Printed(4000, 5, L"text");

    EXPECT_THAT(m_Dir.Names(), ElementsAre("app.txt"));
}

TEST_F(SetLogOptionsTest, ShortcutLeavesTheFileOpen)
{
    SetLogOptions((L"l1;L" + m_Dir.Wide("app-%T.txt")).c_str());
    Printed(4000, 5, L"first");

    SetLogOptions(L"5");

    EXPECT_EQ(Printed(4000, 5, L"second"), "");
    EXPECT_THAT(m_Dir.Names(), ElementsAre("app.txt"));
    EXPECT_THAT(m_Dir.Read("app.txt"), HasSubstr(": first\n"));
    EXPECT_THAT(m_Dir.Read("app.txt"), HasSubstr(": second\n"));
}

TEST_F(SetLogOptionsTest, FullStringThatChangesALevelOnlyCostsAnOldFileAndTheRestOfTheSecond)
{
    const std::wstring file = L";N2;L" + m_Dir.Wide("app-%T.txt");
    SetLogOptions((L"l1" + file).c_str());
    Printed(4000, 5, L"the good one");

    for (const wchar_t* const level : {L"l2", L"l3", L"l4"}) {
        SetLogOptions((level + file).c_str());
    }

    EXPECT_EQ(m_Clock.SleptNanoseconds(), 2000000000);
    EXPECT_THAT(m_Dir.Names(), ElementsAre("app-20240517-134510.txt", "app-20240517-134511.txt", "app.txt"));
    EXPECT_EQ(m_Dir.Read("app-20240517-134510.txt"), "");
}

TEST_F(SetLogOptionsTest, FullStringWithoutAFileGoesBackToTheConsole)
{
    SetLogOptions((L"l1;L" + m_Dir.Wide("app-%T.txt")).c_str());

    SetLogOptions(L"l5");

    EXPECT_THAT(Printed(4000, 5, L"text"), MatchesRegex(PLAIN_LINE));
    EXPECT_THAT(m_Dir.Names(), ElementsAre("app-20240517-134509.txt"));
}

TEST_F(SetLogOptionsTest, SizeLimitStartsANewFile)
{
    SetLogOptions((L"l5;S10;N5;L" + m_Dir.Wide("app-%T.txt")).c_str());

    Printed(4000, 5, L"text");

    EXPECT_EQ(m_Dir.Read("app.txt"), "");
    EXPECT_THAT(m_Dir.Read("app-20240517-134509.txt"), MatchesRegex(PLAIN_LINE));
    EXPECT_EQ(m_Dir.Names().size(), 2u);
}

TEST_F(SetLogOptionsTest, WithoutASizeTheFileHasNoLimit)
{
    SetLogOptions((L"l5;N5;L" + m_Dir.Wide("app-%T.txt")).c_str());

    for (int i = 0; i < 200; ++i) {
        Printed(4000, 5, L"text");
    }

    EXPECT_THAT(m_Dir.Names(), ElementsAre("app.txt"));
}

TEST_F(SetLogOptionsTest, NumberOfFilesBoundsTheOldOnes)
{
    for (const char* const old : {"app-20200101-000001.txt", "app-20200101-000002.txt", "app-20200101-000003.txt"}) {
        m_Dir.Write(old, "old");
    }

    SetLogOptions((L"l5;S10;N2;L" + m_Dir.Wide("app-%T.txt")).c_str());
    Printed(4000, 5, L"text");

    EXPECT_THAT(m_Dir.Names(), ElementsAre("app-20200101-000003.txt", "app-20240517-134509.txt", "app.txt"));
}

} // namespace
