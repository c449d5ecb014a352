#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// A program that defines exported functions itself, on a reserved memory of the test's own.
class InterpositionTest : public testing::Test
{
protected:
    SFinishedProcess Run(const std::string& arguments)
    {
        return RunCommand("TZ=UTC QUARN_MEMORY_FILE=" + Quoted(m_Dir.File("memory")) + " " INTERPOSER " " + arguments);
    }

    TempDir m_Dir;
};

TEST_F(InterpositionTest, StartUpInstallsTheLogFunctionThroughTheExportedSymbols)
{
    const SFinishedProcess run = Run("");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n"
                          "interposed SetLogFunc, with the interposed BuiltInLogging\n"
                          "main\n");
}

TEST_F(InterpositionTest, LineTakesTheStartTimeThroughTheExportedSymbol)
{
    const SFinishedProcess run = Run("hello");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("main\n"
                                      "interposed SetLogOptions ldebug\n"
                                      "interposed BuiltInLogging\n"
                                      "interposed GetStartTime\n"
                                      "interposer.cpp:7: error: m=1 t=1971."));
}

TEST_F(InterpositionTest, DumpOfAPreviousRunGoesThroughTheExportedSymbols)
{
    Run("last words");

    const SFinishedProcess run = Run("");

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.output,
                StartsWith("Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n"
                           "Found log entries of a previous run, beginning of dump: ------------------------\n"
                           "interposed SetLogOptions l5;c\n"
                           "interposed DispatchQueuedLogMessages\n"
                           "interposed GetStartTime\n"
                           "\x1b[31minterposer.cpp:7: error: m=1 t=1971."));
    EXPECT_THAT(run.output, ContainsRegex("tid=0x[0-9a-f]+: last\x1b\\[0m\n"
                                          "interposed SetLogOptions l0\n"
                                          "End of dumped log entries of a previous run -+\n"
                                          "interposed SetLogFunc, with the interposed BuiltInLogging\n"
                                          "main\n$"));
}

} // namespace
