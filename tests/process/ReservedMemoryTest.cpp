#include "PeerBuild.h"
#include "QueueImage.h"
#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace QuarnTest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string MAPPED = "Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n";
const std::string BEGIN_OF_DUMP = "Found log entries of a previous run, beginning of dump: ------------------------\n";
const std::string END_OF_DUMP = "End of dumped log entries of a previous run ------------------------------------\n";
const std::string RED = "\x1b[31m";
const std::string PLAIN = "\x1b[0m";

constexpr std::int32_t ERROR = 4000;
constexpr double DAY = 86400.0;

/// Programs that start over a reserved memory of the test's own.
class ReservedMemoryTest : public testing::Test
{
protected:
    std::string Command(const std::string& actions, const std::string& program = MEMORY_USER) const
    {
        return "TZ=UTC QUARN_MEMORY_FILE=" + Quoted(m_Dir.File("memory")) + " " + program + " " + actions;
    }
    SFinishedProcess Run(const std::string& actions) const { return RunCommand(Command(actions)); }
    void Provide(const QueueImage& image) const { image.Save(m_Dir.File("memory")); }
    QueueImage Memory() const { return QueueImage(m_Dir.File("memory")); }

    static std::size_t CountOf(const std::string& part, const std::string& text)
    {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++count;
        }
        return count;
    }

    TempDir m_Dir;
};

/// One record, of the third day of 1970 by its own run's clock.
QueueImage ImageOfOneRecord()
{
    QueueImage image;
    image.SetStartTime(DAY);
    image.Append(ERROR, 3, DAY + 0.25, 0x1234ABCD, "control.cpp", 42, L"last words");
    return image;
}

const std::string LINE_OF_ONE_RECORD =
    RED + "control.cpp:42: error: m=3 t=1970.01.03-00:00:00.250 tid=0x1234abcd: last words" + PLAIN + "\n";

TEST_F(ReservedMemoryTest, FreshMemoryIsAnnouncedAndNothingElse)
{
    const SFinishedProcess run = Run("say=main");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, MAPPED + "main\n");
    EXPECT_EQ(run.errors, "");
}

TEST_F(ReservedMemoryTest, FailedMappingIsReportedOnBothStreams)
{
    const SFinishedProcess run = RunCommand("LC_ALL=C QUARN_MEMORY_FILE=/dev/null " MEMORY_USER " say=main");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "Could not mmap 2097152 bytes for CQLogQueue in special reserved memory, using standard "
                          "memory insteadmain\n");
    EXPECT_EQ(run.errors, "Error mmapping the protected memory for log queue.: No such device\n");
}

TEST_F(ReservedMemoryTest, LogWorksInOrdinaryMemoryAfterAFailedMapping)
{
    const SFinishedProcess run = RunCommand("QUARN_MEMORY_FILE=/dev/null " MEMORY_USER " options=ldebug error=hello");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.output, EndsWith(": hello\n"));
}

// The stand-in for the device has its word, the library none.
TEST_F(ReservedMemoryTest, MissingDeviceIsPassedOverInSilence)
{
    const SFinishedProcess run = RunCommand("LC_ALL=C QUARN_MEMORY_FILE=/nowhere/memory " MEMORY_USER " say=main");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "main\n");
    EXPECT_EQ(run.errors, "file-backed-memory: /nowhere/memory: No such file or directory\n");
}

TEST_F(ReservedMemoryTest, DumpShowsTheTimesOfItsOwnRun)
{
    Provide(ImageOfOneRecord());

    const SFinishedProcess run = Run("say=main");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, MAPPED + BEGIN_OF_DUMP + LINE_OF_ONE_RECORD + END_OF_DUMP + "main\n");
    EXPECT_EQ(run.errors, "");
}

/// Whether the core file of a run, with this filter of the kernel, has the log in it.
testing::AssertionResult CoreHasLog(const std::string& filter)
{
    const TempDir dir;
    RunCommand(Inside(dir) + "ulimit -c unlimited; echo " + filter + " >/proc/self/coredump_filter; " +
               "export ASAN_OPTIONS=disable_coredump=0 TSAN_OPTIONS=disable_coredump=0 QUARN_MEMORY_FILE=memory; " +
               "exec " MEMORY_USER " autolog=off many=500 abort=");
    std::string wideText; // of a message that is long gone from the stack
    for (const char character : std::string("message 42")) {
        wideText += std::string(1, character) + std::string(3, '\0');
    }
    for (const std::string& name : dir.Names()) {
        if (name.rfind("core", 0) == 0) {
            const bool has = dir.Read(name).find(wideText) != std::string::npos;
            return (has ? testing::AssertionSuccess() : testing::AssertionFailure()) << filter << ": log in " << name;
        }
    }
    return testing::AssertionFailure() << filter << ": no core file";
}

