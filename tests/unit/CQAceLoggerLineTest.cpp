#include "AceLoggerTest.h"
#include "ConsoleFile.h"

#include <climits>
#include <clocale>
#include <string>
#include <utility>

namespace Quarn::Logging {

class IQErrorHandler
{
};

} // namespace Quarn::Logging

using namespace QuarnTest;

namespace {

/// Lines on the console, as bytes.
class CQAceLoggerLineTest : public AceLoggerTest
{
protected:
    ~CQAceLoggerLineTest() override { std::setlocale(LC_ALL, "C"); }

    std::string Print(int level, int category, unsigned int threadId, const char* file, int line, const wchar_t* text)
    {
        testing::internal::CaptureStdout();
        Logger().Log(level, category, 0.0, threadId, file, line, text);
        return testing::internal::GetCapturedStdout();
    }
    std::string PrintText(const std::wstring& text) { return Print(2000, 5, 0x1a, "a.cpp", 7, text.c_str()); }
    std::string PrintDropped(unsigned int count)
    {
        testing::internal::CaptureStdout();
        Logger().MessagesDropped(count);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(CQAceLoggerLineTest, MessageBecomesOneLine)
{
    g_StartTime = 1715953509.125;

    EXPECT_EQ(Print(3000, 12, 0x1a2b, "motion/axis", 118, L"axis 2 slow"),
              "motion/axis:118: warning: m=12 t=2024.05.17-13:45:09.125 tid=0x1a2b: axis 2 slow\n");
}

TEST_F(CQAceLoggerLineTest, FourExactLevelsHaveNames)
{
    const std::pair<int, const char*> names[] = {{1000, "debug"}, {2000, "info"}, {3000, "warning"}, {4000, "error"}};
    for (const auto& [level, name] : names) {
        EXPECT_EQ(Print(level, 1, 1, "f", 2, L"x"),
                  "f:2: " + std::string(name) + ": m=1 t=2024.05.17-13:45:09.000 tid=0x1: x\n");
    }
}

TEST_F(CQAceLoggerLineTest, AnyOtherLevelIsAQuestionMark)
{
    for (const int level : {999, 1001, 9999, 0, -1000, INT_MIN, INT_MAX}) {
        EXPECT_EQ(Print(level, 1, 1, "f", 2, L"x"), "f:2: ?: m=1 t=2024.05.17-13:45:09.000 tid=0x1: x\n") << level;
    }
}

TEST_F(CQAceLoggerLineTest, LinesHaveNoColourAtFirst)
{
    for (const int level : {1000, 2000, 3000, 4000, 9999}) {
        EXPECT_EQ(Print(level, 1, 1, "f", 2, L"x").find('\x1b'), std::string::npos) << level;
    }
}

TEST_F(CQAceLoggerLineTest, EachLevelHasItsColour)
{
    Logger().m_UseColor = true;
    const std::string stamp = ": m=1 t=2024.05.17-13:45:09.000 tid=0x1: x\x1b[0m\n";

    EXPECT_EQ(Print(1000, 1, 1, "f", 2, L"x"), "\x1b[36mf:2: debug" + stamp);
    EXPECT_EQ(Print(2000, 1, 1, "f", 2, L"x"), "\x1b[32mf:2: info" + stamp);
    EXPECT_EQ(Print(3000, 1, 1, "f", 2, L"x"), "\x1b[33mf:2: warning" + stamp);
    EXPECT_EQ(Print(4000, 1, 1, "f", 2, L"x"), "\x1b[31mf:2: error" + stamp);
}

TEST_F(CQAceLoggerLineTest, UnknownLevelBeginsAndEndsWithReset)
{
    Logger().m_UseColor = true;

    EXPECT_EQ(Print(1001, 1, 1, "f", 2, L"x"), "\x1b[0mf:2: ?: m=1 t=2024.05.17-13:45:09.000 tid=0x1: x\x1b[0m\n");
}

TEST_F(CQAceLoggerLineTest, ColourCanBeSwitchedOffAgain)
{
    Logger().m_UseColor = true;
    PrintText(L"red");
    Logger().m_UseColor = false;

    EXPECT_EQ(PrintText(L"plain"), Line("plain"));
}

TEST_F(CQAceLoggerLineTest, CategoryAndLineAreSigned)
{
    EXPECT_EQ(Print(2000, -2147483647 - 1, 1, "f", -9, L"x"),
              "f:-9: info: m=-2147483648 t=2024.05.17-13:45:09.000 tid=0x1: x\n");
}

TEST_F(CQAceLoggerLineTest, ThreadIdIsLowerCaseHexadecimalWithoutLeadingZeros)
{
    EXPECT_EQ(Print(2000, 5, 0xFEDCBA98, "f", 2, L"x"), "f:2: info: m=5 t=2024.05.17-13:45:09.000 tid=0xfedcba98: x\n");
    EXPECT_EQ(Print(2000, 5, 0, "f", 2, L"x"), "f:2: info: m=5 t=2024.05.17-13:45:09.000 tid=0x0: x\n");
}

TEST_F(CQAceLoggerLineTest, EmptyTextsLeaveThePunctuation)
{
    EXPECT_EQ(Print(2000, 5, 1, "", 2, L""), ":2: info: m=5 t=2024.05.17-13:45:09.000 tid=0x1: \n");
}

TEST_F(CQAceLoggerLineTest, PercentSignsAreText)
{
    EXPECT_EQ(Print(2000, 5, 1, "%s%n", 2, L"100%s %n %ls"),
              "%s%n:2: info: m=5 t=2024.05.17-13:45:09.000 tid=0x1: 100%s %n %ls\n");
}

TEST_F(CQAceLoggerLineTest, LineFeedsInsideTheTextStay) { EXPECT_EQ(PrintText(L"one\ntwo\n"), HEAD + "one\ntwo\n\n"); }

TEST_F(CQAceLoggerLineTest, LineOfTheWholeBufferKeepsItsEnd)
{
    EXPECT_EQ(PrintText(TextForLineOf(1999)), HEAD + std::string(1943, 'x') + "\n");
}

TEST_F(CQAceLoggerLineTest, LineThatIsOneCharacterTooLongLosesItsEnd)
{
    EXPECT_EQ(PrintText(TextForLineOf(2000)), HEAD + std::string(1944, 'x'));
}

TEST_F(CQAceLoggerLineTest, LongTextIsCutToTheLongestLine)
{
    const std::string line = PrintText(std::wstring(3000, L'x'));

    EXPECT_EQ(line.size(), 1999U);
    EXPECT_EQ(line, HEAD + std::string(1944, 'x'));
}

TEST_F(CQAceLoggerLineTest, LongSourceFileIsCutToo)
{
    EXPECT_EQ(Print(2000, 5, 1, std::string(3000, 'f').c_str(), 2, L"x"), std::string(1999, 'f'));
}

TEST_F(CQAceLoggerLineTest, CutLineLosesTheEndOfItsColour)
{
    Logger().m_UseColor = true;

    EXPECT_EQ(PrintText(std::wstring(3000, L'x')), "\x1b[32m" + HEAD + std::string(1939, 'x'));
}

TEST_F(CQAceLoggerLineTest, LineAfterACutOneFollowsOnTheSameRow)
{
    testing::internal::CaptureStdout();
    Write(std::wstring(3000, L'x'));
    Write(L"next");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), HEAD + std::string(1944, 'x') + Line("next"));
}

TEST_F(CQAceLoggerLineTest, TextGoesOutInTheEncodingOfTheLocale)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);

    EXPECT_EQ(Print(2000, 5, 1, "\xC3\xA9.cpp", 2, L"\u00e9\u20ac\U0001F600"),
              "\xC3\xA9.cpp:2: info: m=5 t=2024.05.17-13:45:09.000 tid=0x1: \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n");
}

