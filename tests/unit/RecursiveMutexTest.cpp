#include "RecursiveMutex.h"
#include "LockGuard.h"
#include "PlatformDoubles.h"

#include <QuarnLogging/CQAllocationInfo.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

class RecursiveMutexTest : public testing::Test
{
protected:
    MutexAttributes m_Attributes;
};

bool LockFails(RecursiveMutex& mutex)
{
    bool locked = true;
    std::thread([&] {
        const int error = pthread_mutex_trylock(&mutex.lock());
        locked = error == 0;
        if (locked) {
            pthread_mutex_unlock(&mutex.lock());
        }
    }).join();
    return !locked;
}

TEST_F(RecursiveMutexTest, IsMadeAndDestroyedByCallsOfTheLibrary)
{
    FaultPlan plan;

    std::optional<RecursiveMutex> mutex(m_Attributes);

    EXPECT_EQ(plan.Calls(Service::MutexInit), 1);
    EXPECT_EQ(plan.Calls(Service::MutexDestroy), 0) << "the one that libACE made is destroyed by libACE";
    mutex.reset();
    EXPECT_EQ(plan.Calls(Service::MutexDestroy), 1);
}

TEST_F(RecursiveMutexTest, ThreadThatHoldsItTakesItAgain)
{
    RecursiveMutex mutex(m_Attributes);
    const LockGuard outer(mutex);

    const LockGuard inner(mutex);

    EXPECT_TRUE(outer.Locked());
    EXPECT_TRUE(inner.Locked());
    EXPECT_TRUE(LockFails(mutex)) << "of another thread";
}

TEST_F(RecursiveMutexTest, OneThatCannotBeMadeCannotBeLocked)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer ends a program that tries";
#endif
    FaultPlan plan;
    plan.Fail(Service::MutexInit, ENOTSUP);

    RecursiveMutex mutex(m_Attributes);

    EXPECT_FALSE(LockGuard(mutex).Locked());
}

TEST(RegistryMutexTest, IsMadeAndDestroyedByCallsOfTheLibrary)
{
    FaultPlan plan;

    std::optional<CQAllocationInfo> registry(std::in_place);

    EXPECT_EQ(plan.Calls(Service::MutexInit), 1);
    EXPECT_EQ(plan.Calls(Service::MutexDestroy), 0) << "the one that libACE made is destroyed by libACE";
    registry.reset();
    EXPECT_EQ(plan.Calls(Service::MutexDestroy), 1);
}

} // namespace
