#include <QuarnLogging/Log.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

using namespace Quarn::Logging;

namespace {

/// What the next reading of the clock is preceded by, once.
std::function<void()> g_BeforeClock;
std::atomic<int> g_Milliseconds{0};

} // namespace

// The name is the linker's.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __wrap_clock_gettime(clockid_t, timespec* time)
{
    const int now = g_Milliseconds;
    if (g_BeforeClock) {
        std::exchange(g_BeforeClock, nullptr)();
    }
    *time = {now / 1000, now % 1000 * 1000000};
    return 0;
}

namespace {

/// The threads of an act go through it together.
template <class Act>
void RunInThreads(int count, Act act)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < count) {
                std::this_thread::yield();
            }
            act();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ThrottleTest, ThreadsTogetherAreDueOnceInAnInterval)
{
    AtMostEvery throttle;
    g_Milliseconds = 5000;
    std::atomic<int> due{0};

    RunInThreads(4, [&] {
        for (int i = 0; i < 1000; ++i) {
            due += throttle.IsDue(1000) ? 1 : 0;
        }
    });

    EXPECT_EQ(due, 1);
}

TEST(ThrottleTest, ThreadsTogetherAreDueOnceInN)
{
    EveryNth throttle;
    std::atomic<int> due{0};

    RunInThreads(4, [&] {
        for (int i = 0; i < 1000; ++i) {
            due += throttle.IsDue(50) ? 1 : 0;
        }
    });

    EXPECT_EQ(due, 80);
}

TEST(ThrottleTest, ThreadThatIsOvertakenBetweenClockAndMarkHoldsBack)
{
    AtMostEvery throttle;
    g_Milliseconds = 5000;
    bool overtaker = false;
    g_BeforeClock = [&] {
        g_Milliseconds = 5001;
        overtaker = throttle.IsDue(1000);
    };

    const bool overtaken = throttle.IsDue(1000);

    EXPECT_TRUE(overtaker);
    EXPECT_FALSE(overtaken);
}

} // namespace
