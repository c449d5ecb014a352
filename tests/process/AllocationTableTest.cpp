#include "Subprocess.h"
#include "TempDir.h"

#include <gmock/gmock.h>

#include <string>

using namespace QuarnTest;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;

namespace {

class AllocationTableTest : public ::testing::Test
{
protected:
    /// The table, and what the tool says on standard error, for a log with these lines.
    SFinishedProcess TableOf(const std::string& log)
    {
        m_Folder.Write("log", log);
        return RunCommand(TABLE_TOOL " " + Quoted(m_Folder.File("log")) + " 2>&1");
    }

private:
    TempDir m_Folder;
};

TEST_F(AllocationTableTest, SitesAreSortedByTheirBytes)
{
    const SFinishedProcess table =
        TableOf("x.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: BlockSize of 8 bytes 1 times allocated\n"
                "x.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: "
                "a.cpp@30 1 objects created - memory usage: 8 Bytes \n"
                "x.cpp:1: info: m=1 t=2026.01.02-03:04:05.006 tid=0x2e: something else\n"
                "x.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: "
                "b c.cpp@12 3 objects created - memory usage: 72 Bytes \n"
                "x.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: "
                "Total memory usage:  80 Bytes in 4 objects\n");

    EXPECT_EQ(table.exitCode, 0);
    EXPECT_EQ(table.output, "Site          Objects        Bytes   Share\n"
                            "b c.cpp@12          3           72   90.0%\n"
                            "a.cpp@30            1            8   10.0%\n"
                            "Total               4           80  100.0%\n");
}

TEST_F(AllocationTableTest, LogThatCannotBeReadIsNamed)
{
    const SFinishedProcess missing = RunCommand(TABLE_TOOL " /nowhere/log");
    const SFinishedProcess folder = RunCommand(TABLE_TOOL " /");

    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_EQ(missing.errors, "allocation-table: /nowhere/log: No such file or directory\n");
    EXPECT_EQ(folder.exitCode, 3);
    EXPECT_EQ(folder.errors, "allocation-table: /: Is a directory\n");
}

TEST_F(AllocationTableTest, UnknownOptionIsNoLog)
{
    const SFinishedProcess table = RunCommand(TABLE_TOOL " --sort");

    EXPECT_EQ(table.exitCode, 2);
    EXPECT_EQ(table.output, "");
    EXPECT_EQ(table.errors, "allocation-table: unknown option --sort; see allocation-table --help\n");
}

TEST_F(AllocationTableTest, ColourIsTakenOff)
{
    const SFinishedProcess table = TableOf("\x1b[31mx.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: "
                                           "a.cpp@30 1 objects created - memory usage: 8 Bytes \x1b[0m\n"
                                           "\x1b[31mx.cpp:1: error: m=7 t=2026.01.02-03:04:05.006 tid=0x1f: "
                                           "Total memory usage:  8 Bytes in 1 objects\x1b[0m\n");

    EXPECT_EQ(table.output, "Site        Objects        Bytes   Share\n"
                            "a.cpp@30          1            8  100.0%\n"
                            "Total             1            8  100.0%\n");
}

TEST_F(AllocationTableTest, SitesOfOneSourcePositionAreAddedUp)
{
    const SFinishedProcess table = TableOf("a.cpp@30 1 objects created - memory usage: 8 Bytes \n"
                                           "a.cpp@30 2 objects created - memory usage: 16 Bytes \n"
                                           "Total memory usage:  24 Bytes in 3 objects\n");

    EXPECT_EQ(table.output, "Site        Objects        Bytes   Share\n"
                            "a.cpp@30          3           24  100.0%\n"
                            "Total             3           24  100.0%\n");
}

TEST_F(AllocationTableTest, LastCompleteReportCounts)
{
    const SFinishedProcess table = TableOf("a.cpp@30 1 objects created - memory usage: 8 Bytes \n"
                                           "Total memory usage:  8 Bytes in 1 objects\n"
                                           "b.cpp@1 1 objects created - memory usage: 4 Bytes \n"
                                           "Total memory usage:  4 Bytes in 1 objects\n"
                                           "c.cpp@2 1 objects created - memory usage: 2 Bytes \n");

    EXPECT_EQ(table.output, "Site       Objects        Bytes   Share\n"
                            "b.cpp@1          1            4  100.0%\n"
                            "Total            1            4  100.0%\n");
}

TEST_F(AllocationTableTest, NegativeSumsAreReadAsUnsigned)
{
    const SFinishedProcess table = TableOf("a.cpp@-1 1 objects created - memory usage: -2147483648 Bytes \n"
                                           "Total memory usage:  -2147483648 Bytes in 1 objects\n");

    EXPECT_EQ(table.output, "Site        Objects        Bytes   Share\n"
                            "a.cpp@-1          1   2147483648  100.0%\n"
                            "Total             1   2147483648  100.0%\n");
}

TEST_F(AllocationTableTest, EmptyReportIsATotalWithoutAShare)
{
    const SFinishedProcess table = TableOf("Total memory usage:  0 Bytes in 0 objects\n");

    EXPECT_EQ(table.exitCode, 0);
    EXPECT_EQ(table.output, "Site     Objects        Bytes   Share\n"
                            "Total          0            0       -\n");
}

TEST_F(AllocationTableTest, MissingMessagesAreTold)
{
    const SFinishedProcess table = TableOf("a.cpp@30 1 objects created - memory usage: 8 Bytes \n"
                                           "Total memory usage:  80 Bytes in 4 objects\n");

    EXPECT_EQ(table.exitCode, 0);
    EXPECT_THAT(table.output, HasSubstr("the sites found have 8 Bytes in 1 objects"));
}

TEST_F(AllocationTableTest, LogWithoutACompleteReportFails)
{
    const SFinishedProcess table = TableOf("a.cpp@30 1 objects created - memory usage: 8 Bytes \n");

    EXPECT_EQ(table.exitCode, 1);
    EXPECT_EQ(table.output, "allocation-table: no complete report in the log\n");
}

#ifdef SAMPLE_PROGRAM
TEST_F(AllocationTableTest, OutputOfTheSampleBecomesATable)
{
    const SFinishedProcess table = RunCommand("ASAN_OPTIONS=detect_leaks=0 " SAMPLE_PROGRAM " | " TABLE_TOOL " 2>&1");

    EXPECT_EQ(table.exitCode, 0);
    EXPECT_THAT(table.output, ContainsRegex("^Site +Objects +Bytes +Share\n[^\n]+ 2 +192 +8[0-9.]+%\n"));
    EXPECT_THAT(table.output, ContainsRegex("/leak\\.cpp@42 +1 +8 +3[0-9.]+%\nTotal +4 +2[0-9]+ +100.0%\n$"));
}
#endif

} // namespace
