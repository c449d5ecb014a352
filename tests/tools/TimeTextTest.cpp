#include "TimeText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <time.h>

using namespace Quarn::Logging::Tool;

namespace {

constexpr std::int64_t NOW = 1715953509123; // 2024-05-17 13:45:09.123 UTC

std::optional<std::int64_t> Parse(const std::string& text, Ambiguous ambiguous = Ambiguous::FIRST)
{
    return ParseTime(text, NOW, ambiguous);
}

void SetZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

class TimeTextTest : public testing::Test
{
protected:
    void SetUp() override { SetZone("EST5"); }
};

TEST_F(TimeTextTest, LocalTimesAreThoseOfTheZone)
{
    EXPECT_EQ(Parse("2024-05-17 08:45:09.123"), 1715953509123);
    EXPECT_EQ(Parse("2024-05-17T08:45:09,1239"), 1715953509123);
    EXPECT_EQ(Parse("2024.05.17-08:45:09.5"), 1715953509500);
    EXPECT_EQ(Parse("2024-05-17 08:45"), 1715953500000);
    EXPECT_EQ(Parse("1969-12-31 18:59:59"), -1000);
    EXPECT_EQ(Parse("2024-05-17"), 1715922000000);
}

TEST_F(TimeTextTest, LocalTimesGoBeyondThoseOfThirtyTwoBits)
{
    EXPECT_EQ(Parse("2040-06-15 07:00"), 2223374400000);
    EXPECT_EQ(Parse("2100-02-28 18:59:59.5"), 4107542399500);
    EXPECT_EQ(Parse("9999-12-31 18:59:59"), 253402300799000);
    EXPECT_EQ(Parse("1800-01-01 00:00"), -5364644400000);
}

TEST_F(TimeTextTest, ZoneInTheTextCountsInstead)
{
    EXPECT_EQ(Parse("2024-05-17T13:45:09Z"), 1715953509000);
    EXPECT_EQ(Parse("2024-05-17T15:15:09+01:30"), 1715953509000);
    EXPECT_EQ(Parse("2024-05-17 11:45:09.25 -0200"), 1715953509250);
    EXPECT_EQ(Parse("2000-02-29T00:00Z"), 951782400000);
    EXPECT_EQ(Parse("2100-03-01T00:00Z"), 4107542400000);
}

TEST_F(TimeTextTest, NumbersAreSecondsSinceTheEpoch)
{
    EXPECT_EQ(Parse("1715953509.25"), 1715953509250);
    EXPECT_EQ(Parse("0"), 0);
    EXPECT_EQ(Parse("@1715953509.25"), 1715953509250);
    EXPECT_EQ(Parse("@-0.5"), -500);
    EXPECT_EQ(Parse("@4102444800"), 4102444800000) << "2100";
}

TEST_F(TimeTextTest, SpansAreBeforeNow)
{
    EXPECT_EQ(Parse("-1h"), NOW - 3600000);
    EXPECT_EQ(Parse("-90m"), NOW - 5400000);
    EXPECT_EQ(Parse("-1h30m"), NOW - 5400000);
    EXPECT_EQ(Parse("-30s"), NOW - 30000);
    EXPECT_EQ(Parse("-2d"), NOW - 172800000);
    EXPECT_EQ(Parse("-1w"), NOW - 604800000);
}

/// It is 08:45:09.123 there.
TEST_F(TimeTextTest, TimeOfDayIsThatOfToday)
{
    EXPECT_EQ(Parse("08:40"), 1715953200000);
    EXPECT_EQ(Parse("08:45:07.5"), 1715953507500);
    EXPECT_EQ(Parse("20:51"), 1715997060000) << "still to come";
    EXPECT_EQ(Parse("00:00"), 1715922000000);
}

TEST_F(TimeTextTest, DaysHaveNames)
{
    EXPECT_EQ(Parse("now"), NOW);
    EXPECT_EQ(Parse("today"), 1715922000000);
    EXPECT_EQ(Parse("today 00:01"), 1715922060000);
    EXPECT_EQ(Parse("yesterday"), 1715835600000);
    EXPECT_EQ(Parse("yesterday 20:51:07.5"), 1715910667500);
}

/// Of the days around, one has 23 hours and one 25.
TEST_F(TimeTextTest, DaysAreThoseOfTheCalendarWhenClocksAreSet)
{
    SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(ParseTime("yesterday", 1711922400000, Ambiguous::FIRST), 1711839600000); // 2024-04-01 00:00 CEST
    EXPECT_EQ(ParseTime("today", 1711843200000, Ambiguous::FIRST), 1711839600000);     // 2024-03-31 01:00 CET
    EXPECT_EQ(ParseTime("12:00", 1711843200000, Ambiguous::FIRST), 1711879200000);
    EXPECT_EQ(ParseTime("yesterday", 1730070000000, Ambiguous::FIRST), 1729980000000); // 2024-10-28 00:00 CET
}

TEST_F(TimeTextTest, HourThatComesTwiceIsTheOneAskedFor)
{
    SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(Parse("2024-10-27 02:30", Ambiguous::FIRST), 1729989000000);
    EXPECT_EQ(Parse("2024-10-27 02:30", Ambiguous::LAST), 1729992600000);
    EXPECT_EQ(Parse("2024-10-27 03:30", Ambiguous::FIRST), 1729996200000);
    EXPECT_EQ(Parse("2024-10-27 03:30", Ambiguous::LAST), 1729996200000);
}

TEST_F(TimeTextTest, HourThatIsLeftOutCountsAsIfClocksWereNotSet)
{
    SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(Parse("2024-03-31 02:30"), 1711848600000) << "03:30 in summer";
    EXPECT_EQ(Parse("2024-03-31 01:59"), 1711846740000);
    EXPECT_EQ(Parse("2024-03-31 03:00"), 1711846800000);
}

TEST_F(TimeTextTest, OtherTextsAreNoTimes)
{
    for (const char* text : {"",
                             "-5",
                             "-h",
                             "-1y",
                             "-1h30",
                             "--1h",
                             "1h",
                             "@",
                             "@now",
                             "20:51x",
                             "24:00",
                             "today20:51",
                             "yesterday ",
                             "tomorrow",
                             "-99999999999s",
                             "1e9",
                             "nan",
                             "2024-05-17x",
                             "2024-13-01",
                             "2023-02-29",
                             "2024-00-10",
                             "2024-05-17 24:00",
                             "2024-05-17 13:60",
                             "2024-05-17 13",
                             "1715953509.",
                             "2024-05-17 13:45:09.",
                             "2024-05-17T13:45Z ",
                             "2024-05-17T13:45+1"}) {
        EXPECT_EQ(Parse(text), std::nullopt) << text;
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
