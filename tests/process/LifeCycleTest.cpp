#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

TEST(LifeCycleTest, EverythingIsHarmlessAfterTheLibrarysEnd)
{
    const TempDir dir;

    const SFinishedProcess run = RunCommand(Inside(dir) + LATE_CALLER " " QUARN_LIBRARY);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "end of main\n"
                          "levels -1 none\n"
                          "start time 0\n");
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(dir.Names().size(), 1U) << "nothing but the log of the run itself";
    EXPECT_THAT(dir.Read(*dir.Names().begin()), testing::EndsWith(": in time\n"));
}

TEST(LifeCycleTest, LibraryIsGoneAfterItsLastDlclose)
{
    const SFinishedProcess run = RunCommand(RELOADER " " QUARN_LIBRARY);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "loaded: yes\nloaded: no\nloaded: yes\nloaded: no\nloaded: yes\nloaded: no\n");
}

} // namespace
