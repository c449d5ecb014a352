#include "CQApplicationTime.h"

#include "PlatformDoubles.h"
#include "RefusedThreads.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/resource.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

using CQUpdateThread = CQApplicationTime::CQUpdateThread;

int CountThreadsNamed(const std::string& name)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string threadName;
        std::getline(std::ifstream(entry.path() / "comm"), threadName);
        count += threadName == name ? 1 : 0;
    }
    return count;
}

/// An owner for a thread of the test's own.
std::unique_ptr<CQApplicationTime> MakeClockWithoutThread()
{
    const RefusedThreads noThreads;
    return std::make_unique<CQApplicationTime>();
}

/// With the clocks at 1700000000 s and 1000 s, and a thread that sleeps until the test moves them.
class CQUpdateThreadTest : public testing::Test
{
protected:
    CQUpdateThreadTest()
    {
        m_Clock.SetRealTime(1700000000);
        m_Clock.SetMonotonic(1000);
    }

    /// Lets a number of sleeps end, one after the other, when one has begun.
    void PassSeconds(int count)
    {
        for (int second = 0; second < count; ++second) {
            const int begun = m_Clock.Sleeps();
            m_Clock.Advance(1);
            m_Clock.WaitForSleeps(begun + 1);
        }
    }

    FakeClock m_Clock{FakeClock::Sleeping::BlocksThread};
};

TEST_F(CQUpdateThreadTest, FirstUpdateComesBeforeTheFirstSleep)
{
    const FaultPlan plan;

    CQApplicationTime time;

    m_Clock.WaitForSleeps(1);
    EXPECT_EQ(plan.Calls(Service::ClockGettime), 4) << "two by the constructor, two by the update";
    m_Clock.ReleaseSleepers();
}

TEST_F(CQUpdateThreadTest, NextUpdateComesAfterSixtySleepsOfASecond)
{
    const FaultPlan plan;
    CQApplicationTime time;
    m_Clock.WaitForSleeps(1);
    PassSeconds(59);
    ASSERT_EQ(plan.Calls(Service::ClockGettime), 4) << "no update before the sixtieth sleep has ended";

    PassSeconds(1);

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 6);
    EXPECT_EQ(m_Clock.Sleeps(), 61);
    EXPECT_EQ(m_Clock.SleptNanoseconds(), 61000000000);
    m_Clock.ReleaseSleepers();
}

TEST_F(CQUpdateThreadTest, ClockSnapsToTheSystemClockOnceAMinute)
{
    CQApplicationTime time;
    m_Clock.WaitForSleeps(1);
    PassSeconds(60);
    m_Clock.SetRealTime(1700000500);
    PassSeconds(59);
    const double before = time.GetClockTime();

    PassSeconds(1);

    EXPECT_NEAR(before, 1700000060.059, 1e-6) << "a thousandth of the 59 s since the last update";
    EXPECT_EQ(time.GetClockTime(), 1700000560.0);
    m_Clock.ReleaseSleepers();
}

TEST_F(CQUpdateThreadTest, UpdatesGoOnMinuteAfterMinute)
{
    const FaultPlan plan;
    CQApplicationTime time;
    m_Clock.WaitForSleeps(1);

    PassSeconds(180);

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 10);
    m_Clock.ReleaseSleepers();
}

TEST_F(CQUpdateThreadTest, NameIsCutToWhatTheKernelKeeps)
{
    CQApplicationTime time;

    m_Clock.WaitForSleeps(1);

    EXPECT_EQ(CountThreadsNamed("ApplicationTime"), 1);
    m_Clock.ReleaseSleepers();
}

/// No descriptor can be opened while this exists, as in a program that has used up its own.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &m_Before);
        const rlimit none = {0, m_Before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_Before); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit m_Before{};
};

TEST_F(CQUpdateThreadTest, ThreadThatCannotBeNamedRunsWithoutAName)
{
    const std::unique_ptr<CQApplicationTime> owner = MakeClockWithoutThread();
    CQUpdateThread thread;
    int started = -1;
    {
        const NoDescriptors noName;
        started = thread.Start(owner.get());
    }

    m_Clock.WaitForSleeps(1);
    EXPECT_EQ(started, 0);
    EXPECT_EQ(CountThreadsNamed("ApplicationTime"), 0);
    m_Clock.ReleaseSleepers();
    EXPECT_EQ(thread.Stop(), 0);
}

