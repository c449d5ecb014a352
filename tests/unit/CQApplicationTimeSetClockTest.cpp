#include "CQApplicationTime.h"

#include "PlatformDoubles.h"
#include "RefusedThreads.h"
#include "TimeWidth.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

timespec At(int seconds, int nanoseconds)
{
    timespec t{};
    t.tv_sec = seconds;
    t.tv_nsec = nanoseconds;
    return t;
}

class CQApplicationTimeSetClockTest : public testing::Test
{
protected:
    CQApplicationTimeSetClockTest()
    {
        m_Clock.SetRealTime(1600000000);
        m_Clock.SetMonotonic(1000);
    }

    FakeClock m_Clock;
    RefusedThreads m_NoThreads;
    CQApplicationTime m_Time;
};

TEST_F(CQApplicationTimeSetClockTest, FirstRequestStepsTheSystemClock)
{
    const FaultPlan plan;

    m_Time.SetClockTime(1700000000.25);

    EXPECT_EQ(m_Clock.RealTime(), 1700000000250000000);
    EXPECT_EQ(plan.Calls(Service::ClockSettime), 1);
    EXPECT_EQ(plan.Calls(Service::NtpAdjtime), 0);
}

TEST_F(CQApplicationTimeSetClockTest, LeavesTheApplicationClockToTheNextUpdate)
{
    CQApplicationTime time;

    time.SetClockTime(1700000000.0);

    EXPECT_EQ(time.GetClockTime(), 1600000000.0);
    m_Clock.Advance(60);
    time.UpdateClockTime();
    EXPECT_EQ(time.GetClockTime(), 1700000060.0);
}

TEST_F(CQApplicationTimeSetClockTest, TakesNoLock)
{
    m_Time.SetClockTime(1700000000.0);
    const FaultPlan plan;

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(plan.Calls(Service::MutexLock), 0);
}

TEST_F(CQApplicationTimeSetClockTest, FractionIsTakenInExtendedPrecision)
{
    m_Time.SetClockTime(1700000000.1);

    // The double is 1700000000.0999999046...; a product rounded to a double would be a multiple of 256.
    EXPECT_EQ(m_Clock.RealTime(), 1700000000099999904);
}

TEST_F(CQApplicationTimeSetClockTest, SecondRequestSlewsASlowClock)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000099, 990000000);
    const FaultPlan plan;

    m_Time.SetClockTime(1700000100.0);

    timex expected{};
    expected.modes = 3;
    expected.offset = 10000; // us
    expected.freq = 100;     // ppm: 10 ms in 100 s
    const timex adjustment = m_Clock.LastAdjustment();
    EXPECT_EQ(adjustment.modes, expected.modes);
    EXPECT_EQ(adjustment.offset, expected.offset);
    EXPECT_EQ(adjustment.freq, expected.freq);
    EXPECT_EQ(std::memcmp(&adjustment, &expected, sizeof expected), 0) << "all other fields are 0";
    EXPECT_EQ(plan.Calls(Service::NtpAdjtime), 1);
    EXPECT_EQ(plan.Calls(Service::ClockSettime), 0);
}

// A second one, taken after the correction, would leave the time between them out of the next frequency.
TEST_F(CQApplicationTimeSetClockTest, SlewReadsTheSystemClockOnce)
{
    m_Time.SetClockTime(1700000000.0);
    const FaultPlan plan;

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 1);
}

TEST_F(CQApplicationTimeSetClockTest, OffsetOfAFastClockIsALargePositiveNumber)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000100, 1000000);

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(m_Clock.LastAdjustment().offset, 1271309319) << "(2^64 - 1000000) / 1000, its low 32 bits";
    EXPECT_EQ(m_Clock.LastAdjustment().freq, -10);
}

TEST_F(CQApplicationTimeSetClockTest, OffsetAndFrequencyAreTruncated)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000099, 999849001);

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(m_Clock.LastAdjustment().offset, 150) << "150.999 us";
    EXPECT_EQ(m_Clock.LastAdjustment().freq, 1) << "1.50999 ppm";
}

