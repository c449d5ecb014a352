#include "TimeText.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::int64_t SECONDS_PER_DAY = 86400;
constexpr std::int64_t LONGEST_SPAN = SECONDS_PER_DAY * 1000 * 366 * 10000; // ms
constexpr double FIRST_SECOND = -62167219200.0;                             // of the year 0
constexpr double END_SECOND = 253402300800.0;                               // of the year 10000

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

/// The reverse of DaysOf().
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

/// With daylight saving time (1), without (0), or whichever there is (-1).
std::optional<std::int64_t> LocalSeconds(const SCalendar& time, int isDst)
{
    tm calendar{};
    calendar.tm_year = time.year - 1900;
    calendar.tm_mon = time.month - 1;
    calendar.tm_mday = time.day;
    calendar.tm_hour = time.hour;
    calendar.tm_min = time.minute;
    calendar.tm_sec = time.second;
    calendar.tm_isdst = isDst;
    calendar.tm_wday = -1; // stays so if the time cannot be told: -1 as a result is a time, too
    static_assert(sizeof(time_t) == 8, "a year up to 9999");
    const time_t seconds = mktime(&calendar);
    if (calendar.tm_wday == -1 || (isDst != -1 && (calendar.tm_isdst != isDst || calendar.tm_hour != time.hour))) {
        return std::nullopt;
    }
    return seconds;
}

std::optional<std::int64_t> LocalSeconds(const SCalendar& time, Ambiguous ambiguous)
{
    const std::optional<std::int64_t> summer = LocalSeconds(time, 1);
    const std::optional<std::int64_t> winter = LocalSeconds(time, 0);
    if (summer && winter) {
        return ambiguous == Ambiguous::FIRST ? std::min(*summer, *winter) : std::max(*summer, *winter);
    }
    return LocalSeconds(time, -1);
}

SCalendar DayOfLocal(std::int64_t seconds)
{
    const auto time = static_cast<time_t>(seconds);
    tm calendar{};
    localtime_r(&time, &calendar);
    return {calendar.tm_year + 1900, calendar.tm_mon + 1, calendar.tm_mday, 0, 0, 0, 0};
}

/// Takes a text apart from its front. What does not fit is left in place.
class Cursor
{
public:
    explicit Cursor(std::string_view text)
        : m_Rest(text)
    {
    }

    bool AtEnd() const { return m_Rest.empty(); }

    /// Takes one character if it is one of some; 0 if not.
    char Take(std::string_view oneOf)
    {
        if (AtEnd() || oneOf.find(m_Rest.front()) == std::string_view::npos) {
            return '\0';
        }
        const char taken = m_Rest.front();
        m_Rest.remove_prefix(1);
        return taken;
    }

    bool TakeWord(std::string_view word)
    {
        const bool isThere = m_Rest.substr(0, word.size()) == word;
        m_Rest.remove_prefix(isThere ? word.size() : 0);
        return isThere;
    }

    /// Takes as many digits as there are, up to most.
    std::string_view TakeDigits(std::size_t most)
    {
        const std::size_t count = std::min(m_Rest.find_first_not_of("0123456789"), std::min(m_Rest.size(), most));
        const std::string_view digits = m_Rest.substr(0, count);
        m_Rest.remove_prefix(count);
        return digits;
    }

    /// Takes a number of so many digits.
    bool TakeNumber(std::size_t digits, int& number)
    {
        const std::string_view taken = TakeDigits(digits);
        number = 0;
        for (const char digit : taken) {
            number = number * 10 + (digit - '0');
        }
        return taken.size() == digits;
    }

private:
    std::string_view m_Rest;
};

bool TakeDate(Cursor& cursor, SCalendar& time)
{
    return cursor.TakeNumber(4, time.year) && cursor.Take("-.") && cursor.TakeNumber(2, time.month) &&
           cursor.Take("-.") && cursor.TakeNumber(2, time.day);
}

bool TakeTimeOfDay(Cursor& cursor, SCalendar& time)
{
    if (!cursor.TakeNumber(2, time.hour) || !cursor.Take(":") || !cursor.TakeNumber(2, time.minute)) {
        return false;
    }
    if (!cursor.Take(":")) {
        return true;
    }
    if (!cursor.TakeNumber(2, time.second)) {
        return false;
    }
    if (!cursor.Take(".,")) {
        return true;
    }
    const std::string fraction(cursor.TakeDigits(9));
    time.milliseconds = std::atoi((fraction + "000").substr(0, 3).c_str());
    return !fraction.empty();
}

