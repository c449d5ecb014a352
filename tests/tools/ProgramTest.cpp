#include "FollowedTool.h"
#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QuarnTest;

namespace {

void ExpectInHelp(const std::string& command, const std::vector<std::string>& names)
{
    const SFinishedProcess run = RunCommand(command);

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    for (const std::string& name : names) {
        EXPECT_THAT(run.output, testing::HasSubstr(name));
    }
}

TEST(ProgramTest, HelpNamesEverySubcommand)
{
    ExpectInHelp(Quoted(QUARN_LOG) + " --help", {"show", "follow", "info", "explain", "completion"});
}

TEST(ProgramTest, HelpOfASubcommandNamesItsOptions)
{
    ExpectInHelp(Quoted(QUARN_LOG) + " show --help", {"quarn-log show", "--json", "--output", "--level", "--category",
                                                      "--since", "--until", "--all", "--color"});
    ExpectInHelp(Quoted(QUARN_LOG) + " follow --help", {"quarn-log follow", "--json", "--output", "--level",
                                                        "--category", "--since", "--until", "--interval", "--color"});
    ExpectInHelp(Quoted(QUARN_LOG) + " info --help", {"quarn-log info", "--json", "--output"});
}

TEST(ProgramTest, VersionIsPrinted)
{
    const SFinishedProcess run = RunTool("--version");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "quarn-log " QUARN_VERSION "\n");
}

TEST(ProgramTest, UnknownSubcommandIsNamed)
{
    EXPECT_EQ(RunTool("shew image").errors,
              "quarn-log: not a subcommand: shew\nRun with --help for more information.\n");
}

/// The name that the program had before it had subcommands.
class OldNameTest : public testing::Test
{
protected:
    OldNameTest()
    {
        m_Image.Write(L"a text");
        m_Dir.Write("image", m_Image.Bytes());
    }

    static SFinishedProcess RunOldName(const std::string& arguments)
    {
        return RunCommand("TZ=UTC " + Quoted(QUARN_LOGDUMP) + " " + arguments);
    }
    std::string ImageName() const { return Quoted(m_Dir.File("image")); }

    TempDir m_Dir;
    Image m_Image;
};

TEST_F(OldNameTest, LogIsPrintedWithoutASubcommand)
{
    EXPECT_EQ(RunOldName(ImageName()).output, InfoLine("a text"));
    EXPECT_EQ(RunOldName("--json " + ImageName()).output, RunTool("show --json " + ImageName()).output);
}

TEST_F(OldNameTest, InfoIsAnOption)
{
    EXPECT_EQ(RunOldName("--info " + ImageName()).output, RunTool("info " + ImageName()).output);
    EXPECT_EQ(RunOldName("--info --json --level 1 " + ImageName()).output,
              RunTool("info --json " + ImageName()).output);
}

TEST_F(OldNameTest, FollowIsAnOption)
{
    FollowedTool tool(QUARN_LOGDUMP, "--follow", m_Dir.File("image"), "3600");

    EXPECT_EQ(tool.ReadLine() + "\n", InfoLine("a text"));
    EXPECT_EQ(tool.Stop(SIGTERM), 0);
}

TEST_F(OldNameTest, ItsNameIsInFrontOfWhatItSays)
{
    EXPECT_EQ(RunOldName("/nonexistent/image").errors,
              "quarn-logdump: /nonexistent/image: No such file or directory\n");
    EXPECT_EQ(RunOldName("--version").output, "quarn-logdump " QUARN_VERSION "\n");
}

TEST_F(OldNameTest, PipeForACompressedImageIsNamedByTheNewName)
{
    m_Dir.Write("image.xz", std::string("\xFD\x37zXZ\0", 6) + "whatever follows");

    EXPECT_THAT(RunOldName(Quoted(m_Dir.File("image.xz"))).errors, testing::EndsWith("image.xz | quarn-log show -\n"));
}

TEST_F(OldNameTest, HelpHasTheOldOptionsAndNoOther)
{
    const std::string help = RunOldName("--help").output;

    EXPECT_THAT(help, testing::HasSubstr("Usage: quarn-logdump [OPTIONS] [image]\n"));
    for (const char* option : {"--json", "--level", "--category", "--since", "--until", "--all", "--info", "--follow",
                               "--interval", "--color", "--version"}) {
        EXPECT_THAT(help, testing::HasSubstr(option));
    }
    EXPECT_THAT(help, testing::Not(testing::HasSubstr("--output")));
}

TEST_F(OldNameTest, WrongCommandLinesAreRefused)
{
    for (const char* arguments : {"show image", "--follow --info image", "--follow -", "--output json image"}) {
        const SFinishedProcess run = RunOldName(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments;
        EXPECT_THAT(run.errors, testing::StartsWith("quarn-logdump: ")) << arguments;
    }
}

} // namespace
