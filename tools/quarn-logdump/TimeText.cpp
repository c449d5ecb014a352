#include "TimeText.h"

#include <time.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <regex>

namespace Quarn::Logging::Dump {

namespace {

constexpr std::int64_t SECONDS_PER_DAY = 86400;
constexpr double FIRST_SECOND = -62167219200.0; // of the year 0
constexpr double END_SECOND = 253402300800.0;   // of the year 10000

struct SCalendar
{
    int year, month, day, hour, minute, second, milliseconds;
};

bool IsLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int year, int month)
{
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : DAYS[month - 1];
}

bool IsValid(const SCalendar& time)
{
    return time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= DaysInMonth(time.year, time.month) &&
           time.hour <= 23 && time.minute <= 59 && time.second <= 60;
}

/// Days from 1970-01-01 to a date. The year is taken to begin in March, so that the leap day is its last one.
std::int64_t DaysOf(const SCalendar& date)
{
    const int year = date.month <= 2 ? date.year - 1 : date.year;
    const int monthFromMarch = (date.month + 9) % 12;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const int yearOfEra = year - era * 400;
    const int dayOfYear = (153 * monthFromMarch + 2) / 5 + date.day - 1;
    return std::int64_t{era} * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

/// The reverse of DaysOf(), in 64 bits on every system, unlike the C library's.
SCalendar DateOf(std::int64_t days)
{
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const int dayOfEra = static_cast<int>(shifted - era * 146097);
    const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const int year = yearOfEra + static_cast<int>(era) * 400 + (month <= 2 ? 1 : 0);
    return {year, month, dayOfYear - (153 * monthFromMarch + 2) / 5 + 1, 0, 0, 0, 0};
}

std::int64_t UtcSeconds(const SCalendar& time)
{
    return DaysOf(time) * SECONDS_PER_DAY + time.hour * 3600 + time.minute * 60 + time.second;
}

std::optional<std::int64_t> LocalSeconds(const SCalendar& time)
{
    tm calendar{};
    calendar.tm_year = time.year - 1900;
    calendar.tm_mon = time.month - 1;
    calendar.tm_mday = time.day;
    calendar.tm_hour = time.hour;
    calendar.tm_min = time.minute;
    calendar.tm_sec = time.second;
    calendar.tm_isdst = -1;
    calendar.tm_wday = -1; // stays so if the time cannot be told: -1 as a result is a time, too
    const time_t seconds = mktime(&calendar);
    if (calendar.tm_wday == -1 || seconds < INT32_MIN || seconds > INT32_MAX) {
        return std::nullopt;
    }
    return seconds;
}

int ToInt(const std::ssub_match& digits) { return digits.matched ? std::atoi(digits.str().c_str()) : 0; }

/// Seconds that a zone such as "+01:30" is ahead of UTC.
int ZoneOffset(const std::string& zone)
{
    if (zone == "Z") {
        return 0;
    }
    const int hours = std::atoi(zone.substr(1, 2).c_str());
    const int minutes = std::atoi(zone.substr(zone.size() - 2).c_str());
    return (zone[0] == '-' ? -60 : 60) * (hours * 60 + minutes);
}

std::optional<std::int64_t> ParseCalendar(const std::smatch& parts)
{
    const std::string fraction = parts[7].str() + "000";
    const SCalendar time = {ToInt(parts[1]),
                            ToInt(parts[2]),
                            ToInt(parts[3]),
                            ToInt(parts[4]),
                            ToInt(parts[5]),
                            ToInt(parts[6]),
                            std::atoi(fraction.substr(0, 3).c_str())};
    if (!IsValid(time)) {
        return std::nullopt;
    }
    const std::string zone = parts[8].str();
    const std::optional<std::int64_t> seconds = zone.empty() ? LocalSeconds(time) : UtcSeconds(time) - ZoneOffset(zone);
    return seconds ? std::optional<std::int64_t>(*seconds * 1000 + time.milliseconds) : std::nullopt;
}

} // namespace

std::optional<std::int64_t> ParseTime(const std::string& text)
{
    static const std::regex SECONDS(R"(-?\d{1,12}(\.\d{1,9})?)");
    static const std::regex CALENDAR(R"((\d{4})[-.](\d\d)[-.](\d\d)(?:[ T-](\d\d):(\d\d)(?::(\d\d)(?:[.,](\d{1,9}))?)?)"
                                     R"( ?(Z|[-+]\d\d:?\d\d)?)?)");
    std::smatch parts;
    if (text.size() > 64) {
        return std::nullopt;
    }
    if (std::regex_match(text, SECONDS)) {
        return MillisecondsOf(std::strtod(text.c_str(), nullptr));
    }
    return std::regex_match(text, parts, CALENDAR) ? ParseCalendar(parts) : std::nullopt;
}

std::optional<std::int64_t> MillisecondsOf(double wallTime)
{
    const double second = std::floor(wallTime);
    if (!(std::fabs(second) < 1e15)) {
        return std::nullopt;
    }
    // In extended precision, as the lines do it.
    const long double fraction = static_cast<long double>(wallTime - second) * 1000;
    return static_cast<std::int64_t>(second) * 1000 + static_cast<std::int64_t>(fraction);
}

std::string ToIso8601(double wallTime)
{
    const double second = std::floor(wallTime);
    if (!(second >= FIRST_SECOND && second < END_SECOND)) {
        return {};
    }
    const auto seconds = static_cast<std::int64_t>(second);
    std::int64_t days = seconds / SECONDS_PER_DAY;
    if (days * SECONDS_PER_DAY > seconds) {
        --days;
    }
    const int ofDay = static_cast<int>(seconds - days * SECONDS_PER_DAY);
    const auto microseconds = static_cast<int>(static_cast<long double>(wallTime - second) * 1000000);
    const SCalendar date = DateOf(days);
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", date.year, date.month, date.day,
                  ofDay / 3600, ofDay / 60 % 60, ofDay % 60, microseconds);
    return text;
}

} // namespace Quarn::Logging::Dump
