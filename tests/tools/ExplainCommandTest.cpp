#include "CompiledLocale.h"
#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace QuarnTest;

namespace {

TEST(ExplainCommandTest, CorrectStringIsExplainedAndNotWarnedOf)
{
    const SFinishedProcess run = RunTool("explain 'l5;c'");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "l5                by default, everything from debug (1000) on\n"
                          "c                 lines are coloured, in files too\n"
                          "\n"
                          "default level     everything from debug (1000) on\n"
                          "other categories  the level that an earlier string gave them, else the default level\n"
                          "colour            on\n"
                          "output            console\n");
    EXPECT_EQ(run.errors, "");
}

TEST(ExplainCommandTest, WarningsStandWithWhatTheyAreAbout)
{
    const SFinishedProcess run = RunTool("explain 'linfo;o7:D'");

    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.output,
                testing::StartsWith(
                    "linfo             by default, everything from info (2000) on\n"
                    "o7:D              levels of single categories\n"
                    "  warning: numbers and single letters stand in turn, with nothing between them; write o7D\n"
                    "  7:              category 7: nothing (9999)\n"
                    "    warning: \":\" is no level: nothing of category 7 is logged\n"
                    "  D               category 0: everything from debug (1000) on\n"
                    "    warning: there is no number in front of \"D\": it counts for category 0\n\n"));
}

TEST(ExplainCommandTest, RateIsAnOption)
{
    EXPECT_EQ(RunTool("explain 'linfo;Llog/a-%T;S10k'").exitCode, 0);
    EXPECT_EQ(RunTool("explain --rate 20000 'linfo;Llog/a-%T;S10k'").exitCode, 5);
}

TEST(ExplainCommandTest, JsonHasSettingsOptionsAndResult)
{
    EXPECT_EQ(
        RunTool("explain --output json 'o7D;S1k'").output,
        R"j({"string":"o7D;S1k","shortcut":false,"levels":[{"category":-2,"level":9999},{"category":7,"level":1000}],)j"
        R"j("color":false,"file":"","size":1024,"count":0,"options":[{"position":0,"text":"o7D",)j"
        R"j("meaning":"levels of single categories","warnings":[],"parts":[{"position":1,"text":"7D",)j"
        R"j("meaning":"category 7: everything from debug (1000) on","warnings":[]}]},{"position":4,"text":"S1k",)j"
        R"j("meaning":"a file of 1024 bytes or more is put aside, and a new one begun",)j"
        R"j("warnings":["it has no effect without a file (L)"]}],"warnings":[],"result":{)j"
        R"j("default level":"nothing (9999)","category 7":"everything from debug (1000) on",)j"
        R"j("other categories":"the level that an earlier string gave them, else the default level",)j"
        R"j("colour":"off","output":"console"},"number_of_warnings":1})j"
        "\n");
}

TEST(ExplainCommandTest, JsonIsAnOptionToo)
{
    const SFinishedProcess run = RunTool("explain --json 1");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output,
              R"j({"string":"1","shortcut":true,"levels":[{"category":-1,"level":4000}],"color":false,"file":"",)j"
              R"j("size":0,"count":0,"options":[{"position":0,"text":"1",)j"
              R"j("meaning":"forgets the levels of all categories; for all, errors (4000)","warnings":[]}],)j"
              R"j("warnings":[],"result":{"default level":"errors (4000)",)j"
              R"j("other categories":"the default level, whatever earlier strings said","colour":"as before",)j"
              R"j("output":"as before"},"number_of_warnings":0})j"
              "\n");
}

TEST(ExplainCommandTest, ControlCharactersDoNotReachTheTerminal)
{
    const SFinishedProcess run = RunTool("explain \"$(printf 'linfo;\\033[2J')\"");

    EXPECT_THAT(run.output, testing::HasSubstr("\n<U+001B>[2J"));
    EXPECT_THAT(run.output, testing::Not(testing::HasSubstr("\033")));
}

TEST(ExplainCommandTest, StringIsTextInTheCharsetOfTheLocale)
{
    const std::string inC = RunTool("explain 'linfo;Llog/\u00FC-%T'", "LC_ALL=C").output;
    if (!CompiledLocale::HasSource("de_DE")) {
        GTEST_SKIP() << "no sources of locales here";
    }
    const CompiledLocale latin1("de_DE", "ISO-8859-1");
    ASSERT_TRUE(latin1.IsSet());

    EXPECT_THAT(inC, testing::HasSubstr("Llog/\u00FC-%T"));
    EXPECT_EQ(RunTool("explain \"$(printf 'linfo;Llog/\\374-%%T')\"", "LC_ALL=de_DE.ISO-8859-1").output, inC);
}

TEST(ExplainCommandTest, BytesThatAreNoTextAreRefused)
{
    const SFinishedProcess run = RunTool("explain \"$(printf 'l\\377')\"", "LC_ALL=C.UTF-8");

    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.errors, "quarn-log explain: the string is no text in the charset of the locale\n");
}

TEST(ExplainCommandTest, StringThatLooksLikeAnArgumentNeedsTwoDashes)
{
    EXPECT_EQ(RunTool("explain -c").exitCode, 2);
    EXPECT_THAT(RunTool("explain -- '-1D'").output, testing::HasSubstr("write o-1D"));
    EXPECT_THAT(RunTool("explain '[a,b]'").output, testing::StartsWith("[a,b]  "));
    EXPECT_THAT(RunTool("explain ''").output, testing::StartsWith("warning: the string is empty"));
}

TEST(ExplainCommandTest, OutputThatIsFullIsTold) { EXPECT_EQ(RunTool("explain l5 >/dev/full").exitCode, 4); }

} // namespace