/// Seconds that the zone at the end of a text is ahead of UTC.
bool TakeZone(Cursor& cursor, int& seconds)
{
    cursor.Take(" ");
    if (cursor.Take("Z")) {
        seconds = 0;
        return cursor.AtEnd();
    }
    int hours = 0;
    int minutes = 0;
    const char sign = cursor.Take("+-");
    if (sign == '\0' || !cursor.TakeNumber(2, hours)) {
        return false;
    }
    cursor.Take(":");
    const bool complete = cursor.TakeNumber(2, minutes) && cursor.AtEnd();
    seconds = (sign == '-' ? -60 : 60) * (hours * 60 + minutes);
    return complete;
}

std::optional<std::int64_t> ToMilliseconds(std::optional<std::int64_t> seconds, const SCalendar& time)
{
    return seconds ? std::optional<std::int64_t>(*seconds * 1000 + time.milliseconds) : std::nullopt;
}

std::optional<std::int64_t> ParseCalendar(const std::string& text, Ambiguous ambiguous)
{
    Cursor cursor(text);
    SCalendar time{};
    if (!TakeDate(cursor, time) || (cursor.Take(" T-") && !TakeTimeOfDay(cursor, time)) || !IsValid(time)) {
        return std::nullopt;
    }
    int zone = 0;
    if (cursor.AtEnd()) {
        return ToMilliseconds(LocalSeconds(time, ambiguous), time);
    }
    return TakeZone(cursor, zone) ? ToMilliseconds(UtcSeconds(time) - zone, time) : std::nullopt;
}

/// A time of this day or the day before.
std::optional<std::int64_t> ParseDay(const std::string& text, std::int64_t nowMs, Ambiguous ambiguous)
{
    Cursor cursor(text);
    SCalendar time = DayOfLocal(nowMs / 1000);
    const bool isYesterday = cursor.TakeWord("yesterday");
    const bool isNamed = isYesterday || cursor.TakeWord("today");
    if (isYesterday) {
        time = DateOf(DaysOf(time) - 1);
    }
    const bool isWholeDay = isNamed && cursor.AtEnd();
    if (!isWholeDay && ((isNamed && !cursor.Take(" ")) || !TakeTimeOfDay(cursor, time))) {
        return std::nullopt;
    }
    return cursor.AtEnd() && IsValid(time) ? ToMilliseconds(LocalSeconds(time, ambiguous), time) : std::nullopt;
}

/// Milliseconds of a unit; 0 for what is none.
std::int64_t MillisecondsOfUnit(char unit)
{
    switch (unit) {
    case 's':
        return 1000;
    case 'm':
        return 60 * 1000;
    case 'h':
        return 3600 * 1000;
    case 'd':
        return SECONDS_PER_DAY * 1000;
    case 'w':
        return 7 * SECONDS_PER_DAY * 1000;
    default:
        return 0;
    }
}

/// A span, such as "-1h30m", before now.
std::optional<std::int64_t> ParseSpan(const std::string& text, std::int64_t nowMs)
{
    Cursor cursor(text);
    if (!cursor.Take("-")) {
        return std::nullopt;
    }
    std::int64_t span = 0;
    do {
        const std::string number(cursor.TakeDigits(9));
        const std::int64_t unit = MillisecondsOfUnit(cursor.Take("smhdw"));
        if (number.empty() || unit == 0 || span > LONGEST_SPAN) {
            return std::nullopt;
        }
        span += std::atoll(number.c_str()) * unit;
    } while (!cursor.AtEnd());
    return nowMs - span;
}

/// Seconds since the epoch, with or without a fraction. Behind an "@" there may be a minus sign.
std::optional<std::int64_t> ParseSeconds(const std::string& text)
{
    Cursor cursor(text);
    const bool isMarked = cursor.Take("@") != '\0';
    if (isMarked) {
        cursor.Take("-");
    }
    if (cursor.TakeDigits(12).empty() || (cursor.Take(".") && cursor.TakeDigits(9).empty()) || !cursor.AtEnd()) {
        return std::nullopt;
    }
    return MillisecondsOf(std::strtod(text.c_str() + (isMarked ? 1 : 0), nullptr));
}

} // namespace

std::optional<std::int64_t> ParseTime(const std::string& text, std::int64_t nowMs, Ambiguous ambiguous)
{
    if (text == "now") {
        return nowMs;
    }
    std::optional<std::int64_t> time = ParseCalendar(text, ambiguous);
    time = time ? time : ParseDay(text, nowMs, ambiguous);
    time = time ? time : ParseSpan(text, nowMs);
    return time ? time : ParseSeconds(text);
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

} // namespace Quarn::Logging::Tool
