#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

TEST(ExitCodeTest, EmptyQueueIsALogToo)
{
    const Image image;

    const SFinishedProcess run = DumpBytes(image.Bytes());

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
}

TEST(ExitCodeTest, FileWithoutAQueueIsToldFromAnEmptyLog)
{
    const SFinishedProcess run = DumpBytes("nothing of the kind");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::EndsWith("/image: no queue found\n"));
}

TEST(ExitCodeTest, EmptyFileHoldsNoQueue) { EXPECT_EQ(DumpBytes("").exitCode, 1); }

class UsageTest : public testing::TestWithParam<const char*>
{
};

TEST_P(UsageTest, IsRefusedBeforeTheImageIsRead)
{
    const SFinishedProcess run = RunTool(GetParam());

    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors, "");
}

INSTANTIATE_TEST_SUITE_P(WrongCommandLine, UsageTest,
                         testing::Values("", "--nonsense image", "one two", "--level high image", "--level 4x image",
                                         "--level 99999999999 image", "--category x image", "--category",
                                         "--since now image", "--since 2024-02-30 image",
                                         "--until 2024-05-17T24:00 image", "--color=blue image", "--interval -1 image",
                                         "--interval x image", "--follow --info image", "--follow -"));

TEST(ExitCodeTest, MissingFileCannotBeRead)
{
    const SFinishedProcess run = RunTool("/nonexistent/image");

    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors, "quarn-logdump: /nonexistent/image: No such file or directory\n");
}

TEST(ExitCodeTest, FolderCannotBeRead)
{
    const TempDir dir;

    EXPECT_EQ(RunTool(Quoted(dir.Path().string())).exitCode, 3);
}

TEST(ExitCodeTest, OutputThatIsFullIsTold)
{
    Image image;
    image.Write(L"a text");
    const TempDir dir;
    dir.Write("image", image.Bytes());

    const SFinishedProcess run = RunTool(Quoted(dir.File("image")) + " >/dev/full");

    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.errors, testing::EndsWith(": standard output did not take everything\n"));
}

TEST(ExitCodeTest, HelpNamesEveryOption)
{
    const SFinishedProcess run = RunTool("--help");

    EXPECT_EQ(run.exitCode, 0);
    for (const char* option : {"--json", "--level", "--category", "--since", "--until", "--all", "--info", "--follow",
                               "--interval", "--color", "--version"}) {
        EXPECT_THAT(run.output, testing::HasSubstr(option));
    }
}

TEST(ExitCodeTest, VersionIsPrinted)
{
    const SFinishedProcess run = RunTool("--version");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "quarn-logdump " QUARN_VERSION "\n");
}

} // namespace