TEST_F(ReservedMemoryTest, CoreFileHasTheLogOnlyIfTheKernelIsToldToAddMappingsOfFiles)
{
    if (RunCommand("grep -qx core /proc/sys/kernel/core_pattern").exitCode != 0) {
        GTEST_SKIP() << "this system does not put a core file into the working folder";
    }
    EXPECT_FALSE(CoreHasLog("0x33")); // the kernel's default
    EXPECT_TRUE(CoreHasLog("0x3b"));
}

TEST_F(ReservedMemoryTest, LogOfAKilledRunIsDumpedAtTheNextStart)
{
    const SFinishedProcess killed = Run("autolog=off error=first error=second kill=");
    ASSERT_NE(killed.exitCode, 0);

    const SFinishedProcess run = Run("");

    EXPECT_THAT(run.output, StartsWith(MAPPED + BEGIN_OF_DUMP + RED + "memory-user.cpp:7: error: m=1 t="));
    EXPECT_THAT(run.output, HasSubstr(": first" + PLAIN + "\n" + RED + "memory-user.cpp:7: error: m=1 t="));
    EXPECT_THAT(run.output, EndsWith(": second" + PLAIN + "\n" + END_OF_DUMP));
}

TEST_F(ReservedMemoryTest, LogOfARunThatEndedInOrderIsDumpedToo)
{
    Run("options=ldebug error=printed");

    const SFinishedProcess run = Run("");

    EXPECT_EQ(CountOf(": printed" + PLAIN + "\n", run.output), 1U);
}

TEST_F(ReservedMemoryTest, DumpIsNotRepeated)
{
    Provide(ImageOfOneRecord());
    Run("");

    const SFinishedProcess run = Run("say=main");

    EXPECT_EQ(run.output, MAPPED + "main\n");
}

TEST_F(ReservedMemoryTest, QueueIsEmptyAndZeroedAfterTheDump)
{
    Provide(ImageOfOneRecord());

    Run("kill=");

    QueueImage expected;
    expected.SetStartTime(Memory().GetStartTime());
    EXPECT_TRUE(Memory() == expected);
    EXPECT_GT(Memory().GetStartTime(), DAY * 365 * 30) << "the new run's own";
}

TEST_F(ReservedMemoryTest, MemoryWithoutAQueuesHeaderIsNotDumped)
{
    for (const QueueImage::Field field :
         {QueueImage::Magic1, QueueImage::Magic2, QueueImage::TotalSize, QueueImage::Capacity}) {
        QueueImage image = ImageOfOneRecord();
        image.Set(field, image.Get(field) ^ 0x100);
        Provide(image);

        const SFinishedProcess run = Run("always=unheard say=main");

        EXPECT_EQ(run.output, MAPPED + "main\n") << "no banner, and no logger registered, with field " << field;
    }
}

TEST_F(ReservedMemoryTest, UnfinishedRecordAloneIsNotDumped)
{
    QueueImage image = ImageOfOneRecord();
    image.Set(QueueImage::HEADER + 8, 0); // the end marker, which is stored last
    Provide(image);

    const SFinishedProcess run = Run("say=main");

    EXPECT_EQ(run.output, MAPPED + "main\n");
}

TEST_F(ReservedMemoryTest, BuiltInLoggerStaysRegisteredButSilentAfterADump)
{
    Provide(ImageOfOneRecord());

    const SFinishedProcess run = Run("threshold=0 threshold=999 error=unheard say=main always=heard");

    EXPECT_THAT(run.output, HasSubstr(END_OF_DUMP + "threshold 9999\nthreshold 9999\n"));
    EXPECT_THAT(run.output, Not(HasSubstr("unheard")));
    EXPECT_THAT(run.output, HasSubstr("main\nmemory-user.cpp:7: ?: m=1 t="));
    EXPECT_THAT(run.output, EndsWith(": heard\n")) << "in plain text: colour is off again";
}

TEST_F(ReservedMemoryTest, OptionsAfterADumpChangeTheOneRegistration)
{
    Provide(ImageOfOneRecord());

    const SFinishedProcess run = Run("options=ldebug error=once");

    EXPECT_EQ(CountOf(": once\n", run.output), 1U);
}

TEST_F(ReservedMemoryTest, DroppedMessagesOfThePreviousRunAreReportedOnceBehindItsRecords)
{
    QueueImage image = ImageOfOneRecord();
    image.Set(QueueImage::Dropped, 3);
    Provide(image);

    const SFinishedProcess run = Run("options=ldebug error=new");

    EXPECT_THAT(run.output, StartsWith(MAPPED + BEGIN_OF_DUMP + LINE_OF_ONE_RECORD +
                                       "3 Messages dropped (internal queue full)\n" + END_OF_DUMP));
    EXPECT_EQ(CountOf("dropped (internal", run.output), 1U);
}

