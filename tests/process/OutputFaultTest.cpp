#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

using namespace QuarnTest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Names = std::set<std::string>;

/// Programs whose outputs fail in earnest. Each command tells its exit status on standard error.
class OutputFaultTest : public testing::Test
{
protected:
    static std::string Program(const std::string& arguments) { return MEMORY_USER " " + arguments; }

    /// Runs a command in the folder of the test.
    SFinishedProcess Run(const std::string& command) const { return RunCommand(Inside(m_Dir) + command); }

    /// Runs a command whose descriptor 4 is a pipe without room and, from then on, without a reader.
    SFinishedProcess RunOnBrokenPipe(const std::string& command) const
    {
        return Run(
            "mkfifo pipe; exec 3<>pipe 4>pipe; dd if=/dev/zero of=pipe oflag=nonblock bs=4096 2>&1; exec 3>&-; " +
            command);
    }

    /// Runs a command on a file system of its own, mounted on "disk"; whether the system lets tests mount one.
    bool RunOnDisk(const std::string& size, const std::string& command, SFinishedProcess& run) const
    {
        std::filesystem::create_directory(m_Dir.Path() / "disk");
        m_Dir.Write("script",
                    "set -e; mount -t tmpfs -o size=" + size + " none disk; echo mounted; set +e\n" + command);
        run = Run("unshare --user --map-root-user --mount sh script");
        return run.output.find("mounted") == 0;
    }

    TempDir m_Dir;
};

TEST_F(OutputFaultTest, PipeWhoseReaderHasGoneEndsTheProgramBySigpipe)
{
    // A shell cannot take back that a signal is ignored, as services often have this one.
    const SFinishedProcess run = RunOnBrokenPipe(
        "env --default-signal=PIPE " + Program("options=ldebug error=text options=ldebug") + " >&4; echo ended $? >&2");

    EXPECT_THAT(run.errors, EndsWith("ended 141\n")) << "128 and the 13 of SIGPIPE";
}

TEST_F(OutputFaultTest, PipeWhoseReaderHasGoneOnlyCostsTheLinesWithSigpipeIgnored)
{
    const SFinishedProcess run =
        RunOnBrokenPipe("trap '' PIPE; " + Program("options=ldebug error=lost 'options=ldebug;Lapp.txt' error=kept") +
                        " >&4; echo ended $? >&2");

    EXPECT_THAT(run.errors, EndsWith("ended 0\n"));
    const Names names = m_Dir.Names();
    EXPECT_EQ(names.size(), 2U) << "the pipe and the log file, put aside";
    EXPECT_THAT(m_Dir.Read(*names.begin()), EndsWith(": kept\n"));
    EXPECT_THAT(m_Dir.Read(*names.begin()), Not(HasSubstr("lost")));
}

TEST_F(OutputFaultTest, ClosedStandardOutputCostsTheLinesOnly)
{
    const SFinishedProcess run =
        Run(Program("options=ldebug error=lost 'options=ldebug;c' error=lost") + " >&-; echo ended $? >&2");

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_EQ(run.output, "");
}

// The system hands out the lowest free descriptor, 1: what the process prints lands in the file from then on.
TEST_F(OutputFaultTest, LogFileTakesThePlaceOfAClosedStandardOutput)
{
    const SFinishedProcess run = Run(Program("'options=ldebug;Lapp.txt' error=kept") + " >&-; echo ended $? >&2");

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_THAT(m_Dir.Read(*m_Dir.Names().begin()), EndsWith(": kept\n"));
}

TEST_F(OutputFaultTest, ConsoleOnAFullDeviceCostsTheLinesOnly)
{
    const SFinishedProcess run = Run(Program("options=ldebug many=1000 'options=ldebug;Lapp.txt' error=kept") +
                                     " >/dev/full; echo ended $? >&2");

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_THAT(m_Dir.Read(*m_Dir.Names().begin()), EndsWith(": kept\n"));
}

TEST_F(OutputFaultTest, ConsoleWithoutABufferOnAFullDeviceCostsTheLinesOnly)
{
    const SFinishedProcess run =
        Run(Program("unbuffered= options=ldebug many=1000 'options=ldebug;Lapp.txt' error=kept") +
            " >/dev/full; echo ended $? >&2");

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_THAT(m_Dir.Read(*m_Dir.Names().begin()), EndsWith(": kept\n"));
}

TEST_F(OutputFaultTest, ClosedStandardErrorCostsTheReportOfAMappingThatFailsOnly)
{
    const SFinishedProcess run =
        Run("QUARN_MEMORY_FILE=/dev/null " + Program("options=ldebug error=kept") + " 2>&-; echo ended $?");

    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, StartsWith("Could not mmap 2097152 bytes for CQLogQueue in special reserved memory, using "
                                       "standard memory insteadmemory-user.cpp:7: error: "));
    EXPECT_THAT(run.output, EndsWith(": kept\nended 0\n"));
}

// Again the lowest free descriptor: the memory that cannot be mapped, here a pipe, has taken the place of the stream.
TEST_F(OutputFaultTest, ReportOfAMappingThatFailsGoesToTheMemoryInPlaceOfAClosedStandardError)
{
    const SFinishedProcess run = Run("mkfifo memory && exec 3<>memory && LC_ALL=C QUARN_MEMORY_FILE=memory " +
                                     Program("say=main") + " 2>&- && dd if=memory iflag=nonblock bs=4096 2>/dev/null");

    EXPECT_THAT(run.output, EndsWith("main\nError mmapping the protected memory for log queue.: No such device\n"));
}

TEST_F(OutputFaultTest, ReadOnlyFileSystemCostsTheLinesAndLeavesTheFiles)
{
    SFinishedProcess run;
    if (!RunOnDisk("1m",
                   "mkdir disk/log; echo before >disk/log/app.txt; mount -o remount,ro none disk\n" +
                       Program("'options=ldebug;Ldisk/log/app-%T.txt;S100;N1' many=10 options=ldebug error=seen") +
                       "; echo ended $? >&2; ls disk/log; cat disk/log/app.txt",
                   run)) {
        GTEST_SKIP() << "no mounts for users here; LastingFaultEndsWithItsCause has EROFS by plan: " << run.errors;
    }

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_THAT(run.output, StartsWith("mounted\nmemory-user.cpp:7: "));
    EXPECT_THAT(run.output, EndsWith(": seen\napp.txt\nbefore\n"));
}

TEST_F(OutputFaultTest, FullDiskCostsWhatDoesNotFitAndTheProgramGoesOn)
{
    SFinishedProcess run;
    if (!RunOnDisk("64k",
                   Program("'options=ldebug;Ldisk/app-%T.txt' many=5000 options=ldebug error=seen") +
                       "; echo ended $? >&2; cat disk/* | wc -c",
                   run)) {
        GTEST_SKIP() << "no mounts for users here; RestOfALineThatFindsNoRoomIsLost has ENOSPC by plan: " << run.errors;
    }

    EXPECT_EQ(run.errors, "ended 0\n");
    EXPECT_THAT(run.output, EndsWith(": seen\n65536\n"));
}

} // namespace
