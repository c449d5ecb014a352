#include "CQLoggerFacade.h"

#include "LogTo.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <initializer_list>
#include <memory>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A facade besides the process's own, with the thresholds that it publishes.
class CQLoggerFacadeTest : public testing::Test
{
protected:
    void Register(IQLogger& logger, std::initializer_list<SLevelDef> levels)
    {
        m_Facade.RegisterLogger(&logger, static_cast<unsigned int>(levels.size()), levels.begin());
    }
    void Modify(const IQLogger& logger, std::initializer_list<SLevelDef> levels)
    {
        m_Facade.ModifyFilter(&logger, static_cast<unsigned int>(levels.size()), levels.begin());
    }

    CQLoggerFacade m_Facade;
    RecordingLogger m_Logger;
    RecordingLogger m_Other;
};

TEST_F(CQLoggerFacadeTest, NewFacadePublishesAThousandClosedCategories)
{
    ASSERT_EQ(g_MaxLogLevels, 1000);
    for (int category = 0; category < 1000; ++category) {
        ASSERT_EQ(g_pLogLevels[category], 9999);
    }
}

TEST_F(CQLoggerFacadeTest, LaterFacadePublishesItsOwnTableAndGivesTheEarlierOneBack)
{
    Register(m_Logger, {{-1, 1000}});
    int* const earlier = g_pLogLevels;
    auto later = std::make_unique<CQLoggerFacade>();
    int* const published = g_pLogLevels;
    const int threshold = published[0];

    later.reset();

    EXPECT_NE(published, earlier);
    EXPECT_EQ(threshold, 9999);
    EXPECT_EQ(g_pLogLevels, earlier);
    EXPECT_EQ(g_pLogLevels[0], 1000);
    EXPECT_EQ(g_MaxLogLevels, 1000) << "facades are left";
}

