#include "LockGuard.h"
#include "PlatformDoubles.h"
#include "RecursiveMutex.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

class LockGuardTest : public testing::Test
{
protected:
    bool IsFreeForOthers()
    {
        bool isFree = false;
        std::thread([&] { isFree = LockGuard(m_Mutex).Locked(); }).join();
        return isFree;
    }

    MutexAttributes m_Attributes;
    RecursiveMutex m_Mutex{m_Attributes};
};

TEST_F(LockGuardTest, FreeMutexIsTakenAtTheFirstTry)
{
    FaultPlan plan;

    const LockGuard guard(m_Mutex);

    EXPECT_TRUE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 1);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(LockGuardTest, MutexThatBecomesFreeIsTakenWithoutWaiting)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EBUSY, 1, 3);

    const LockGuard guard(m_Mutex);

    EXPECT_TRUE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 4);
}

TEST_F(LockGuardTest, BusyMutexIsTriedFiftyTimesAndThenWaitedFor)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EBUSY, 1, 1000);

    const LockGuard guard(m_Mutex);

    EXPECT_TRUE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 50);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(LockGuardTest, MutexThatIsHeldDuringOutputIsTriedInTwentyRounds)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EBUSY, 1, 2000);

    const LockGuard guard(m_Mutex, ROUNDS_DURING_OUTPUT);

    EXPECT_TRUE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 1000);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(LockGuardTest, MutexThatBecomesFreeInALaterRoundIsTakenWithoutWaiting)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EBUSY, 1, 70);

    const LockGuard guard(m_Mutex, ROUNDS_DURING_OUTPUT);

    EXPECT_TRUE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 71);
}

TEST_F(LockGuardTest, AnyOtherErrorOfATryIsFinal)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EINVAL);

    const LockGuard guard(m_Mutex);

    EXPECT_FALSE(guard.Locked());
    EXPECT_EQ(plan.Calls(Service::MutexTrylock), 1);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 0);
}

TEST_F(LockGuardTest, ErrorOfAWaitLeavesTheMutexAlone)
{
    FaultPlan plan;
    plan.Fail(Service::MutexTrylock, EBUSY, 1, 1000);
    plan.Fail(Service::MutexLock, EDEADLK);

    const bool locked = LockGuard(m_Mutex).Locked();

    EXPECT_FALSE(locked);
    EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(LockGuardTest, OwnerTakesItOnceMore)
{
    const LockGuard outer(m_Mutex);

    const bool inner = LockGuard(m_Mutex).Locked();

    EXPECT_TRUE(inner);
}

TEST_F(LockGuardTest, LockEndsWithItsScope)
{
    {
        const LockGuard guard(m_Mutex);
    }

    EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(LockGuardTest, NullMutexCannotBeLocked)
{
    const LockGuard guard(nullptr);

    EXPECT_FALSE(guard.Locked());
}

TEST_F(LockGuardTest, UnlockOfWhatIsNotLockedFails)
{
    LockGuard guard(nullptr);

    EXPECT_EQ(guard.Unlock(), -1);
}

} // namespace
