#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"
#include "RefusedThreads.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/Log.h>
#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <cerrno>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

constexpr int EVERY = 1000; // more readings than any call makes

/// What the exported calls make of clocks that cannot be read or set.
class ClockFaultTest : public testing::Test
{
protected:
    ClockFaultTest()
    {
        ResetBuiltInLogger();
        m_Clock.SetRealTime(1715953509);
        m_Clock.SetMonotonic(500);
    }
    ~ClockFaultTest() override
    {
        UnRegisterLogger(&m_Logger);
        ResetBuiltInLogger();
    }

    FakeClock m_Clock;
    FaultPlan m_Plan;
    RecordingLogger m_Logger;
};

TEST_F(ClockFaultTest, MessageIsLoggedWithTheTimeZero)
{
    const SLevelDef all = {CATEGORY_ALL, 1000};
    RegisterLogger(&m_Logger, 1, &all);
    m_Plan.Fail(Service::ClockGettime, EINVAL);

    LogHelperFunc(4000, 5, "app.cpp", 3, L"text");

    ASSERT_EQ(m_Logger.m_Messages.size(), 1U);
    EXPECT_EQ(m_Logger.m_Messages[0].time, 0.0);
    EXPECT_EQ(m_Logger.m_Messages[0].text, L"text");
}

TEST_F(ClockFaultTest, MonotonicClockThatCannotBeReadStandsAtZero)
{
    m_Clock.SetMonotonic(0);
    const RefusedThreads noUpdates;
    InitApplicationTime();
    m_Clock.SetMonotonic(500);
    m_Plan.Fail(Service::ClockGettime, EINVAL);

    const double time = GetClockTime();

    EXPECT_EQ(time, 1715953509.0) << "the anchor, made when the monotonic clock stood at 0";
    FiniApplicationTime();
}

TEST_F(ClockFaultTest, ClockThatWasMadeWithoutAClockBeginsBeforeTheEpoch)
{
    const RefusedThreads noUpdates;
    m_Plan.Fail(Service::ClockGettime, EINVAL, 1, 2);
    InitApplicationTime();
    m_Clock.SetMonotonic(0);

    const double time = GetClockTime();

    EXPECT_EQ(time, 18446744073709550.0) << "-1000 ms, taken as a number without sign";
    FiniApplicationTime();
}

TEST_F(ClockFaultTest, SettingRefusedStepAndSlewLeavesTheSystemClock)
{
    const RefusedThreads noUpdates;
    InitApplicationTime();
    m_Plan.Fail(Service::ClockSettime, EPERM, 1, EVERY);
    m_Plan.Fail(Service::NtpAdjtime, EPERM, 1, EVERY);

    SetClockTime(1000.0);
    SetClockTime(2000.0);

    EXPECT_EQ(m_Plan.Calls(Service::ClockSettime), 1);
    EXPECT_EQ(m_Plan.Calls(Service::NtpAdjtime), 1);
    EXPECT_EQ(m_Clock.RealTime(), 1715953509000000000);
    FiniApplicationTime();
}

TEST_F(ClockFaultTest, ThrottledCallWithoutAClockLogsOnce)
{
    const SLevelDef all = {CATEGORY_ALL, 1000};
    RegisterLogger(&m_Logger, 1, &all);
    m_Plan.Fail(Service::ClockGettime, EINVAL, 1, EVERY);

    for (int i = 0; i < 3; ++i) {
        QUARN_LOG_AT_MOST_EVERY(10, LEVEL_ERROR, 5, L"text");
    }

    EXPECT_EQ(m_Logger.m_Messages.size(), 1U);
}

} // namespace
