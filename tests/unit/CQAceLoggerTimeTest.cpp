#include "AceLoggerTest.h"
#include "TimeWidth.h"

#include <limits>
#include <string>

using namespace QuarnTest;

namespace {

/// The time stamp in a line.
class CQAceLoggerTimeTest : public AceLoggerTest
{
protected:
    /// What stands between "t=" and the blank.
    std::string Stamp(double startTime, double time)
    {
        g_StartTime = startTime;
        testing::internal::CaptureStdout();
        Logger().Log(2000, 5, time, 1, "f", 2, L"x");
        const std::string line = testing::internal::GetCapturedStdout();
        const std::string::size_type begin = line.find("t=") + 2;
        return line.substr(begin, line.find(' ', begin) - begin);
    }
};

TEST_F(CQAceLoggerTimeTest, StartTimeAndMessageTimeAreAdded)
{
    EXPECT_EQ(Stamp(1715953500.0, 9.0), "2024.05.17-13:45:09.000");
}

TEST_F(CQAceLoggerTimeTest, FractionOfTheSumGivesTheMilliseconds)
{
    EXPECT_EQ(Stamp(1715953509.75, 0.5), "2024.05.17-13:45:10.250");
}

TEST_F(CQAceLoggerTimeTest, MillisecondsAreTruncated)
{
    EXPECT_EQ(Stamp(1715953509.0, 0.9996), "2024.05.17-13:45:09.999");
    EXPECT_EQ(Stamp(0.0, 0.0009765625), "1970.01.01-00:00:00.000");
    EXPECT_EQ(Stamp(0.0, 0.001953125), "1970.01.01-00:00:00.001");
}

// The sum has a bit more than a double takes: its seconds are still 09, but as a double it is 10 exactly.
TEST_F(CQAceLoggerTimeTest, SecondsComeFromTheSumBeforeItIsRounded)
{
    EXPECT_EQ(Stamp(1715953509.75, 0.25 - 1.0 / 1073741824), "2024.05.17-13:45:09.000");
}

TEST_F(CQAceLoggerTimeTest, NumbersArePaddedWithZeros)
{
    EXPECT_EQ(Stamp(1704164645.0, 0.0078125), "2024.01.02-03:04:05.007");
}

TEST_F(CQAceLoggerTimeTest, LeapDayIsADay)
{
    EXPECT_EQ(Stamp(1709251199.0, 0.0), "2024.02.29-23:59:59.000");
    EXPECT_EQ(Stamp(1709251199.0, 1.0), "2024.03.01-00:00:00.000");
}

TEST_F(CQAceLoggerTimeTest, SecondsBeforeTheEpochAreTruncatedTowardsZero)
{
    EXPECT_EQ(Stamp(0.0, -0.5), "1970.01.01-00:00:00.500");
    EXPECT_EQ(Stamp(0.0, -1.0), "1969.12.31-23:59:59.000");
    EXPECT_EQ(Stamp(0.0, -1.75), "1969.12.31-23:59:59.250");
}

TEST_F(CQAceLoggerTimeTest, MomentBeforeAFullSecondHasNoThousandMilliseconds)
{
    EXPECT_EQ(Stamp(0.0, -1e-18), "1970.01.01-00:00:00.999");
    EXPECT_EQ(Stamp(0.0, -1e-30), "1970.01.01-00:00:00.999");
}

TEST_F(CQAceLoggerTimeTest, LastSecondOfThirtyTwoBitsIsStillADate)
{
    EXPECT_EQ(Stamp(2147483647.0, 0.0), "2038.01.19-03:14:07.000");
    EXPECT_EQ(Stamp(2147483647.0, 0.5), "2038.01.19-03:14:07.500");
}

constexpr const char* SMALLEST = "1901.12.13-20:45:52.000";

TEST_F(CQAceLoggerTimeTest, LaterSecondIsADateWhereTimesAreLong)
{
    EXPECT_EQ(Stamp(2147483648.0, 0.0), ByTimes("2038.01.19-03:14:08.000", SMALLEST));
    EXPECT_EQ(Stamp(2147483648.0, 0.25), ByTimes("2038.01.19-03:14:08.250", "1901.12.13-20:45:52.250"));
    EXPECT_EQ(Stamp(4294967296.0, 0.0), ByTimes("2106.02.07-06:28:16.000", SMALLEST));
    EXPECT_EQ(Stamp(253402300799.0, 0.5), ByTimes("9999.12.31-23:59:59.500", "1901.12.13-20:45:52.500"));
}

TEST_F(CQAceLoggerTimeTest, EarlierSecondIsADateWhereTimesAreLong)
{
    EXPECT_EQ(Stamp(-2147483647.0, 0.0), "1901.12.13-20:45:53.000");
    EXPECT_EQ(Stamp(-2147483648.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(-2147483648.0, -0.5), "1901.12.13-20:45:52.500");
    EXPECT_EQ(Stamp(-2147483649.0, 0.0), ByTimes("1901.12.13-20:45:51.000", SMALLEST));
    EXPECT_EQ(Stamp(-62167219200.0, 0.0), ByTimes("0000.01.01-00:00:00.000", SMALLEST));
}

TEST_F(CQAceLoggerTimeTest, YearHasAtLeastFourCharacters)
{
    EXPECT_EQ(Stamp(253402300800.0, 0.0), ByTimes("10000.01.01-00:00:00.000", SMALLEST));
    EXPECT_EQ(Stamp(-62167219201.0, 0.0), ByTimes("-001.12.31-23:59:59.000", SMALLEST));
    EXPECT_EQ(Stamp(-93692592000.0, 0.0), ByTimes("-999.01.01-00:00:00.000", SMALLEST));
    EXPECT_EQ(Stamp(-93692592001.0, 0.0), ByTimes("-1000.12.31-23:59:59.000", SMALLEST));
}

TEST_F(CQAceLoggerTimeTest, YearThatNoIntTakesIsTheOneOfTheSmallestTime)
{
    EXPECT_EQ(Stamp(67767976233532792.0, 0.0), ByTimes("2147483647.12.31-23:59:52.000", SMALLEST));
    EXPECT_EQ(Stamp(67767976233532800.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(-67768040609740800.0, 0.0), ByTimes("-2147481748.01.01-00:00:00.000", SMALLEST));
    EXPECT_EQ(Stamp(-67768040609740808.0, 0.0), SMALLEST);
}

TEST_F(CQAceLoggerTimeTest, TimeThatDoesNotFitIsTheSmallestOne)
{
    EXPECT_EQ(Stamp(9223372036854774784.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(9223372036854775808.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(-9223372036854775808.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(-9223372036854777856.0, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(1e300, 0.0), SMALLEST);
    EXPECT_EQ(Stamp(-1e300, 0.0), SMALLEST);
}

TEST_F(CQAceLoggerTimeTest, TimeThatIsNoNumberIsTheSmallestOneWithoutMilliseconds)
{
    const double infinity = std::numeric_limits<double>::infinity();

    EXPECT_EQ(Stamp(0.0, std::numeric_limits<double>::quiet_NaN()), SMALLEST);
    EXPECT_EQ(Stamp(0.0, infinity), SMALLEST);
    EXPECT_EQ(Stamp(0.0, -infinity), SMALLEST);
    EXPECT_EQ(Stamp(infinity, -infinity), SMALLEST);
}

TEST_F(CQAceLoggerTimeTest, DateIsTheOneOfTheTimeZone)
{
    SetTimeZone("NZST-12NZDT,M9.5.0,M4.1.0/3");

    EXPECT_EQ(Stamp(1715953509.0, 0.0), "2024.05.18-01:45:09.000");
}

TEST_F(CQAceLoggerTimeTest, SummerTimeApplies)
{
    SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");

    EXPECT_EQ(Stamp(1711846799.0, 0.0), "2024.03.31-01:59:59.000");
    EXPECT_EQ(Stamp(1711846800.0, 0.0), "2024.03.31-03:00:00.000");
}

TEST_F(CQAceLoggerTimeTest, SmallestTimeIsLocalToo)
{
    SetTimeZone("EST5");

    EXPECT_EQ(Stamp(1e300, 0.0), "1901.12.13-15:45:52.000");
}

} // namespace
