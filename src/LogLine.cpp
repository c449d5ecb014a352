#include "LogLine.h"

#include "SystemClocks.h"

#include <QuarnLogging/Logging.h>

#include <time.h>

#include <cmath>
#include <cstdint>
#include <cwchar>

namespace Quarn::Logging {

namespace {

struct SLevelStyle
{
    const wchar_t* name;
    const wchar_t* colorStart;
};

SLevelStyle StyleOf(int level)
{
    switch (level) {
    case LEVEL_DEBUG:
        return {L"debug", L"\x1b[36m"}; // cyan
    case LEVEL_INFO:
        return {L"info", L"\x1b[32m"}; // green
    case LEVEL_WARNING:
        return {L"warning", L"\x1b[33m"}; // yellow
    case LEVEL_ERROR:
        return {L"error", L"\x1b[31m"}; // red
    default:
        return {L"?", L"\x1b[0m"};
    }
}

/// Milliseconds into the second, truncated. In extended precision, so that they are the same on every processor.
unsigned int MillisecondsOf(double seconds)
{
    const long double milliseconds =
        (static_cast<long double>(seconds) - std::floor(static_cast<long double>(seconds))) * 1000;
    if (std::isnan(milliseconds)) {
        return 0;
    }
    // So close to a full second below zero that the difference was rounded up to a whole one.
    return milliseconds < 1000 ? static_cast<unsigned int>(milliseconds) : 999;
}

} // namespace

const wchar_t* NameOfLevel(int level) { return StyleOf(level).name; }

void FormatLogLine(wchar_t* buffer, bool useColor, int level, int category, long double wallTime, unsigned int threadId,
                   const char* file, int line, const wchar_t* text)
{
    const time_t seconds = ToTime32(wallTime);
    tm calendar{};
    localtime_r(&seconds, &calendar);
    const SLevelStyle style = StyleOf(level);
    std::swprintf(buffer, LOG_LINE_SIZE, L"%ls%s:%d: %ls: m=%d t=%04d.%02d.%02d-%02d:%02d:%02d.%03u tid=0x%x: %ls%ls\n",
                  useColor ? style.colorStart : L"", file, line, style.name, category, calendar.tm_year + 1900,
                  calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour, calendar.tm_min, calendar.tm_sec,
                  MillisecondsOf(static_cast<double>(wallTime)), threadId, text, useColor ? L"\x1b[0m" : L"");
    buffer[LOG_LINE_SIZE - 1] = L'\0';
}

} // namespace Quarn::Logging
