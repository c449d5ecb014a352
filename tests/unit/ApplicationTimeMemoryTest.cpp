#include "CQApplicationTime.h"
#include "LoggingGlobals.h"

#include "FailingHeap.h"
#include "PlatformDoubles.h"
#include "RefusedThreads.h"

#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <new>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

struct SOutcome
{
    bool thrown;
    bool clockThere;
    long live;
};

/// InitApplicationTime() with its nth allocation failing, from the state without a clock.
SOutcome InitWithFailingAllocation(int nth)
{
    bool thrown = false;
    const long before = LiveAllocations();
    const FailingHeap heap(nth);
    try {
        InitApplicationTime();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    return {thrown, g_pApplicationTime != nullptr, LiveAllocations() - before};
}

class ApplicationTimeMemoryTest : public testing::Test
{
protected:
    ApplicationTimeMemoryTest()
    {
        InitApplicationTime(); // so that ACE has what it allocates once
        m_Clock.ReleaseSleepers();
        FiniApplicationTime();
    }

    FakeClock m_Clock{FakeClock::Sleeping::BlocksThread};
};

TEST_F(ApplicationTimeMemoryTest, ConstructorThatRunsOutOfMemoryLeavesNothingBehind)
{
    // The clock, its mutex, its thread object. What ACE allocates to start a thread is its own affair: 7.0.8 does not
    // survive every failure there.
    for (int nth = 1; nth <= 3; ++nth) {
        const FaultPlan plan;

        const SOutcome outcome = InitWithFailingAllocation(nth);

        EXPECT_TRUE(outcome.thrown) << "allocation " << nth;
        EXPECT_FALSE(outcome.clockThere) << "allocation " << nth;
        EXPECT_EQ(outcome.live, 0) << "allocation " << nth;
        EXPECT_EQ(plan.Calls(Service::MutexattrInit), plan.Calls(Service::MutexattrDestroy)) << "allocation " << nth;
    }
}

TEST_F(ApplicationTimeMemoryTest, FailureKeepsTheClockThatIsThere)
{
    InitApplicationTime();
    CQApplicationTime* const before = g_pApplicationTime;

    const SOutcome outcome = InitWithFailingAllocation(2);

    EXPECT_TRUE(outcome.thrown);
    EXPECT_EQ(g_pApplicationTime, before);
    FiniApplicationTime();
}

TEST_F(ApplicationTimeMemoryTest, RefusedThreadLeavesAClockWithoutIt)
{
    const RefusedThreads threads;
    const int sleeps = m_Clock.Sleeps();

    InitApplicationTime();

    EXPECT_NE(g_pApplicationTime, nullptr);
    EXPECT_EQ(threads.Refused(), 2) << "a trial and the thread itself";
    EXPECT_EQ(m_Clock.Sleeps(), sleeps);
    FiniApplicationTime();
}

TEST_F(ApplicationTimeMemoryTest, ReadingTheClockAllocatesNothing)
{
    InitApplicationTime();
    const HeapUse use;

    GetClockTime();

    EXPECT_EQ(use.Allocations(), 0);
    FiniApplicationTime();
}

} // namespace
