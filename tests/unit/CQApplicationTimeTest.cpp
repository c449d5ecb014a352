#include "CQApplicationTime.h"

#include "PlatformDoubles.h"
#include "RefusedThreads.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// A clock without its thread, so that the test alone decides when it is updated. Built at 1700000000.125 s, when the
/// monotonic clock reads 1000 s; all times are multiples of 1/8 s, which a double holds exactly.
class CQApplicationTimeTest : public testing::Test
{
protected:
    CQApplicationTimeTest()
    {
        m_Clock.SetRealTime(1700000000, 125000000);
        m_Clock.SetMonotonic(1000);
    }

    FakeClock m_Clock;
    RefusedThreads m_NoThreads;
};

TEST_F(CQApplicationTimeTest, AdvancesWithTheMonotonicClockBeforeTheFirstUpdate)
{
    const CQApplicationTime time;

    m_Clock.SetMonotonic(1002, 500000000);
    m_Clock.SetRealTime(1);

    EXPECT_EQ(time.GetClockTime(), 1700000002.625);
}

TEST_F(CQApplicationTimeTest, ConstructionTimeIsCutToMilliseconds)
{
    m_Clock.SetRealTime(1700000000, 999999999);

    const CQApplicationTime time;

    EXPECT_EQ(time.GetClockTime(), 1700000000.999);
}

TEST_F(CQApplicationTimeTest, UpdateOfClocksAtTheSameSpeedMakesTheRateAThousandth)
{
    CQApplicationTime time;
    m_Clock.Advance(60);

    const int result = time.UpdateClockTime();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(time.GetClockTime(), 1700000060.125);
    m_Clock.SetMonotonic(2060);
    EXPECT_EQ(time.GetClockTime(), 1700000061.125) << "1000 s by the monotonic clock are 1 s";
}

TEST_F(CQApplicationTimeTest, RateFollowsTheFasterRealTimeClock)
{
    CQApplicationTime time;
    m_Clock.SetRealTime(1700000120, 125000000);
    m_Clock.SetMonotonic(1060);

    time.UpdateClockTime();

    EXPECT_EQ(time.GetClockTime(), 1700000120.125);
    m_Clock.SetMonotonic(1560);
    EXPECT_EQ(time.GetClockTime(), 1700000121.125) << "the rate is 0.002";
}

TEST_F(CQApplicationTimeTest, RateIsTheMeanSinceConstruction)
{
    CQApplicationTime time;
    m_Clock.Advance(60);
    time.UpdateClockTime();
    m_Clock.SetRealTime(1700000240, 125000000); // 180 s later
    m_Clock.SetMonotonic(1120);                 // 60 s later

    time.UpdateClockTime();

    m_Clock.SetMonotonic(1620);
    EXPECT_EQ(time.GetClockTime(), 1700000241.125) << "the rate is 240/120, not 180/60, thousandths";
}

TEST_F(CQApplicationTimeTest, ClockStandsWhenNoRealTimePassed)
{
    CQApplicationTime time;
    m_Clock.SetRealTime(1700000000, 125999999); // the same millisecond
    m_Clock.SetMonotonic(1001);

    time.UpdateClockTime();

    m_Clock.SetMonotonic(5000);
    EXPECT_EQ(time.GetClockTime(), 1700000000.125);
}

TEST_F(CQApplicationTimeTest, UpdateWithoutAnyTimePassedLeavesNoNumber)
{
    CQApplicationTime time;

    time.UpdateClockTime();

    EXPECT_TRUE(std::isnan(time.GetClockTime()));
}

TEST_F(CQApplicationTimeTest, NextUpdateHealsARateThatWasNoNumber)
{
    CQApplicationTime time;
    time.UpdateClockTime();
    m_Clock.Advance(60);

    time.UpdateClockTime();

    m_Clock.SetMonotonic(2060);
    EXPECT_EQ(time.GetClockTime(), 1700000061.125);
}

TEST_F(CQApplicationTimeTest, ReadingBehindTheAnchorWrapsAround)
{
    const CQApplicationTime time;
    m_Clock.SetMonotonic(999, 999999999);

    // 1700000000.125 + (2^64 - 1) * 1e-9; a double is off by up to 2e-6 there
    EXPECT_NEAR(time.GetClockTime(), 20146744073.834553, 1e-5);
}

TEST_F(CQApplicationTimeTest, RealTimeClockFailingAtConstructionCountsAsMinusOneSecond)
{
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL);

    const CQApplicationTime time;

    // (2^64 - 1000) / 1000, to the next of the doubles, which are 4 apart there
    EXPECT_EQ(time.GetClockTime(), 18446744073709552.0);
}

TEST_F(CQApplicationTimeTest, RealTimeClockFailingAtUpdateThrowsTheClockFarAhead)
{
    CQApplicationTime time;
    m_Clock.Advance(60);
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL);

    time.UpdateClockTime();

    EXPECT_EQ(time.GetClockTime(), 18446744073709552.0);
    m_Clock.SetMonotonic(1061);
    // The real time passed is 2^64 - 1700000001125 ms, as a double 2^64 - 1700000002048; over 60 s that is a rate of
    // 307445706228.4925, by which 1 s counts. Doubles are 4 apart.
    EXPECT_EQ(time.GetClockTime(), 18447051519415780.0);
}