TEST_F(CQAceLoggerLineTest, TextOutsideTheLocaleDoesNotHoldUpTheNextLine)
{
    PrintText(L"caf\u00e9");

    EXPECT_EQ(PrintText(L"cafe"), Line("cafe"));
}

TEST_F(CQAceLoggerLineTest, TextOutsideTheLocaleInTheFirst256BytesLosesItsLineAndNoOther)
{
    testing::internal::CaptureStdout();
    Write(L"before");
    Write(std::wstring(200, L'x') + L"\u00e9"); // byte 256 of the line
    Write(L"after");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), Line("before") + Line("after"));
}

TEST_F(CQAceLoggerLineTest, TextOutsideTheLocaleFurtherBackLeaves256BytesAndNoLineEnd)
{
    testing::internal::CaptureStdout();
    Write(std::wstring(201, L'x') + L"\u00e9");
    Write(L"after");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), HEAD + std::string(201, 'x') + Line("after"));
}

TEST_F(CQAceLoggerLineTest, TextOutsideTheLocaleLeavesEvery256BytesBeforeIt)
{
    testing::internal::CaptureStdout();
    Write(std::wstring(900, L'x') + L"\u00e9"); // in bytes 768 to 1023
    Write(L"after");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), HEAD + std::string(713, 'x') + Line("after"));
}

