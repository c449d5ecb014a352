#ifndef QUARN_LOGGING_LOG_LINE_H
#define QUARN_LOGGING_LOG_LINE_H

#include <cstddef>

namespace Quarn::Logging {

/// Characters of a line, terminator included. A longer line is cut and loses its line end.
constexpr std::size_t LOG_LINE_SIZE = 2000;

/// Characters of the buffer in which a line is built, which has some to spare.
constexpr std::size_t LOG_LINE_BUFFER_SIZE = LOG_LINE_SIZE + 16;

/// Name of a level; "?" for every value that has none.
const wchar_t* NameOfLevel(int level);

/// What a line shows of one message.
struct SLogLine
{
    bool useColor; ///< Whether to put the level's terminal colour around the line.
    int level;
    int category;
    long double wallTime; ///< Seconds since the epoch, shown in the process's time zone.
    unsigned int threadId;
    const char* file; ///< In the encoding of the locale.
    int line;
    const wchar_t* text;
};

/// @brief Formats one message as the built-in logger prints it, with a line end.
///
/// What the C library cannot convert, such as a file name in another encoding, ends the line there.
///
/// @param[out] buffer  LOG_LINE_BUFFER_SIZE wide characters, always terminated
void FormatLogLine(wchar_t* buffer, const SLogLine& line);

/// @brief The same for a line of ASCII characters only, which need no conversion on their way out.
///
/// Most lines are; this takes a fraction of the time.
///
/// @param[out] buffer  LOG_LINE_BUFFER_SIZE characters, not terminated
/// @return  length of the line; 0 if it has other characters or would be cut, and the buffer is then of no use
std::size_t FormatAsciiLogLine(char* buffer, const SLogLine& line);

} // namespace Quarn::Logging

#endif
