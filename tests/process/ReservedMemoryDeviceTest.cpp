#include "QueueImage.h"
#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr int UNSUPPORTED = 77; // what private-dev exits with where it can do nothing

const std::string MAPPED = "Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n";
const std::string BEGIN_OF_DUMP = "Found log entries of a previous run, beginning of dump: ------------------------\n";
const std::string END_OF_DUMP = "End of dumped log entries of a previous run ------------------------------------\n";

/// A real reserved memory, made by scripts/reserved-memory, in a /dev that only the test sees.
class ReservedMemoryDeviceTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const SFinishedProcess run = RunCommand(PRIVATE_DEV " true");
        if (run.exitCode == UNSUPPORTED) {
            GTEST_SKIP() << run.output;
        }
        ASSERT_EQ(run.exitCode, 0) << run.errors;
    }

    /// Runs shell commands in which $memory is the script and $user a program that logs, each a single word even if its
    /// path has blanks. The device goes in any case.
    SFinishedProcess Run(const std::string& commands)
    {
        m_Dir.Write("commands", "IFS=\nmemory=" RESERVED_MEMORY "\nuser=" MEMORY_USER "\n" + Inside(m_Dir) +
                                    "trap '$memory remove' EXIT\n" + commands + "\n");
        return RunCommand("unset QUARN_MEMORY_FILE; " PRIVATE_DEV " bash " + Quoted(m_Dir.File("commands")));
    }

    TempDir m_Dir;
};

TEST_F(ReservedMemoryDeviceTest, LogOfAKilledProgramIsDumpedAtItsNextStart)
{
    const SFinishedProcess run = Run("$memory create\n"
                                     "$user autolog=off error=first error=second kill=\n"
                                     "$user say=main");

    EXPECT_THAT(run.output, StartsWith(MAPPED + MAPPED + BEGIN_OF_DUMP + "\x1b[31mmemory-user.cpp:7: error: m=1 t="));
    EXPECT_THAT(run.output, HasSubstr(": first\x1b[0m\n\x1b[31mmemory-user.cpp:7: error: m=1 t="));
    EXPECT_THAT(run.output, EndsWith(": second\x1b[0m\n" + END_OF_DUMP + "main\n"));
}

TEST_F(ReservedMemoryDeviceTest, FileKeepsTheLogWhileThereIsNoDevice)
{
    const SFinishedProcess run = Run("$memory create --file image\n"
                                     "$user error=kept kill=\n"
                                     "$memory remove\n"
                                     "$user 'say=no device'\n"
                                     "$memory create --file image\n"
                                     "$user");

    EXPECT_THAT(run.output, StartsWith(MAPPED + "no device\n" + MAPPED + BEGIN_OF_DUMP));
    EXPECT_THAT(run.output, EndsWith(": kept\x1b[0m\n" + END_OF_DUMP));
}

TEST_F(ReservedMemoryDeviceTest, ProgramLeavesItsRecordsInTheFile)
{
    Run("$memory create --file image\n"
        "$user error=kept kill=");

    const std::vector<SImageRecord> records = QueueImage(m_Dir.File("image")).WholeRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, L"kept");
}

TEST_F(ReservedMemoryDeviceTest, NewDeviceBelongsToRootAndHasTheDefaultFile)
{
    const SFinishedProcess run = Run("$memory create && $memory status");

    EXPECT_THAT(run.output, ContainsRegex("^device:  /dev/qiomemmap -> /dev/loop[0-9]+\n"
                                          "file:    /run/qiomemmap.img \\(tmpfs\\)\n"
                                          "size:    2097152 bytes\n"
                                          "owner:   root:root, mode 660\n"
                                          "used by: no process\n"
                                          "log:     none, no queue was ever made in this memory\n$"));
    EXPECT_EQ(run.exitCode, 0) << run.errors;
}

TEST_F(ReservedMemoryDeviceTest, OwnerGroupAndModeAreSet)
{
    const SFinishedProcess run =
        Run("$memory create --owner daemon --group 12 --mode 0640 && stat -L -c '%U %g %a' /dev/qiomemmap");

    EXPECT_EQ(run.output, "daemon 12 640\n") << run.errors;
}

TEST_F(ReservedMemoryDeviceTest, CreatingTwiceKeepsTheLogAndChangesWhatIsAskedFor)
{
    const SFinishedProcess run = Run("$memory create --owner daemon\n"
                                     "$user error=kept kill=\n"
                                     "$memory create --mode 0600 && stat -L -c '%U %a' /dev/qiomemmap\n"
                                     "losetup --associated /run/qiomemmap.img | wc -l\n"
                                     "$user");

    EXPECT_THAT(run.output, StartsWith(MAPPED + "daemon 600\n1\n" + MAPPED + BEGIN_OF_DUMP));
    EXPECT_THAT(run.output, EndsWith(": kept\x1b[0m\n" + END_OF_DUMP));
}

TEST_F(ReservedMemoryDeviceTest, RemovingTwiceIsFineAndKeepsTheFile)
{
    const SFinishedProcess run = Run("$memory create --file image\n"
                                     "$memory remove && $memory remove && ls\n"
                                     "losetup --associated image\n"
                                     "$memory status");

    EXPECT_EQ(run.output, "commands\nimage\ndevice:  none\n");
    EXPECT_EQ(run.exitCode, 3) << "no device";
    EXPECT_EQ(run.errors, "");
}