TEST_F(CQApplicationTimeSetClockTest, NegativeFrequencyIsTruncatedTowardsZero)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000100, 150000);

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(m_Clock.LastAdjustment().freq, -1) << "-1.5 ppm";
    EXPECT_EQ(m_Clock.LastAdjustment().offset, 1271310169) << "(2^64 - 150000) / 1000, its low 32 bits";
}

TEST_F(CQApplicationTimeSetClockTest, OffsetHasTheSignOfThirtyTwoBits)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000100);

    m_Time.SetClockTime(1700003100.0);

    EXPECT_EQ(m_Clock.LastAdjustment().offset, -1294967296) << "3000000000 us less 2^32";
    EXPECT_EQ(m_Clock.LastAdjustment().freq, 967741) << "3000 s in 3100 s";
}

TEST_F(CQApplicationTimeSetClockTest, FrequencyWrapsWhereItsProductExceedsSixtyFourBits)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000100);

    m_Time.SetClockTime(1700010100.0);

    EXPECT_EQ(m_Clock.LastAdjustment().freq, -836311) << "(10^19 - 2^64) / 10100000000000";
}

TEST_F(CQApplicationTimeSetClockTest, FrequencyIsCutToThirtyTwoBits)
{
    m_Time.SetClockTime(At(1700000000, 0));
    m_Clock.SetRealTime(1699999990);

    m_Time.SetClockTime(At(1700000000, 1));

    EXPECT_EQ(m_Clock.LastAdjustment().freq, 1875919424) << "10000000001000000 modulo 2^32";
}

TEST_F(CQApplicationTimeSetClockTest, RequestOneNanosecondBackDividesByMinusOne)
{
    m_Time.SetClockTime(At(1700000000, 0));
    m_Clock.SetRealTime(1700000000, 1);

    m_Time.SetClockTime(At(1699999999, 999999999));

    EXPECT_EQ(m_Clock.LastAdjustment().freq, 2000000);
}

TEST_F(CQApplicationTimeSetClockTest, QuotientBeyondSixtyFourBitsWrapsInsteadOfTrapping)
{
    m_Time.SetClockTime(At(1700000000, 0));
    m_Clock.SetRealTime(1555884811, 924144127); // 2^57 + 1 ns back, so that the product is -2^63

    m_Time.SetClockTime(At(1699999999, 999999999));

    EXPECT_EQ(m_Clock.LastAdjustment().modes, 3u);
    EXPECT_EQ(m_Clock.LastAdjustment().freq, 0) << "the low 32 bits of 2^63";
}

TEST_F(CQApplicationTimeSetClockTest, SameTimeTwiceCorrectsTheOffsetAlone)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1699999999);

    m_Time.SetClockTime(1700000000.0);

    EXPECT_EQ(m_Clock.LastAdjustment().modes, 3u);
    EXPECT_EQ(m_Clock.LastAdjustment().offset, 1000000);
    EXPECT_EQ(m_Clock.LastAdjustment().freq, 0);
}

TEST_F(CQApplicationTimeSetClockTest, EachRequestIsMeasuredFromTheOneBefore)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000150);
    m_Time.SetClockTime(1700000100.0);
    m_Clock.SetRealTime(1700000349, 980000000);

    m_Time.SetClockTime(1700000300.0);

    EXPECT_EQ(m_Clock.LastAdjustment().freq, 100) << "199.98 s instead of 200 s";
}

TEST_F(CQApplicationTimeSetClockTest, FailedSlewIsForgotten)
{
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1700000150);
    FaultPlan plan;
    plan.Fail(Service::NtpAdjtime, EPERM);
    m_Time.SetClockTime(1700000100.0);
    m_Clock.SetRealTime(1700000349, 980000000);

    m_Time.SetClockTime(1700000300.0);

    EXPECT_EQ(m_Clock.LastAdjustment().freq, 100);
}

TEST_F(CQApplicationTimeSetClockTest, SlewAfterAFailedStepMeasuresFromTheClockAsItWas)
{
    FaultPlan plan;
    plan.Fail(Service::ClockSettime, EPERM);
    m_Time.SetClockTime(1700000000.0);
    m_Clock.SetRealTime(1600000099, 990000000);

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(plan.Calls(Service::ClockSettime), 1);
    EXPECT_EQ(m_Clock.LastAdjustment().offset, 276457232) << "100000000010000 us modulo 2^32";
    EXPECT_EQ(m_Clock.LastAdjustment().freq, 100) << "99.99 s instead of 100 s";
}

