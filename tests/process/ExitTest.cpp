#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace QuarnTest;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// Programs that log to a file in the folder log and end in different ways.
class ExitTest : public testing::Test
{
protected:
    SFinishedProcess Run(const std::string& way, const std::string& options = "ldebug;Llog/app.txt")
    {
        return RunCommand(Inside(m_Dir) + "QUARN_MEMORY_FILE=memory " EXIT_WAYS " " + way + " '" + options + "'");
    }

    /// What stands behind the position and time in each line of a file.
    std::vector<std::string> TextsIn(const std::string& file) const
    {
        std::vector<std::string> texts;
        std::istringstream lines(m_Dir.Read(file));
        for (std::string line; std::getline(lines, line);) {
            texts.push_back(line.substr(line.find(": ", line.find("tid=")) + 2));
        }
        return texts;
    }

    /// The one file that was put aside.
    std::vector<std::string> TextsPutAside() const
    {
        for (const std::string& name : m_Dir.Names("log")) {
            if (name != "app.txt") {
                return TextsIn("log/" + name);
            }
        }
        return {"no file was put aside"};
    }

    /// What the next start finds in the reserved memory.
    std::string NextStart() { return Run("return", "ldebug").output; }

    TempDir m_Dir;
};

struct SWay
{
    const char* name;
    const char* argument;
};

void PrintTo(const SWay& way, std::ostream* out) { *out << way.name; }

std::string NameOf(const testing::TestParamInfo<SWay>& way) { return way.param.name; }

/// Ways to end that run the library's destructors.
class OrderlyExitTest : public ExitTest, public testing::WithParamInterface<SWay>
{
};

TEST_P(OrderlyExitTest, FileIsPutAsideAndTheQueuedMessageWaitsForTheNextStart)
{
    const SFinishedProcess run = Run(GetParam().argument);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_FALSE(m_Dir.Has("log/app.txt"));
    EXPECT_THAT(TextsPutAside(), ElementsAre("written"));
    EXPECT_THAT(NextStart(), HasSubstr(": queued\x1b[0m\n"));
}

INSTANTIATE_TEST_SUITE_P(ExitTest, OrderlyExitTest,
                         testing::Values(SWay{"ReturnFromMain", "return"}, SWay{"Exit", "exit"},
                                         SWay{"ExitOnAnotherThread", "exit-on-thread"},
                                         SWay{"EndOfTheLastThread", "pthread_exit"}),
                         NameOf);

/// Ways to end that do not.
class AbruptExitTest : public ExitTest, public testing::WithParamInterface<SWay>
{
};

TEST_P(AbruptExitTest, FileKeepsItsNameAndTheQueuedMessageWaitsForTheNextStart)
{
    Run(GetParam().argument);

    EXPECT_EQ(m_Dir.Names("log"), std::set<std::string>{"app.txt"});
    EXPECT_THAT(TextsIn("log/app.txt"), ElementsAre("written"));
    EXPECT_THAT(NextStart(), HasSubstr(": queued\x1b[0m\n"));
}

INSTANTIATE_TEST_SUITE_P(ExitTest, AbruptExitTest,
                         testing::Values(SWay{"QuickExit", "quick_exit"}, SWay{"UnderscoreExit", "_exit"},
                                         SWay{"Abort", "abort"}),
                         NameOf);

TEST_F(ExitTest, ExceptionOfALoggerComesOutOfTheLogCallAndTheNextMessageIsDelivered)
{
    const SFinishedProcess run = Run("throw-in-logger");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "acting on first\ncaught out of the logger\nacting on second\n");
    EXPECT_THAT(TextsPutAside(), ElementsAre("second")) << "the first counts as delivered";
}

TEST_F(ExitTest, ThreadThatEndsInsideALoggerLeavesLoggingInOrder)
{
    const SFinishedProcess run = Run("pthread_exit-in-logger");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "acting on first\nacting on second\n");
    EXPECT_THAT(TextsPutAside(), ElementsAre("second", "third"));
}

TEST_F(ExitTest, ThreadThatIsCancelledInsideALoggerLeavesLoggingInOrder)
{
    const SFinishedProcess run = Run("cancel-in-logger");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "acting on first\nacting on second\n");
    EXPECT_THAT(TextsPutAside(), ElementsAre("second", "third"));
}

TEST_F(ExitTest, ChildThatEndsWithUnderscoreExitSharesTheFileWithItsParent)
{
    const SFinishedProcess run = Run("fork-child-logs");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(TextsPutAside(), ElementsAre("before the fork", "of the child", "after the child"));
}

TEST_F(ExitTest, ChildThatExitsPutsTheParentsFileAside)
{
    const SFinishedProcess run = Run("fork-child-exits");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(m_Dir.Names("log").size(), 1U);
    EXPECT_THAT(TextsPutAside(), ElementsAre("before the fork", "after the child"))
        << "the parent writes on, under that name";
}

TEST_F(ExitTest, ParentDeliversWhatAChildQueuedInTheReservedMemory)
{
    const SFinishedProcess run = Run("fork-child-queues");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(TextsPutAside(), ElementsAre("before the fork", "of the child", "after the child"));
}

} // namespace