TEST_F(ReservedMemoryDeviceTest, FileIsDeletedOnRequest)
{
    const SFinishedProcess run = Run("$memory create --file image\n"
                                     "$memory remove --delete-file && ls");

    EXPECT_EQ(run.output, "commands\n");
}

TEST_F(ReservedMemoryDeviceTest, StatusTellsOfTheLogAndLeavesItAlone)
{
    const SFinishedProcess run = Run("$memory create --file image\n"
                                     "$user options=ldebug error=printed autolog=off error=queued error=queued kill=\n"
                                     "cp image before\n"
                                     "$memory status | tail -n 1\n"
                                     "cmp image before && echo unchanged");

    EXPECT_THAT(run.output, EndsWith("log:     3 whole records, 2 of them undelivered; 0 messages dropped\n"
                                     "unchanged\n"));
}

TEST_F(ReservedMemoryDeviceTest, StatusSeesThatADumpEmptiedTheQueue)
{
    const SFinishedProcess run = Run("$memory create\n"
                                     "$user error=dumped kill=; $user\n"
                                     "$memory status");

    EXPECT_THAT(run.output, EndsWith("log:     none, the queue is empty\n"));
}

TEST_F(ReservedMemoryDeviceTest, ClearedMemoryIsNotDumped)
{
    const SFinishedProcess run = Run("$memory create\n"
                                     "$user error=forgotten kill=\n"
                                     "$memory clear\n"
                                     "$user say=main");

    EXPECT_EQ(run.output, MAPPED + MAPPED + "main\n");
}

TEST_F(ReservedMemoryDeviceTest, BusyDeviceIsNeitherRemovedNorCleared)
{
    const SFinishedProcess run = Run("$memory create\n"
                                     "exec 3</dev/qiomemmap\n"
                                     "$memory remove || echo kept\n"
                                     "$memory clear || echo kept\n"
                                     "exec 3<&-\n"
                                     "$memory remove");

    EXPECT_EQ(run.output, "kept\nkept\n");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.errors, HasSubstr("reserved-memory: /dev/qiomemmap is busy: used by process "));
}

TEST_F(ReservedMemoryDeviceTest, NameThatIsTakenIsLeftAlone)
{
    const SFinishedProcess run = Run("echo theirs >/dev/qiomemmap\n"
                                     "$memory create || echo refused\n"
                                     "$memory remove || echo refused\n"
                                     "$memory clear || echo refused\n"
                                     "cat /dev/qiomemmap\n"
                                     "trap - EXIT\n"
                                     "$memory status >/dev/null");

    EXPECT_EQ(run.output, "refused\nrefused\nrefused\ntheirs\n");
    EXPECT_EQ(run.exitCode, 4) << "not ours";
    EXPECT_THAT(run.errors, HasSubstr("reserved-memory: /dev/qiomemmap is there already and not ours: -rw"));
}

TEST_F(ReservedMemoryDeviceTest, LoopDeviceOfAnotherSizeIsNotOurs)
{
    const SFinishedProcess run = Run("truncate -s 1M other\n"
                                     "loop=$(losetup --find)\n"
                                     "[ -b $loop ] || mknod $loop b 7 ${loop#/dev/loop}\n"
                                     "losetup $loop other && ln -s $loop /dev/qiomemmap\n"
                                     "$memory remove || echo refused\n"
                                     "losetup --detach $loop");

    EXPECT_EQ(run.output, "refused\n");
}

TEST_F(ReservedMemoryDeviceTest, FileOfAnotherSizeIsRefused)
{
    const SFinishedProcess run = Run("truncate -s 1M image\n"
                                     "$memory create --file image");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors,
                HasSubstr("image has 1048576 bytes instead of 2097152; move it away or name another one\n"));
}

TEST_F(ReservedMemoryDeviceTest, OtherFileThanThatOfTheDeviceIsRefused)
{
    const SFinishedProcess run = Run("$memory create --file image\n"
                                     "$memory create --file other");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, HasSubstr("/dev/qiomemmap is there already, on the file "));
    EXPECT_FALSE(m_Dir.Has("other"));
}

TEST_F(ReservedMemoryDeviceTest, OnlyRootMayChangeAnything)
{
    const SFinishedProcess run =
        Run("nobody() { setpriv --reuid=65534 --regid=65534 --clear-groups bash -s \"$1\" <" RESERVED_MEMORY "; }\n"
            "nobody create || nobody remove || nobody clear");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("only root can create the reserved memory\n"),
                                  HasSubstr("only root can remove the reserved memory\n"),
                                  HasSubstr("only root can clear the reserved memory\n")));
}

TEST(ReservedMemoryScriptTest, HelpGoesToStandardOutput)
{
    const SFinishedProcess run = RunCommand(RESERVED_MEMORY " --help");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.output, StartsWith("usage: reserved-memory create [--file PATH]"));
}

TEST(ReservedMemoryScriptTest, WrongUsageIsExplained)
{
    for (const std::string arguments :
         {"", "destroy", "create --size 5", "create --mode 99", "create --mode", "remove now", "status all"}) {
        const SFinishedProcess run = RunCommand(RESERVED_MEMORY " " + arguments);

        EXPECT_EQ(run.exitCode, 2) << arguments;
        EXPECT_THAT(run.errors, HasSubstr("usage: reserved-memory create [--file PATH]")) << arguments;
        EXPECT_EQ(run.output, "");
    }
}

} // namespace
