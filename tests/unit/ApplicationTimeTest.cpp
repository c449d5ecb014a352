#include "CQApplicationTime.h"
#include "LoggingGlobals.h"

#include "PlatformDoubles.h"

#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// The exported functions, at 1700000000 s, with the clock's thread asleep until the test moves the time.
class ApplicationTimeTest : public testing::Test
{
protected:
    ApplicationTimeTest()
    {
        m_Clock.SetRealTime(1700000000);
        m_Clock.SetMonotonic(1000);
    }
    ~ApplicationTimeTest() override
    {
        m_Clock.ReleaseSleepers();
        FiniApplicationTime();
    }

    /// Until the update thread has moved the anchor to the time now.
    void PassAMinute()
    {
        for (int second = 0; second < 60; ++second) {
            const int begun = m_Clock.Sleeps();
            m_Clock.Advance(1);
            m_Clock.WaitForSleeps(begun + 1);
        }
    }

    FakeClock m_Clock{FakeClock::Sleeping::BlocksThread};
};

TEST_F(ApplicationTimeTest, FiniWithoutInitDoesNothing)
{
    FiniApplicationTime();

    EXPECT_EQ(g_pApplicationTime, nullptr);
}

TEST_F(ApplicationTimeTest, InitCreatesTheClockAndFiniRemovesIt)
{
    InitApplicationTime();
    EXPECT_NE(g_pApplicationTime, nullptr);
    m_Clock.ReleaseSleepers();

    FiniApplicationTime();

    EXPECT_EQ(g_pApplicationTime, nullptr);
}

TEST_F(ApplicationTimeTest, FiniTwiceIsFiniOnce)
{
    InitApplicationTime();
    m_Clock.ReleaseSleepers();
    FiniApplicationTime();

    FiniApplicationTime();

    EXPECT_EQ(g_pApplicationTime, nullptr);
}

TEST_F(ApplicationTimeTest, ClockCanBeMadeAnew)
{
    InitApplicationTime();
    m_Clock.ReleaseSleepers();
    FiniApplicationTime();

    InitApplicationTime();

    EXPECT_NE(g_pApplicationTime, nullptr);
}

TEST_F(ApplicationTimeTest, SecondInitReplacesTheClockAndLeavesTheFirstRunning)
{
    InitApplicationTime();
    m_Clock.WaitForSleeps(1);
    const std::unique_ptr<CQApplicationTime> first(g_pApplicationTime);

    InitApplicationTime();
    m_Clock.WaitForSleeps(2);

    EXPECT_NE(g_pApplicationTime, first.get());
    m_Clock.Advance(1);
    m_Clock.WaitForSleeps(4); // of both threads
    m_Clock.ReleaseSleepers();
}

TEST_F(ApplicationTimeTest, FunctionsReachTheClock)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    InitApplicationTime();
    m_Clock.WaitForSleeps(1);
    PassAMinute();

    const double time = GetClockTime();
    const unsigned int date = GetEepromDate();
    SetClockTime(1700001000.0);

    EXPECT_EQ(time, 1700000060.0);
    EXPECT_EQ(date, 0x0E0B07E7u) << "14 November 2023";
    EXPECT_EQ(m_Clock.RealTime(), 1700001000000000000);
}

TEST_F(ApplicationTimeTest, ReadersOnManyThreadsNeverSeeHalfAnAnchor)
{
    InitApplicationTime();
    m_Clock.WaitForSleeps(1);
    PassAMinute();
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    std::atomic<int> reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            do {
                // Either inside the ten minutes, or thrown ahead by 2^64 ns at a thousandth, which is 18446744 s, when
                // an update overtook the reading.
                const double time = GetClockTime() - 1700000000.0;
                const bool inside = time >= 60.0 && time <= 661.0;
                const bool ahead = time >= 18446744.0 && time <= 18447406.0;
                torn += inside || ahead ? 0 : 1;
                ++reads;
            } while (!stop);
        });
    }

    for (int minute = 0; minute < 10; ++minute) {
        PassAMinute();
    }

    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(torn, 0);
    EXPECT_GE(reads, 3);
}

} // namespace
