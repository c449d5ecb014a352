#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

// With the system's own clocks and sleeps. Nothing here measures time; the test's timeout ends what hangs.

/// The state of the update thread as /proc has it, S for one that sleeps; 0 if it is not there.
char UpdateThreadState()
{
    const std::string name = "(ApplicationTime) ";
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string line;
        std::getline(std::ifstream(entry.path() / "stat"), line);
        const std::size_t place = line.find(name);
        if (place == std::string::npos) {
            continue;
        }
        char state = 0;
        int skipped = 0;
        unsigned int flags = 0;
        std::istringstream(line.substr(place + name.size())) >> state >> skipped >> skipped >> skipped >> skipped >>
            skipped >> flags;
        // Who was joined may be listed for a moment yet, on the way out.
        constexpr unsigned int PF_EXITING = 4;
        if ((flags & PF_EXITING) == 0) {
            return state;
        }
    }
    return 0;
}

bool IsUpdateThreadThere() { return UpdateThreadState() != 0; }
bool IsUpdateThreadAsleep() { return UpdateThreadState() == 'S'; }

void InitAndWaitForTheSleep()
{
    InitApplicationTime();
    while (!IsUpdateThreadAsleep()) {
        sched_yield();
    }
}

TEST(ClockLifeTest, FiniIsFinishedBeforeItsThreadIsCancelled)
{
    InitAndWaitForTheSleep();
    bool isFinished = false;
    pthread_t thread{};
    pthread_create(
        &thread, nullptr,
        [](void* argument) -> void* {
            pthread_cancel(pthread_self());
            FiniApplicationTime();
            *static_cast<bool*>(argument) = true;
            pthread_testcancel();
            return nullptr;
        },
        &isFinished);

    void* result = nullptr;
    pthread_join(thread, &result);

    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(isFinished);
    EXPECT_FALSE(IsUpdateThreadThere());
}

TEST(ClockLifeTest, FiniReturnsWhileTheThreadIsInItsSleep)
{
    InitAndWaitForTheSleep();

    FiniApplicationTime();

    EXPECT_FALSE(IsUpdateThreadThere());
}

TEST(ClockLifeTest, FiniReturnsWhileTheThreadIsStarting)
{
    InitApplicationTime();

    FiniApplicationTime();

    EXPECT_FALSE(IsUpdateThreadThere());
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