TEST_F(ReservedMemoryTest, DroppedMessagesAreCountedFromZeroAfterADump)
{
    QueueImage image = ImageOfOneRecord();
    image.Set(QueueImage::Dropped, 4000000);
    Provide(image);

    const SFinishedProcess run = Run("options=ldebug autolog=off many=30000 dispatch= kill=");

    const std::size_t delivered = CountOf(": message ", run.output);
    const std::uint32_t dropped = Memory().Get(QueueImage::Dropped);
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(delivered + dropped, 30000U);
    EXPECT_THAT(run.output, EndsWith("\n" + std::to_string(dropped) + " Messages dropped (internal queue full)\n"));
}

TEST_F(ReservedMemoryTest, LogOfTheOtherWordSizeIsDumpedTheSame)
{
    const std::string program = PeerProgram("/tests/process/memory-user");
    if (program.empty()) {
        GTEST_SKIP() << "the other word size is not built";
    }
    const std::string peer = Quoted(program);
    RunCommand(Command("error=first error=second kill=", peer));
    const QueueImage image = Memory();
    const SFinishedProcess dumpOfPeer = RunCommand(Command("", peer));
    Provide(image);

    const SFinishedProcess dump = Run("");

    EXPECT_EQ(dump.output, dumpOfPeer.output);
    EXPECT_EQ(CountOf(": first" + PLAIN + "\n", dump.output), 1U);
    EXPECT_EQ(CountOf(": second" + PLAIN + "\n", dump.output), 1U);
}

/// Two processes on one memory, which is a mistake of the system's builder. They take no notice of each other.
class SharedMemoryTest : public ReservedMemoryTest
{
protected:
    static constexpr int ROUNDS = 25;

    /// Runs two processes at a time; both are given the same actions. Returns what both printed.
    std::vector<std::string> RunTwo(const std::string& actions) const
    {
        const TempDir outputs;
        const std::string one = Command(actions) + " >" + outputs.File("one") + " & first=$!; ";
        const std::string two = Command(actions) + " >" + outputs.File("two") + "; second=$?; ";
        const SFinishedProcess both = RunCommand(one + two + "wait $first && exit $second");
        EXPECT_EQ(both.exitCode, 0) << both.errors;
        return {outputs.Read("one"), outputs.Read("two")};
    }
    /// The texts of the dumped lines. The other process may zero a record while its line is made; the line then ends in
    /// the middle of the text, and what is printed next follows at once: another line's colour, or the last banner.
    static std::vector<std::string> TextsOf(const std::string& output)
    {
        std::vector<std::string> texts;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t threadId = line.find(" tid=0x");
            if (threadId != std::string::npos) {
                const std::string rest = line.substr(line.find(": ", threadId) + 2);
                texts.push_back(rest.substr(0, std::min(rest.find('\x1b'), rest.find("End of dumped"))));
            }
        }
        return texts;
    }
};

TEST_F(SharedMemoryTest, ProcessesThatLoadAtOnceDumpNothingButBeginningsOfRecordedTexts)
{
    QueueImage image;
    for (int i = 0; i < 2000; ++i) {
        image.Append(ERROR, 1, 1.0, 2, "f", 3, L"recorded");
    }
    for (int round = 0; round < ROUNDS; ++round) {
        Provide(image);

        for (const std::string& output : RunTwo("say=main")) {
            EXPECT_THAT(output, StartsWith(MAPPED));
            EXPECT_THAT(output, EndsWith("main\n"));
            for (const std::string& text : TextsOf(output)) {
                EXPECT_THAT("recorded", StartsWith(text));
            }
        }
    }
}

TEST_F(SharedMemoryTest, ProcessesThatLogAtOnceComeToTheirEnds)
{
    for (int round = 0; round < ROUNDS; ++round) {
        for (const std::string& output : RunTwo("options=ldebug many=500 autolog=off many=8000 dispatch= say=end")) {
            EXPECT_THAT(output, StartsWith(MAPPED));
            EXPECT_THAT(output, HasSubstr("end\n"));
        }
    }
}

TEST_F(SharedMemoryTest, MemoryServesTheNextStartAfterTwoProcessesWroteToIt)
{
    RunTwo("autolog=off many=20000 kill= || true");

    Run("options=ldebug autolog=off error=new kill=");
    const SFinishedProcess run = Run("");

    EXPECT_THAT(run.output, StartsWith(MAPPED + BEGIN_OF_DUMP + RED));
    EXPECT_THAT(run.output, EndsWith(": new" + PLAIN + "\n" + END_OF_DUMP));
    EXPECT_EQ(CountOf("\n", run.output), 4U);
}

} // namespace
