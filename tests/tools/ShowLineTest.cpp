#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

/// A record of each level, one second apart.
std::string LevelsImage()
{
    Image image;
    image.Write(1000, 1, 1.25, L"a debug");
    image.Write(2000, 2, 2.25, L"an info");
    image.Write(3000, -5, 3.25, L"a warning");
    image.Write(4000, 2, 4.25, L"an error");
    image.Write(4001, 1, 5.25, L"nameless");
    return image.Bytes();
}

constexpr const char* DEBUG_LINE = "axis.cpp:7: debug: m=1 t=2024.05.17-13:45:01.250 tid=0x1a2b: a debug\n";
constexpr const char* INFO_LINE = "axis.cpp:7: info: m=2 t=2024.05.17-13:45:02.250 tid=0x1a2b: an info\n";
constexpr const char* WARNING_LINE = "axis.cpp:7: warning: m=-5 t=2024.05.17-13:45:03.250 tid=0x1a2b: a warning\n";
constexpr const char* ERROR_LINE = "axis.cpp:7: error: m=2 t=2024.05.17-13:45:04.250 tid=0x1a2b: an error\n";
constexpr const char* NAMELESS_LINE = "axis.cpp:7: ?: m=1 t=2024.05.17-13:45:05.250 tid=0x1a2b: nameless\n";

TEST(ShowLineTest, PrintsTheBuiltInLoggersLines)
{
    const SFinishedProcess run = ShowBytes(LevelsImage());

    EXPECT_EQ(run.output, std::string(DEBUG_LINE) + INFO_LINE + WARNING_LINE + ERROR_LINE + NAMELESS_LINE);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.exitCode, 0);
}

TEST(ShowLineTest, TimesAreShownInTheUsersZone)
{
    Image image;
    image.Write(L"a text");

    const SFinishedProcess run = ShowBytes(image.Bytes(), "", "TZ=EST5");

    EXPECT_EQ(run.output, "axis.cpp:7: info: m=1 t=2024.05.17-08:45:09.000 tid=0x1a2b: a text\n");
}

// Also of a 32-bit library's records, whose own lines cannot show these dates.
TEST(ShowLineTest, RecordsOfTheFarFutureHaveTheirDates)
{
    Image image;
    image.m_pQueue->SetStartTime(2223374400.0); // 15 June 2040, noon
    image.Write(2000, 1, 0.25, L"in 2040");
    image.Write(2000, 1, 1884167999.5, L"in 2100");

    const SFinishedProcess run = ShowBytes(image.Bytes());
    const SFinishedProcess later = ShowBytes(image.Bytes(), "--since '2100-01-01 00:00'");

    const std::string lineOf2100 = "axis.cpp:7: info: m=1 t=2100.02.28-23:59:59.500 tid=0x1a2b: in 2100\n";
    EXPECT_EQ(run.output, "axis.cpp:7: info: m=1 t=2040.06.15-12:00:00.250 tid=0x1a2b: in 2040\n" + lineOf2100);
    EXPECT_EQ(later.output, lineOf2100);
}

TEST(ShowLineTest, ColorIsPutAroundTheLineOnRequest)
{
    Image image;
    image.Write(4000, 1, 9.0, L"red");

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--color=always");

    EXPECT_EQ(run.output, "\x1b[31maxis.cpp:7: error: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: red\x1b[0m\n");
}

TEST(ShowLineTest, ColorIsLeftOutWhereNoTerminalIs)
{
    EXPECT_THAT(ShowBytes(LevelsImage(), "--color=auto").output, testing::Not(testing::HasSubstr("\x1b")));
}

TEST(ShowLineTest, ColorIsShownOnATerminalUnlessForbidden)
{
    const TempDir dir;
    dir.Write("image", LevelsImage());
    const std::string command = Quoted(QUARN_LOG) + " show " + Quoted(dir.File("image"));

    const SFinishedProcess automatic = RunCommand("script -qec " + Quoted(command) + " /dev/null");
    const SFinishedProcess never = RunCommand("script -qec " + Quoted(command + " --color=never") + " /dev/null");

    EXPECT_THAT(automatic.output, testing::HasSubstr("\x1b[31maxis.cpp:7: error"));
    EXPECT_THAT(never.output, testing::HasSubstr("axis.cpp:7: error"));
    EXPECT_THAT(never.output, testing::Not(testing::HasSubstr("\x1b[31m")));
}

TEST(ShowLineTest, NoColorInTheEnvironmentIsHeeded)
{
    const TempDir dir;
    dir.Write("image", LevelsImage());
    const std::string command = Quoted(QUARN_LOG) + " show " + Quoted(dir.File("image"));
    const auto runWith = [](const std::string& environment, const std::string& line) {
        return RunCommand(environment + " script -qec " + Quoted(line) + " /dev/null").output;
    };

    EXPECT_THAT(runWith("NO_COLOR=1", command), testing::Not(testing::HasSubstr("\x1b[31m")));
    EXPECT_THAT(runWith("NO_COLOR=", command), testing::HasSubstr("\x1b[31m"));
    EXPECT_THAT(runWith("NO_COLOR=1", command + " --color=always"), testing::HasSubstr("\x1b[31m"));
}

