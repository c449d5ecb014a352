#include "TimeText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <time.h>

using namespace Quarn::Logging::Tool;

namespace {

class TimeTextTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("TZ", "EST5", 1);
        tzset();
    }
};

TEST_F(TimeTextTest, LocalTimesAreThoseOfTheZone)
{
    EXPECT_EQ(ParseTime("2024-05-17 08:45:09.123"), 1715953509123);
    EXPECT_EQ(ParseTime("2024-05-17T08:45:09,1239"), 1715953509123);
    EXPECT_EQ(ParseTime("2024.05.17-08:45:09.5"), 1715953509500);
    EXPECT_EQ(ParseTime("2024-05-17 08:45"), 1715953500000);
    EXPECT_EQ(ParseTime("1969-12-31 18:59:59"), -1000);
    EXPECT_EQ(ParseTime("2024-05-17"), 1715922000000);
}

TEST_F(TimeTextTest, LocalTimesGoBeyondThoseOfThirtyTwoBits)
{
    EXPECT_EQ(ParseTime("2040-06-15 07:00"), 2223374400000);
    EXPECT_EQ(ParseTime("2100-02-28 18:59:59.5"), 4107542399500);
    EXPECT_EQ(ParseTime("9999-12-31 18:59:59"), 253402300799000);
    EXPECT_EQ(ParseTime("1800-01-01 00:00"), -5364644400000);
}

TEST_F(TimeTextTest, ZoneInTheTextCountsInstead)
{
    EXPECT_EQ(ParseTime("2024-05-17T13:45:09Z"), 1715953509000);
    EXPECT_EQ(ParseTime("2024-05-17T15:15:09+01:30"), 1715953509000);
    EXPECT_EQ(ParseTime("2024-05-17 11:45:09.25 -0200"), 1715953509250);
    EXPECT_EQ(ParseTime("2000-02-29T00:00Z"), 951782400000);
    EXPECT_EQ(ParseTime("2100-03-01T00:00Z"), 4107542400000);
}

TEST_F(TimeTextTest, NumbersAreSecondsSinceTheEpoch)
{
    EXPECT_EQ(ParseTime("1715953509.25"), 1715953509250);
    EXPECT_EQ(ParseTime("-0.5"), -500);
    EXPECT_EQ(ParseTime("0"), 0);
}

TEST_F(TimeTextTest, OtherTextsAreNoTimes)
{
    for (const char* text : {"", "now", "1e9", "nan", "2024-05-17x", "2024-13-01", "2023-02-29", "2024-00-10",
                             "2024-05-17 24:00", "2024-05-17 13:60", "2024-05-17 13", "1715953509.",
                             "2024-05-17 13:45:09.", "2024-05-17T13:45Z ", "2024-05-17T13:45+1"}) {
        EXPECT_EQ(ParseTime(text), std::nullopt) << text;
    }
}

TEST_F(TimeTextTest, MillisecondsAreCutOff)
{
    EXPECT_EQ(MillisecondsOf(1.9999), 1999);
    EXPECT_EQ(MillisecondsOf(-0.25), -250);
    EXPECT_EQ(MillisecondsOf(std::nan("")), std::nullopt);
    EXPECT_EQ(MillisecondsOf(std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(MillisecondsOf(1e300), std::nullopt);
}

TEST_F(TimeTextTest, IsoTimesAreUtc)
{
    EXPECT_EQ(ToIso8601(0.0), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(ToIso8601(1715953509.25), "2024-05-17T13:45:09.250000Z");
    EXPECT_EQ(ToIso8601(-0.5), "1969-12-31T23:59:59.500000Z");
    EXPECT_EQ(ToIso8601(951782400.0), "2000-02-29T00:00:00.000000Z");
    EXPECT_EQ(ToIso8601(4294967296.0), "2106-02-07T06:28:16.000000Z");
    EXPECT_EQ(ToIso8601(253402300799.0), "9999-12-31T23:59:59.000000Z");
    EXPECT_EQ(ToIso8601(-62167219200.0), "0000-01-01T00:00:00.000000Z");
}

TEST_F(TimeTextTest, TimesWithoutADateHaveNoText)
{
    EXPECT_EQ(ToIso8601(253402300800.0), "");
    EXPECT_EQ(ToIso8601(-1e20), "");
    EXPECT_EQ(ToIso8601(std::nan("")), "");
}

} // namespace
