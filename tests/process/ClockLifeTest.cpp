#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// With the system's own clocks and sleeps. Nothing here measures time; the test's timeout ends what hangs.

/// Whether the update thread is there and sleeps: its line in /proc has its name in parentheses and then an S.
bool IsUpdateThreadAsleep()
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string line;
        std::getline(std::ifstream(entry.path() / "stat"), line);
        if (line.find("(ApplicationTime) S") != std::string::npos) {
            return true;
        }
    }
    return false;
}

void InitAndWaitForTheSleep()
{
    InitApplicationTime();
    while (!IsUpdateThreadAsleep()) {
        sched_yield();
    }
}

TEST(ClockLifeTest, FiniReturnsWhileTheThreadIsInItsSleep)
{
    InitAndWaitForTheSleep();

    FiniApplicationTime();

    EXPECT_FALSE(IsUpdateThreadAsleep());
}

TEST(ClockLifeTest, FiniReturnsWhileTheThreadIsStarting)
{
    InitApplicationTime();

    FiniApplicationTime();

    EXPECT_FALSE(IsUpdateThreadAsleep());
}

TEST(ClockLifeTest, ExitWithoutFiniNeitherHangsNorCrashes)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "at exit ACE destroys mutexes of its own that the sleeping thread has used";
#endif
    testing::GTEST_FLAG(death_test_style) = "threadsafe";

    EXPECT_EXIT(
        {
            InitAndWaitForTheSleep();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