TEST_F(CQApplicationTimeTest, UpdateAfterAFailedOneIsRightAgain)
{
    CQApplicationTime time;
    m_Clock.Advance(60);
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL);
    time.UpdateClockTime();
    m_Clock.Advance(60);

    time.UpdateClockTime();

    m_Clock.SetMonotonic(2120);
    EXPECT_EQ(time.GetClockTime(), 1700000121.125);
}

TEST_F(CQApplicationTimeTest, ReadingTakesMillisecondsAndNanoseconds)
{
    CQApplicationTime time;
    m_Clock.SetRealTime(1700000000, 123999999);
    m_Clock.SetMonotonic(12, 34);
    CQApplicationTime::SQTimeUpdate reading{};

    time.UpdateClockTime(reading);

    EXPECT_EQ(reading.m_RealTimeMs, 1700000000123u);
    EXPECT_EQ(reading.m_MonotonicNs, 12000000034u);
}

TEST_F(CQApplicationTimeTest, FailingRealTimeReadingComesFirstAndIsMinusAThousandMilliseconds)
{
    CQApplicationTime time;
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL);
    CQApplicationTime::SQTimeUpdate reading{};

    time.UpdateClockTime(reading);

    EXPECT_EQ(reading.m_RealTimeMs, 18446744073709550616u);
    EXPECT_EQ(reading.m_MonotonicNs, 1000000000000u);
}

TEST_F(CQApplicationTimeTest, FailingMonotonicReadingIsZero)
{
    CQApplicationTime time;
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL, 2);
    CQApplicationTime::SQTimeUpdate reading{};

    time.UpdateClockTime(reading);

    EXPECT_EQ(reading.m_RealTimeMs, 1700000000125u);
    EXPECT_EQ(reading.m_MonotonicNs, 0u);
}

TEST_F(CQApplicationTimeTest, UpdateThatCannotLockLeavesTheAnchor)
{
    CQApplicationTime time;
    m_Clock.SetRealTime(1800000000);
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    const int result = time.UpdateClockTime();

    EXPECT_EQ(result, -1);
    EXPECT_EQ(time.GetClockTime(), 1700000000.125);
}

TEST_F(CQApplicationTimeTest, ReaderThatCannotLockStillTellsTheTime)
{
    const CQApplicationTime time;
    m_Clock.SetMonotonic(1001);
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    EXPECT_EQ(time.GetClockTime(), 1700000001.125);
}

TEST_F(CQApplicationTimeTest, ReadingTheClockTakesOneClockReadingAndOneLock)
{
    const CQApplicationTime time;
    const FaultPlan plan;

    time.GetClockTime();

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 1);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(CQApplicationTimeTest, MutexAttributesEndWithTheClock)
{
    const FaultPlan plan;

    {
        const CQApplicationTime time;
        EXPECT_EQ(plan.Calls(Service::MutexattrDestroy), 0);
    }

    EXPECT_EQ(plan.Calls(Service::MutexattrInit), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrSetprotocol), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrSettype), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrDestroy), 1);
}

struct SDateCase
{
    const char* name;
    const char* zone;
    std::int64_t realTime;
    std::uint32_t date;
};

class CQApplicationTimeDateTest : public testing::TestWithParam<SDateCase>
{
protected:
    void SetUp() override
    {
        setenv("TZ", GetParam().zone, 1);
        tzset();
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }

    FakeClock m_Clock;
    RefusedThreads m_NoThreads;
};

TEST_P(CQApplicationTimeDateTest, IsPackedAsDayMonthAndYear)
{
    m_Clock.SetRealTime(GetParam().realTime, 999000000);

    const CQApplicationTime time;

    EXPECT_EQ(time.GetEepromDate(), GetParam().date);
}

INSTANTIATE_TEST_SUITE_P(
    Dates, CQApplicationTimeDateTest,
    testing::Values(SDateCase{"InNovember", "UTC0", 1794744000, 0x0F0B07EA},     // 2026-11-15 12:00:00 UTC
                    SDateCase{"AheadOfUtc", "XYZ-1", 1794699000, 0x0F0B07EA},    // 2026-11-14 23:30:00 UTC
                    SDateCase{"BehindUtc", "XYZ13", 1794744000, 0x0E0B07EA},     // 2026-11-15 12:00:00 UTC
                    SDateCase{"LastDayOfAYear", "UTC0", 946684799, 0x1F0C07CF},  // 1999-12-31 23:59:59 UTC
                    SDateCase{"FirstDayOfAYear", "UTC0", 946684800, 0x010107D0}, // 2000-01-01 00:00:00 UTC
                    SDateCase{"LastSecond", "UTC0", 2147483647, 0x130107F6}),    // 2038-01-19 03:14:07 UTC
    [](const testing::TestParamInfo<SDateCase>& test) { return test.param.name; });

TEST_F(CQApplicationTimeTest, DateBeyondTheTimeOfThirtyTwoBitsIsTheEarliestOne)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    m_Clock.SetRealTime(2147483647);
    const CQApplicationTime time;

    m_Clock.SetMonotonic(1001);

    EXPECT_EQ(time.GetEepromDate(), 0x0D0C076Du) << "13 December 1901";
}

TEST_F(CQApplicationTimeTest, DateOfNoNumberIsTheEarliestOne)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    CQApplicationTime time;

    time.UpdateClockTime();

    EXPECT_EQ(time.GetEepromDate(), 0x0D0C076Du);
}

} // namespace
