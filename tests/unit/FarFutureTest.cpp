#include "AceLoggerTest.h"
#include "CQApplicationTime.h"
#include "CQLoggerFacade.h"
#include "RefusedThreads.h"
#include "TimeWidth.h"

#include <cstdint>
#include <set>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

struct SMoment
{
    const char* name;
    std::int64_t seconds;
    const char* line;       ///< As log lines show it.
    const char* afterwards; ///< The same, a second later.
    const char* stamp;      ///< As file names have it.
};

constexpr SMoment MOMENTS[] = {
    {"LastSecondOfShortTimes", 2147483647, "2038.01.19-03:14:07.250", "2038.01.19-03:14:08.250", "20380119-031407"},
    {"FirstSecondAfterThem", 2147483648, "2038.01.19-03:14:08.250", "2038.01.19-03:14:09.250", "20380119-031408"},
    {"SummerOf2040", 2223374400, "2040.06.15-12:00:00.250", "2040.06.15-12:00:01.250", "20400615-120000"},
    {"FebruaryOf2100", 4107542399, "2100.02.28-23:59:59.250", "2100.03.01-00:00:00.250", "21000228-235959"}};

constexpr const char* SMALLEST = "1901.12.13-20:45:52.250";

/// What short times make of a clock that they cannot take: -1 s, in an unsigned number of milliseconds.
constexpr double UNREADABLE = 18446744073709552.0;

/// Everything that tells or sets the time, on a machine whose clock stands at the end of short times or far behind it.
class FarFutureTest : public AceLoggerTest, public testing::WithParamInterface<SMoment>
{
protected:
    FarFutureTest()
    {
        m_Clock.SetRealTime(Now(), 250000000);
        m_Clock.SetMonotonic(1000);
    }

    static std::int64_t Now() { return GetParam().seconds; }

    /// Whether the library can read the clock and tell its time.
    static bool IsInReach(std::int64_t seconds) { return HAS_LONG_TIMES || seconds <= INT32_MAX; }

    /// What stands between "t=" and the blank in a line.
    std::string Stamp(double startTime, double time)
    {
        g_StartTime = startTime;
        testing::internal::CaptureStdout();
        Logger().Log(2000, 5, time, 1, "f", 2, L"x");
        const std::string line = testing::internal::GetCapturedStdout();
        const std::string::size_type begin = line.find("t=") + 2;
        return line.substr(begin, line.find(' ', begin) - begin);
    }

    RefusedThreads m_NoThreads;
};

TEST_P(FarFutureTest, LineHasItsDate)
{
    const double startTime = static_cast<double>(Now()) - 1000.0;

    EXPECT_EQ(Stamp(startTime, 1000.25), IsInReach(Now()) ? GetParam().line : SMALLEST);
    EXPECT_EQ(Stamp(startTime, 1001.25), IsInReach(Now() + 1) ? GetParam().afterwards : SMALLEST);
}

TEST_P(FarFutureTest, RotatedFileHasItsTimeStamp)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 5);
    Write(L"x");

    Logger().SetOutputStream(L"", 0, 0);

    const std::string stamp = IsInReach(Now()) ? GetParam().stamp : "19691231-235959";
    EXPECT_EQ(m_Dir.Names("log"), (std::set<std::string>{"app-" + stamp + ".txt"}));
}

TEST_P(FarFutureTest, StartTimeIsTheWallClocks)
{
    const CQLoggerFacade facade;

    EXPECT_EQ(facade.GetStartTime(),
              IsInReach(Now()) ? static_cast<double>(Now()) + 0.25 - 1000.0 : UNREADABLE - 1000.0);
}

TEST_P(FarFutureTest, ApplicationClockShowsTheWallClock)
{
    CQApplicationTime time;
    m_Clock.SetMonotonic(1060);

    EXPECT_EQ(time.GetClockTime(), IsInReach(Now()) ? static_cast<double>(Now()) + 60.25 : UNREADABLE + 60.0);
    time.UpdateClockTime();
    EXPECT_EQ(time.GetClockTime(), IsInReach(Now()) ? static_cast<double>(Now()) + 0.25 : UNREADABLE);
}

TEST_P(FarFutureTest, PackedDateEndsWithTimesOfThirtyTwoBits)
{
    const CQApplicationTime time;

    EXPECT_EQ(time.GetEepromDate(), Now() == 2147483647 ? 0x130107F6u : 0x0D0C076Du)
        << "19 January 2038, or 13 December 1901";
}

TEST_P(FarFutureTest, ClockIsSetToTheSecond)
{
    m_Clock.SetRealTime(1700000000);
    CQApplicationTime time;

    time.SetClockTime(static_cast<double>(Now()) + 0.25);

    // Short times wrap around.
    EXPECT_EQ(m_Clock.RealTime(), (IsInReach(Now()) ? Now() : Now() - 4294967296) * 1000000000 + 250000000);
}

TEST_P(FarFutureTest, ClockThatWasSetIsSlewed)
{
    m_Clock.SetRealTime(1700000000);
    CQApplicationTime time;
    time.SetClockTime(static_cast<double>(Now() - 1000));
    m_Clock.Advance(999, 990000000);

    time.SetClockTime(static_cast<double>(Now()));

    // The second request is the first that short times wrap around, to 136 years before the other one.
    const bool wraps = !IsInReach(Now()) && IsInReach(Now() - 1000);
    EXPECT_EQ(m_Clock.LastAdjustment().offset, wraps ? 1271320319 : 10000) << "10 ms";
    EXPECT_EQ(m_Clock.LastAdjustment().freq, wraps ? -1 : 10) << "10 ms in 1000 s";
}

using FarFutureRotationTest = AceLoggerTest;

// A clock that cannot be read gives every file the same name.
TEST_F(FarFutureRotationTest, SecondFileOfAClockThatCannotBeReadWaitsForOneThatCan)
{
    MakeOld("app-19691231-235959.txt");
    m_Clock.SetRealTime(2223374400);
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 5);
    m_Clock.OnSleep([&](int sleep) {
        if (sleep == 3) {
            m_Clock.SetRealTime(NOON_SHIFT);
        }
    });

    Logger().SetOutputStream(L"", 0, 0);

    EXPECT_EQ(m_Clock.Sleeps(), ByTimes(0, 3));
    EXPECT_TRUE(std::filesystem::exists(ByTimes("log/app-20400615-120000.txt", "log/app-20240517-134510.txt")));
}

INSTANTIATE_TEST_SUITE_P(Clock, FarFutureTest, testing::ValuesIn(MOMENTS),
                         [](const testing::TestParamInfo<SMoment>& test) { return test.param.name; });

} // namespace