TEST_F(CQLoggerFacadeTest, BothItsMutexesAreRecursiveAndPriorityInheriting)
{
    const FaultPlan plan;

    const CQLoggerFacade facade;

    EXPECT_EQ(plan.Calls(Service::MutexattrInit), 4) << "filter, dispatch, registration, queue";
    EXPECT_EQ(plan.Calls(Service::MutexattrSettype), 4);
    EXPECT_EQ(plan.Calls(Service::MutexattrSetprotocol), 4);
    EXPECT_EQ(LastMutexType(), PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(LastMutexProtocol(), PTHREAD_PRIO_INHERIT);
}

TEST_F(CQLoggerFacadeTest, RegistrationPublishesItsThresholds)
{
    Register(m_Logger, {{-2, 3000}, {0, 1000}, {999, 2000}, {1000, 1000}, {-5, 1000}});

    EXPECT_EQ(g_pLogLevels[0], 1000);
    EXPECT_EQ(g_pLogLevels[1], 3000);
    EXPECT_EQ(g_pLogLevels[998], 3000);
    EXPECT_EQ(g_pLogLevels[999], 2000);
}

TEST_F(CQLoggerFacadeTest, RegistrationWithoutSettingsStartsClosed)
{
    Register(m_Logger, {});

    EXPECT_EQ(g_pLogLevels[0], 9999);
    EXPECT_EQ(g_pLogLevels[999], 9999);
}

TEST_F(CQLoggerFacadeTest, TableHasTheLowerThresholdOfTwoLoggers)
{
    Register(m_Logger, {{-2, 3000}, {5, 2000}});

    Register(m_Other, {{-2, 4000}, {5, 1000}});

    EXPECT_EQ(g_pLogLevels[4], 3000);
    EXPECT_EQ(g_pLogLevels[5], 1000);
}

// Meant: a category that a logger has set apart stays at that threshold, whatever another logger has as its default.
TEST_F(CQLoggerFacadeTest, TableKeepsANamedCategoryAboveAnotherLoggersDefault)
{
    Register(m_Logger, {{-2, 1000}});

    Register(m_Other, {{5, 4000}});

    EXPECT_EQ(g_pLogLevels[4], 1000);
    EXPECT_EQ(g_pLogLevels[5], 4000);
}

TEST_F(CQLoggerFacadeTest, ModifyingAppliesOnTopOfTheSettingsThatAreThere)
{
    Register(m_Logger, {{-2, 3000}, {5, 1000}});

    Modify(m_Logger, {{6, 2000}});

    EXPECT_EQ(g_pLogLevels[4], 3000);
    EXPECT_EQ(g_pLogLevels[5], 1000);
    EXPECT_EQ(g_pLogLevels[6], 2000);
}

TEST_F(CQLoggerFacadeTest, ModifyingWithAllInFrontStartsAfresh)
{
    Register(m_Logger, {{-2, 3000}, {5, 1000}});

    Modify(m_Logger, {{-1, 4000}, {6, 2000}});

    EXPECT_EQ(g_pLogLevels[5], 4000);
    EXPECT_EQ(g_pLogLevels[6], 2000);
}

TEST_F(CQLoggerFacadeTest, ModifyingChangesTheNewestRegistrationOnly)
{
    Register(m_Logger, {{-1, 4000}});
    Register(m_Logger, {{-1, 3000}});

    Modify(m_Logger, {{-1, 9999}});

    EXPECT_EQ(g_pLogLevels[0], 4000);
}

TEST_F(CQLoggerFacadeTest, ModifyingAnUnknownLoggerChangesNoFilterAndRebuildsTheTable)
{
    Register(m_Logger, {{-2, 3000}});
    g_pLogLevels[17] = 1;

    Modify(m_Other, {{-1, 1000}});

    EXPECT_EQ(g_pLogLevels[17], 3000);
    EXPECT_EQ(g_pLogLevels[18], 3000);
}

TEST_F(CQLoggerFacadeTest, ModifyingWithoutAnyLoggerRebuildsTheTable)
{
    g_pLogLevels[17] = 1;

    Modify(m_Logger, {{-1, 1000}});

    EXPECT_EQ(g_pLogLevels[17], 9999);
}

TEST_F(CQLoggerFacadeTest, UnregisteringTakesTheThresholdsOut)
{
    Register(m_Logger, {{-2, 3000}, {5, 1000}});
    Register(m_Other, {{-2, 1000}});

    m_Facade.UnRegisterLogger(&m_Other);

    EXPECT_EQ(g_pLogLevels[4], 3000);
    EXPECT_EQ(g_pLogLevels[5], 1000);
}

TEST_F(CQLoggerFacadeTest, UnregisteringTheLastLoggerClosesTheTable)
{
    Register(m_Logger, {{-2, 3000}});

    m_Facade.UnRegisterLogger(&m_Logger);

    EXPECT_EQ(g_pLogLevels[0], 9999);
}

TEST_F(CQLoggerFacadeTest, UnregisteringRemovesTheNewestRegistrationOnly)
{
    Register(m_Logger, {{-1, 4000}});
    Register(m_Logger, {{-1, 3000}});

    m_Facade.UnRegisterLogger(&m_Logger);

    EXPECT_EQ(g_pLogLevels[0], 4000);
}

TEST_F(CQLoggerFacadeTest, UnregisteringAnUnknownLoggerRebuildsTheTable)
{
    Register(m_Logger, {{-2, 3000}});
    g_pLogLevels[17] = 1;

    m_Facade.UnRegisterLogger(&m_Other);

    EXPECT_EQ(g_pLogLevels[17], 3000);
}

TEST_F(CQLoggerFacadeTest, UnregisteringWithoutAnyLoggerDoesNothingAtAll)
{
    g_pLogLevels[17] = 1;
    const FaultPlan plan;

    m_Facade.UnRegisterLogger(&m_Logger);

    EXPECT_EQ(plan.Calls(Service::MutexLock), 0);
    EXPECT_EQ(g_pLogLevels[17], 1);
}

TEST_F(CQLoggerFacadeTest, LockThatCannotBeTakenKeepsALoggerFromBeingRegistered)
{
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    Register(m_Logger, {{-1, 1000}});

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
    EXPECT_EQ(g_pLogLevels[0], 9999);
}

TEST_F(CQLoggerFacadeTest, LockThatCannotBeTakenKeepsAFilterAsItWas)
{
    Register(m_Logger, {{-1, 4000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    Modify(m_Logger, {{-1, 1000}});

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1) << "no rebuild either";
    EXPECT_EQ(g_pLogLevels[0], 4000);
}

TEST_F(CQLoggerFacadeTest, LockThatCannotBeTakenKeepsALoggerRegistered)
{
    Register(m_Logger, {{-1, 4000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    m_Facade.UnRegisterLogger(&m_Logger);

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
    EXPECT_EQ(g_pLogLevels[0], 4000);
}

TEST_F(CQLoggerFacadeTest, LockThatCannotBeTakenKeepsADispatchFromStarting)
{
    Register(m_Logger, {{-1, 1000}});
    LogTo(m_Facade, 4000, 1, L"waits");
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    m_Facade.DispatchLogMessages();
    const auto deliveredByTheFailedOne = m_Logger.Texts();
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(deliveredByTheFailedOne, IsEmpty());
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"waits"));
}

TEST_F(CQLoggerFacadeTest, LockOfTheQueueThatFailsLosesTheMessageUncounted)
{
    Register(m_Logger, {{-1, 1000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    LogTo(m_Facade, 4000, 1, L"lost");
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
    EXPECT_THAT(m_Logger.m_Dropped, IsEmpty());
}

TEST_F(CQLoggerFacadeTest, CategoryInTheTableCostsOnlyTheLockOfTheQueue)
{
    const FaultPlan plan;

    LogTo(m_Facade, 4000, 999, L"text");

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(CQLoggerFacadeTest, CategoryOutsideTheTableCostsTheLockOfTheCombinedFilterToo)
{
    Register(m_Logger, {{-1, 1000}});
    const FaultPlan plan;

    LogTo(m_Facade, 4000, 1000, L"text");

    EXPECT_EQ(plan.Calls(Service::MutexLock), 2);
}

TEST_F(CQLoggerFacadeTest, CategoryOutsideTheTableIsJudgedByTheDefaultIfTheLockFails)
{
    Register(m_Logger, {{-2, 4000}, {1000, 1000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    LogTo(m_Facade, 3000, 1000, L"stopped by the default");
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

TEST_F(CQLoggerFacadeTest, TimeIsThatOfTheMonotonicClock)
{
    FakeClock clock;
    clock.SetMonotonic(12, 500000000);

    const double time = CQLoggerFacade::GetTime();

    EXPECT_EQ(time, 12.5);
}

TEST_F(CQLoggerFacadeTest, ThreadIdIsTheCallersPthreadHandleCutToThirtyTwoBits)
{
    const unsigned int threadId = CQLoggerFacade::GetThreadId();

    EXPECT_EQ(threadId, static_cast<unsigned int>(pthread_self() & 0xFFFFFFFFu));
}

TEST(CQLoggerFacadeStartTimeTest, IsTheWallClockTimeAtWhichTheMonotonicClockReadZero)
{
    FakeClock clock;
    clock.SetRealTime(1715953509, 750000000);
    clock.SetMonotonic(100, 250000000);

    const CQLoggerFacade facade;

    EXPECT_EQ(facade.GetStartTime(), 1715953409.5);
}

TEST(CQLoggerFacadeStartTimeTest, CutsTheWallClockToWholeMilliseconds)
{
    FakeClock clock;
    clock.SetRealTime(1715953509, 750999999);
    clock.SetMonotonic(0);

    const CQLoggerFacade facade;

    EXPECT_EQ(facade.GetStartTime(), 1715953509.75);
}

TEST(CQLoggerFacadeStartTimeTest, KeepsTheNanosecondsOfTheMonotonicClock)
{
    FakeClock clock;
    clock.SetRealTime(1);
    clock.SetMonotonic(0, 1953125); // 2^-9 s

    const CQLoggerFacade facade;

    EXPECT_DOUBLE_EQ(facade.GetStartTime(), 0.998046875);
}

TEST(CQLoggerFacadeStartTimeTest, GoesBeforeTheEpochIfTheMonotonicClockIsAhead)
{
    FakeClock clock;
    clock.SetRealTime(10);
    clock.SetMonotonic(50);

    const CQLoggerFacade facade;

    EXPECT_EQ(facade.GetStartTime(), -40.0);
}

// -1 s is -1000 ms, which as an unsigned number of 64 bits is 18446744073709550616.
TEST(CQLoggerFacadeStartTimeTest, TakesAnUnreadableWallClockAsMinusOneSecondUnsigned)
{
    FakeClock clock;
    clock.SetMonotonic(4096);
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL, 1);

    const CQLoggerFacade facade;

    EXPECT_EQ(facade.GetStartTime(), 18446744073705456.0);
}

TEST(CQLoggerFacadeStartTimeTest, StaysWhenTheClocksMoveOn)
{
    FakeClock clock;
    clock.SetRealTime(1000);
    clock.SetMonotonic(100);
    const CQLoggerFacade facade;

    clock.Advance(50);
    clock.SetRealTime(7);

    EXPECT_EQ(facade.GetStartTime(), 900.0);
}

} // namespace