TEST_F(CQUpdateThreadTest, EndsWithTheClock)
{
    {
        CQApplicationTime time;
        m_Clock.WaitForSleeps(1);
        m_Clock.ReleaseSleepers();
    }

    while (CountThreadsNamed("ApplicationTime") != 0) { // the kernel lists a joined thread for a moment more
        sched_yield();
    }
}

TEST_F(CQUpdateThreadTest, StartAndStopReportSuccess)
{
    const std::unique_ptr<CQApplicationTime> owner = MakeClockWithoutThread();
    CQUpdateThread thread;

    const int started = thread.Start(owner.get());

    m_Clock.WaitForSleeps(1);
    m_Clock.ReleaseSleepers();
    EXPECT_EQ(started, 0);
    EXPECT_EQ(thread.Stop(), 0);
}

TEST_F(CQUpdateThreadTest, StartsAgainAfterAStop)
{
    const std::unique_ptr<CQApplicationTime> owner = MakeClockWithoutThread();
    CQUpdateThread thread;
    thread.Start(owner.get());
    m_Clock.ReleaseSleepers();
    thread.Stop();
    const int sleeps = m_Clock.Sleeps();

    const int started = thread.Start(owner.get());

    m_Clock.WaitForSleeps(sleeps + 1);
    EXPECT_EQ(started, 0);
    EXPECT_EQ(thread.Stop(), 0);
}

TEST_F(CQUpdateThreadTest, WithoutAnOwnerNothingStarts)
{
    const RefusedThreads threads;
    CQUpdateThread thread;

    const int started = thread.Start(nullptr);

    EXPECT_EQ(started, -22);
    EXPECT_EQ(threads.Refused(), 0) << "none was asked for";
    EXPECT_EQ(thread.Stop(), 0);
}

/// The loop on the test's own thread: sleeps move the clocks, and the test acts inside of them.
class CQUpdateThreadLoopTest : public testing::Test
{
protected:
    CQUpdateThreadLoopTest() { m_Thread.Start(&m_Time); }

    void StopInSleep(int number)
    {
        m_Clock.OnSleep([this, number](int sleep) {
            if (sleep == number) {
                m_Thread.Stop();
            }
        });
    }

    FakeClock m_Clock;
    RefusedThreads m_NoThreads;
    CQApplicationTime m_Time;
    CQUpdateThread m_Thread;
};

TEST_F(CQUpdateThreadLoopTest, StopIsSeenAfterTheSleepAtHand)
{
    const FaultPlan plan;
    StopInSleep(7);

    const int result = m_Thread.svc();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(m_Clock.Sleeps(), 7);
    EXPECT_EQ(plan.Calls(Service::ClockGettime), 2);
}

TEST_F(CQUpdateThreadLoopTest, StopInTheLastSleepOfAMinuteLeavesOutTheUpdate)
{
    const FaultPlan plan;
    StopInSleep(60);

    const int result = m_Thread.svc();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(m_Clock.Sleeps(), 60);
    EXPECT_EQ(plan.Calls(Service::ClockGettime), 2);
}

TEST_F(CQUpdateThreadLoopTest, StoppedBeforeItRunsItDoesNothing)
{
    const FaultPlan plan;
    m_Thread.Stop();

    const int result = m_Thread.svc();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(m_Clock.Sleeps(), 0);
    EXPECT_EQ(plan.Calls(Service::ClockGettime), 0);
}

TEST_F(CQUpdateThreadLoopTest, SleepCutShortCountsAsASecond)
{
    FaultPlan plan;
    plan.Fail(Service::Nanosleep, EINTR, 1, 10);
    StopInSleep(51);

    m_Thread.svc();

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 4) << "the second update came after 10 short and 50 whole sleeps";
}

TEST(CQUpdateThreadRefusalTest, StartReportsThatTheSystemRefusedTheThread)
{
    const RefusedThreads threads;
    CQApplicationTime owner;
    CQUpdateThread thread;

    const int started = thread.Start(&owner);

    EXPECT_EQ(started, -1);
    EXPECT_EQ(threads.Refused(), 4) << "the owner's and this one, each a trial and the thread itself";
    EXPECT_EQ(thread.Stop(), 0) << "there is nothing to wait for";
}

} // namespace
