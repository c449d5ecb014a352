#include "Subprocess.h"

#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

TEST(ReloadTest, ManyLoadsAndUnloadsLeaveNothingBehind)
{
    const TempDir dir;

    const SFinishedProcess run = RunCommand(RELOAD_CHURN " " QUARN_LIBRARY " 1000 " + Quoted(dir.Path().string()));

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "mappings +0, descriptors +0, bytes of a round +0; unloaded; fork 0\n");
    EXPECT_EQ(dir.Names().size(), 3U) << "the files that are kept, and no current one";
}

} // namespace
