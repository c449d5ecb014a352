#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QuarnTest;

namespace {

TEST(ExitCodeTest, EmptyQueueIsALogToo)
{
    const Image image;

    const SFinishedProcess run = ShowBytes(image.Bytes());

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
}

TEST(ExitCodeTest, FileWithoutAQueueIsToldFromAnEmptyLog)
{
    const SFinishedProcess run = ShowBytes("nothing of the kind");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::EndsWith("/image: no queue found\n"));
}

TEST(ExitCodeTest, EmptyFileHoldsNoQueue) { EXPECT_EQ(ShowBytes("").exitCode, 1); }

/// What is wrong, and the program's name that the complaint begins with.
struct SWrongUse
{
    const char* arguments;
    const char* program;
};

class UsageTest : public testing::TestWithParam<SWrongUse>
{
};

TEST_P(UsageTest, IsRefusedBeforeTheImageIsRead)
{
    const SFinishedProcess run = RunTool(GetParam().arguments);

    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::StartsWith(std::string(GetParam().program) + ": "));
}

INSTANTIATE_TEST_SUITE_P(Program, UsageTest,
                         testing::Values(SWrongUse{"", "quarn-log"}, SWrongUse{"image", "quarn-log"},
                                         SWrongUse{"--nonsense", "quarn-log"}));

std::vector<SWrongUse> WrongUsesOf(const char* program, std::initializer_list<const char*> commandLines)
{
    std::vector<SWrongUse> uses;
    for (const char* arguments : commandLines) {
        uses.push_back({arguments, program});
    }
    return uses;
}

INSTANTIATE_TEST_SUITE_P(
    Show, UsageTest,
    testing::ValuesIn(WrongUsesOf(
        "quarn-log show",
        {"show", "show --nonsense image", "show one two", "show --level high image", "show --level 4x image",
         "show --level 99999999999 image", "show --category x image", "show --category", "show --since now image",
         "show --since 2024-02-30 image", "show --until 2024-05-17T24:00 image", "show --color=blue image",
         "show --output xml image", "show --json --output text image", "show --interval 1 image"})));
INSTANTIATE_TEST_SUITE_P(Follow, UsageTest,
                         testing::ValuesIn(WrongUsesOf("quarn-log follow",
                                                       {"follow", "follow -", "follow --interval -1 image",
                                                        "follow --interval x image", "follow --all image"})));
INSTANTIATE_TEST_SUITE_P(Info, UsageTest,
                         testing::ValuesIn(WrongUsesOf("quarn-log info",
                                                       {"info", "info --level 1 image", "info --output xml image"})));

TEST(ExitCodeTest, MissingFileCannotBeRead)
{
    const SFinishedProcess run = RunTool("show /nonexistent/image");

    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors, "quarn-log show: /nonexistent/image: No such file or directory\n");
}

TEST(ExitCodeTest, FolderCannotBeRead)
{
    const TempDir dir;

    EXPECT_EQ(RunTool("show " + Quoted(dir.Path().string())).exitCode, 3);
}

TEST(ExitCodeTest, OutputThatIsFullIsTold)
{
    Image image;
    image.Write(L"a text");
    const TempDir dir;
    dir.Write("image", image.Bytes());

    const SFinishedProcess run = RunTool("show " + Quoted(dir.File("image")) + " >/dev/full");

    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.errors, testing::EndsWith(": standard output did not take everything\n"));
}

} // namespace