TEST_F(CQApplicationTimeSetClockTest, SlewFollowsARequestOfTheEpochThatFailed)
{
    FaultPlan plan;
    plan.Fail(Service::ClockSettime, EPERM);
    m_Time.SetClockTime(0.0);

    m_Time.SetClockTime(100.0);

    EXPECT_EQ(plan.Calls(Service::ClockSettime), 1);
    EXPECT_EQ(plan.Calls(Service::NtpAdjtime), 1);
}

TEST_F(CQApplicationTimeSetClockTest, SlewFollowsAStepAfterWhichTheClockCouldNotBeRead)
{
    FaultPlan plan;
    plan.Fail(Service::ClockGettime, EINVAL);
    m_Time.SetClockTime(1700000000.0);

    m_Time.SetClockTime(1700000100.0);

    EXPECT_EQ(plan.Calls(Service::ClockSettime), 1);
    EXPECT_EQ(plan.Calls(Service::NtpAdjtime), 1);
}

TEST_F(CQApplicationTimeSetClockTest, RequestOfTheEpochIsFollowedByAnotherStep)
{
    const FaultPlan plan;
    m_Time.SetClockTime(0.0);

    m_Time.SetClockTime(1700000000.0);

    EXPECT_EQ(plan.Calls(Service::ClockSettime), 2);
    EXPECT_EQ(m_Clock.RealTime(), 1700000000000000000);
}

struct SSecondsCase
{
    const char* name;
    double seconds;
    std::int64_t second; ///< Of a long time; a short one has its low 32 bits.
    long nanosecond;
};

class CQApplicationTimeSecondsTest : public testing::TestWithParam<SSecondsCase>
{
protected:
    FakeClock m_Clock;
    RefusedThreads m_NoThreads;
};

TEST_P(CQApplicationTimeSecondsTest, BecomeUnsignedNanosecondsAndThenSeconds)
{
    CQApplicationTime time;

    time.SetClockTime(GetParam().seconds);

    const timespec setting = m_Clock.LastSetting();
    EXPECT_EQ(setting.tv_sec, HAS_LONG_TIMES ? GetParam().second : static_cast<std::int32_t>(GetParam().second));
    EXPECT_EQ(setting.tv_nsec, GetParam().nanosecond);
}

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Requests, CQApplicationTimeSecondsTest,
    testing::Values(SSecondsCase{"Whole", 1700000000.0, 1700000000, 0}, SSecondsCase{"BelowANanosecond", 1e-10, 0, 0},
                    SSecondsCase{"LastOfThirtyTwoBits", 2147483647.75, 2147483647, 750000000},
                    SSecondsCase{"BeyondSignedThirtyTwoBits", 3000000000.0, 3000000000, 0},
                    SSecondsCase{"BeyondUnsignedThirtyTwoBits", 5000000000.0, 5000000000, 0},
                    SSecondsCase{"LastOfSignedSixtyFourBitNanoseconds", 9223372036.5, 9223372036, 500000000},
                    SSecondsCase{"BeyondSignedSixtyFourBitNanoseconds", 1e10, 10000000000, 0},
                    SSecondsCase{"BeyondUnsignedSixtyFourBitNanoseconds", 2e10, 0, 0},
                    SSecondsCase{"Huge", 1e300, 0, 0}, SSecondsCase{"Infinite", INFINITE, 0, 0},
                    SSecondsCase{"Negative", -1.5, 18446744072, 209551616},             // (2^64 - 1500000000) ns
                    SSecondsCase{"HugeNegative", -1e300, 9223372036, 854775808},        // 2^63 ns
                    SSecondsCase{"InfiniteNegative", -INFINITE, 9223372036, 854775808}, // 2^63 ns
                    SSecondsCase{"NotANumber", NOT_A_NUMBER, 9223372036, 854775808}),   // 2^63 ns
    [](const testing::TestParamInfo<SSecondsCase>& test) { return test.param.name; });

} // namespace
