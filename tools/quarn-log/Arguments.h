#ifndef QUARN_TOOL_ARGUMENTS_H
#define QUARN_TOOL_ARGUMENTS_H

#include "RecordFilter.h"

#include <chrono>
#include <optional>
#include <string>

namespace Quarn::Logging::Tool {

/// How the program ends. Scripts go by the numbers.
enum ExitCode : int {
    EXIT_FOUND = 0,        ///< A log was found and printed, even if it is empty or nothing of it passed the filter.
    EXIT_NO_QUEUE = 1,     ///< The image was read to its end and holds no queue.
    EXIT_USAGE = 2,        ///< The arguments are wrong.
    EXIT_CANNOT_READ = 3,  ///< The image could not be opened, or not be read to its end.
    EXIT_CANNOT_WRITE = 4, ///< Standard output did not take everything.
};

/// What the user asked for.
struct SArguments
{
    std::string image; ///< A path, or "-".
    RecordFilter filter;
    bool json = false;
    bool info = false;
    bool all = false;
    bool follow = false;
    std::chrono::nanoseconds interval{0};
    std::string color; ///< "auto", "always" or "never".
};

/// Reads the command line. If there is nothing left to do, says what there is to say and returns the exit code.
std::optional<int> ParseArguments(int argc, const char* const* argv, SArguments& arguments);

} // namespace Quarn::Logging::Tool

#endif