TEST_F(CQAceLoggerLineTest, SourceFileOutsideTheLocaleLeavesEvery64CharactersAndNoLineEnd)
{
    testing::internal::CaptureStdout();
    Logger().m_UseColor = true;
    Logger().Log(2000, 5, 0.0, 1, "short\xFF.cpp", 7, L"text");
    Logger().Log(2000, 5, 0.0, 1, (std::string(150, 'f') + "\xFF.cpp").c_str(), 7, L"text");
    Logger().m_UseColor = false;
    Write(L"after");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\x1b[32m\x1b[32m" + std::string(128, 'f') + Line("after"));
}

TEST_F(CQAceLoggerLineTest, LineIsFlushedWhenLogReturns)
{
    const ConsoleFile console(m_Dir.File("console"));

    Write(L"now");

    EXPECT_EQ(console.Read(), Line("now"));
}

TEST_F(CQAceLoggerLineTest, DroppedMessagesAreReportedWithTheirNumber)
{
    EXPECT_EQ(PrintDropped(3), "3 Messages dropped (internal queue full)\n");
}

TEST_F(CQAceLoggerLineTest, DroppedCountIsPrintedAsSigned)
{
    EXPECT_EQ(PrintDropped(4294967295U), "-1 Messages dropped (internal queue full)\n");
}

TEST_F(CQAceLoggerLineTest, DroppedNoticeHasNoColour)
{
    Logger().m_UseColor = true;

    EXPECT_EQ(PrintDropped(0), "0 Messages dropped (internal queue full)\n");
}

TEST_F(CQAceLoggerLineTest, DroppedNoticeIsFlushedOnTheConsole)
{
    const ConsoleFile console(m_Dir.File("console"));

    Logger().MessagesDropped(2);

    EXPECT_EQ(console.Read(), "2 Messages dropped (internal queue full)\n");
}

TEST_F(CQAceLoggerLineTest, DroppedNoticeStaysInTheBufferOfTheConsoleWhileAFileIsTheOutput)
{
    Logger().SetOutputStream(L"app-%T.txt", 0, 1);
    const ConsoleFile console(m_Dir.File("console"));

    Logger().MessagesDropped(3);

    EXPECT_EQ(console.Read(), "");
    std::fflush(stdout);
    EXPECT_EQ(console.Read(), "3 Messages dropped (internal queue full)\n");
    EXPECT_EQ(m_Dir.Read("app.txt"), "");
}

TEST_F(CQAceLoggerLineTest, ErrorHandlerChangesNothing)
{
    Quarn::Logging::IQErrorHandler handler;

    Logger().SetErrorHandler(&handler);
    EXPECT_EQ(PrintText(L"x"), Line("x"));
    Logger().SetErrorHandler(nullptr);
    EXPECT_EQ(PrintText(L"x"), Line("x"));
}

} // namespace
