#ifndef QUARN_LOGGING_LOG_LINE_H
#define QUARN_LOGGING_LOG_LINE_H

#include <cstddef>

namespace Quarn::Logging {

/// Wide characters of a line, terminator included. A longer line is cut and loses its line end.
constexpr std::size_t LOG_LINE_SIZE = 2000;

/// Name of a level; "?" for every value that has none.
const wchar_t* NameOfLevel(int level);

/// @brief Formats one message as the built-in logger prints it, with a line end.
///
/// @param[out] buffer    LOG_LINE_SIZE wide characters, always terminated
/// @param[in]  useColor  whether to put the level's terminal colour around the line
/// @param[in]  wallTime  seconds since the epoch, shown in the process's time zone
///
/// What the C library cannot convert, such as a file name in another encoding, ends the line there.
void FormatLogLine(wchar_t* buffer, bool useColor, int level, int category, long double wallTime, unsigned int threadId,
                   const char* file, int line, const wchar_t* text);

} // namespace Quarn::Logging

#endif