TEST(ShowLineTest, ControlCharactersOfTheImageDoNotReachATerminal)
{
    Image image;
    image.Write(L"to the\tright \x1b]0;title\a");
    const TempDir dir;
    dir.Write("image", image.Bytes());

    const SFinishedProcess run = RunCommand(
        "script -qec " + Quoted(Quoted(QUARN_LOG) + " show --color=never " + Quoted(dir.File("image"))) + " /dev/null");

    EXPECT_THAT(run.output, testing::HasSubstr("to the\tright \xEF\xBF\xBD]0;title\xEF\xBF\xBD\r\n"));
}

TEST(ShowLineTest, LevelNumberIsAThreshold)
{
    EXPECT_EQ(ShowBytes(LevelsImage(), "--level 4000").output, std::string(ERROR_LINE) + NAMELESS_LINE);
}

TEST(ShowLineTest, LevelMayBeNamed)
{
    EXPECT_EQ(ShowBytes(LevelsImage(), "--level warning").output,
              std::string(WARNING_LINE) + ERROR_LINE + NAMELESS_LINE);
}

TEST(ShowLineTest, LevelMayBeALetterOfAnOptionsString)
{
    for (const char* level : {"w", "W", "warn", "WARNING", "2"}) {
        EXPECT_EQ(ShowBytes(LevelsImage(), std::string("--level ") + level).output,
                  std::string(WARNING_LINE) + ERROR_LINE + NAMELESS_LINE)
            << level;
    }
}

TEST(ShowLineTest, SpanMayBeAWordOfItsOwn)
{
    for (const char* option : {"--since -1h", "--since=-1h", "--until -1h --since -7000d", "--since @1715953505.25",
                               "--since yesterday", "--until=now"}) {
        const SFinishedProcess run = ShowBytes(LevelsImage(), option);
        EXPECT_EQ(run.exitCode, 0) << option << run.errors;
    }
    EXPECT_EQ(ShowBytes(LevelsImage(), "--since -1h").output, "");
    EXPECT_EQ(ShowBytes(LevelsImage(), "--since @1715953505.25").output, NAMELESS_LINE);
}

TEST(ShowLineTest, CategoriesAddUp)
{
    EXPECT_EQ(ShowBytes(LevelsImage(), "--category 2 --category -5").output,
              std::string(INFO_LINE) + WARNING_LINE + ERROR_LINE);
}

TEST(ShowLineTest, TimesOfTheLinesThemselvesAreWithinTheRange)
{
    const SFinishedProcess run =
        ShowBytes(LevelsImage(), "--since 2024.05.17-13:45:02.250 --until '2024-05-17 13:45:03.250'");

    EXPECT_EQ(run.output, std::string(INFO_LINE) + WARNING_LINE);
}

TEST(ShowLineTest, TimesMayBeSecondsSinceTheEpochOrHaveAZone)
{
    const SFinishedProcess run =
        ShowBytes(LevelsImage(), "--since 1715953503.5 --until 2024-05-17T15:45:04.999+02:00", "TZ=EST5");

    EXPECT_EQ(run.output, "axis.cpp:7: error: m=2 t=2024.05.17-08:45:04.250 tid=0x1a2b: an error\n");
}

TEST(ShowLineTest, TextIsUtf8InEveryLocale)
{
    Image image;
    image.m_pQueue->WriteMessage(2000, 1, 9.0, 0x1A2B, "\xC3\xA4xis.cpp", 7, L"\u00E4 \u20AC \U0001F600");
    const std::string line = "\xC3\xA4xis.cpp:7: info: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: "
                             "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80\n";

    EXPECT_EQ(ShowBytes(image.Bytes(), "", "LC_ALL=C").output, line);
    EXPECT_EQ(ShowBytes(image.Bytes(), "", "LC_ALL=C.UTF-8").output, line);
}

TEST(ShowLineTest, BytesThatAreNoTextAreReplaced)
{
    Image image;
    const wchar_t text[] = {static_cast<wchar_t>(0xD800), L'-', static_cast<wchar_t>(0x110000), L'\0'};
    image.m_pQueue->WriteMessage(2000, 1, 9.0, 0x1A2B, "a\xFFxis.cpp", 7, text);

    const SFinishedProcess run = ShowBytes(image.Bytes(), "", "LC_ALL=C");

    EXPECT_EQ(run.output, "a\xEF\xBF\xBDxis.cpp:7: info: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: "
                          "\xEF\xBF\xBD-\xEF\xBF\xBD\n");
}

TEST(ShowLineTest, LineThatIsCutStillEnds)
{
    Image image;
    image.Write(std::wstring(3000, L'x').c_str());
    image.Write(L"next");

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--color=always");

    // 1999 characters, of which 5 of the colour and 60 are in front of the text.
    EXPECT_THAT(run.output, testing::HasSubstr(": " + std::string(1934, 'x') + "\x1b[0m\n"));
    EXPECT_THAT(run.output, testing::EndsWith("next\x1b[0m\n"));
}

TEST(ShowLineTest, DroppedMessagesAreToldOnStandardError)
{
    Image image;
    image.Write(L"a text");
    image.m_Block.Set(QueueBlock::Dropped, 3);

    const SFinishedProcess run = ShowBytes(image.Bytes());

    EXPECT_EQ(run.output, InfoLine("a text"));
    EXPECT_THAT(run.errors, testing::EndsWith(": 3 messages were dropped, the queue was full\n"));
}

} // namespace
