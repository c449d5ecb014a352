#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

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
        "quarn-log show", {"show --nonsense image", "show one two", "show --level high image", "show --level 4x image",
                           "show --level 99999999999 image", "show --category x image", "show --category",
                           "show --level trace image", "show --since noon image", "show --since 2024-02-30 image",
                           "show --until 2024-05-17T24:00 image", "show --color=blue image", "show --output xml image",
                           "show --json --output text image", "show --interval 1 image"})));
INSTANTIATE_TEST_SUITE_P(Follow, UsageTest,
                         testing::ValuesIn(WrongUsesOf("quarn-log follow",
                                                       {"follow -", "follow --interval -1 image",
                                                        "follow --interval x image", "follow --all image"})));
INSTANTIATE_TEST_SUITE_P(Info, UsageTest,
                         testing::ValuesIn(WrongUsesOf("quarn-log info",
                                                       {"info --level 1 image", "info --output xml image"})));
INSTANTIATE_TEST_SUITE_P(Explain, UsageTest,
                         testing::ValuesIn(WrongUsesOf("quarn-log explain", {"explain", "explain --output xml l5",
                                                                             "explain --json --output json l5"})));

TEST(ExitCodeTest, MissingFileCannotBeRead)
{
    const SFinishedProcess run = RunTool("show /nonexistent/image");

    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors, "quarn-log show: /nonexistent/image: No such file or directory\n");
}

TEST(ExitCodeTest, LevelsAndTimesThatAreTakenAreNamedInTheRefusal)
{
    EXPECT_EQ(
        RunTool("show --level trace image").errors,
        "quarn-log show: --level: not a level: trace; it takes debug, info, warning, error or their beginnings, a "
        "digit from 1 (error) to 5 (debug), or a level's number\nRun with --help for more information.\n");
    EXPECT_EQ(RunTool("show --since noon image").errors,
              "quarn-log show: --since: not a time: noon; it takes -1h30m (w, d, h, m, s ago), 20:51[:07[.5]] (today), "
              "now, today or yesterday [20:51], 2026-11-20[ 20:51[:07[.5]]][Z or +01:00], @1795182309[.5]\n"
              "Run with --help for more information.\n");
}

TEST(ExitCodeTest, ImageIsTheDeviceIfNoneIsNamed)
{
    for (const char* subcommand : {"show", "follow", "info"}) {
        EXPECT_THAT(RunTool(std::string(subcommand) + " --help").output, testing::HasSubstr("=/dev/qiomemmap"));
    }
    if (access("/dev/qiomemmap", F_OK) != 0) {
        EXPECT_EQ(RunTool("show").errors, "quarn-log show: /dev/qiomemmap: No such file or directory\n");
    }
}

/// A compressed image by its first bytes, and the program that reads it.
struct SCompressed
{
    std::string bytes;
    const char* program;
};

class CompressedTest : public testing::TestWithParam<SCompressed>
{
};

TEST_P(CompressedTest, ThePipeToUseIsNamed)
{
    const TempDir dir;
    dir.Write("the core", GetParam().bytes + "whatever follows");
    const std::string name = dir.File("the core");
    const std::string pipe = GetParam().program + (" -dc '" + name + "' | quarn-log ");

    for (const char* subcommand : {"show", "info", "follow"}) {
        const SFinishedProcess run = RunTool(std::string(subcommand) + " " + Quoted(name));
        EXPECT_EQ(run.exitCode, 3);
        EXPECT_EQ(run.errors, std::string("quarn-log ") + subcommand + ": " + name + ": is compressed, read it with: " +
                                  pipe + (subcommand == std::string("info") ? "info -\n" : "show -\n"));
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, CompressedTest,
                         testing::Values(SCompressed{"\x28\xB5\x2F\xFD", "zstd"},
                                         SCompressed{std::string("\xFD\x37zXZ\0", 6), "xz"},
                                         SCompressed{"\x1F\x8B\x08", "gzip"}, SCompressed{"\x04\x22\x4D\x18", "lz4"}));

TEST(ExitCodeTest, CompressedImageIsReadThroughThePipeThatIsNamed)
{
    Image image;
    image.Write(L"a text");
    const TempDir dir;
    dir.Write("core", image.Bytes());
    RunCommand(Inside(dir) + "gzip core");
    const std::string refusal = RunTool("show " + Quoted(dir.File("core.gz"))).errors;

    const std::string pipe = refusal.substr(refusal.find("gzip -dc"));
    const std::size_t program = pipe.find("quarn-log");
    const SFinishedProcess run = RunCommand("export TZ=UTC; " + pipe.substr(0, program) + Quoted(QUARN_LOG) +
                                            pipe.substr(program + std::string("quarn-log").size()));

    EXPECT_EQ(run.output, InfoLine("a text"));
    EXPECT_EQ(RunCommand(Quoted(QUARN_LOG) + " show - <" + Quoted(dir.File("core.gz"))).errors,
              "quarn-log show: -: is compressed, read it with: gzip -dc | quarn-log show -\n");
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

TEST(ExitCodeTest, HelpThatIsNotTakenIsTold)
{
    for (const char* arguments : {"--help", "--version", "explain --help"}) {
        const SFinishedProcess run = RunTool(std::string(arguments) + " >/dev/full");

        EXPECT_EQ(run.exitCode, 4) << arguments;
        EXPECT_THAT(run.errors, testing::EndsWith(": standard output did not take everything\n")) << arguments;
    }
}

} // namespace
