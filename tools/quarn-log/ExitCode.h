#ifndef QUARN_TOOL_EXIT_CODE_H
#define QUARN_TOOL_EXIT_CODE_H

namespace Quarn::Logging::Tool {

/// How the program ends, whatever the subcommand. Scripts go by the numbers; quarn-log(1) lists them.
enum ExitCode : int {
    EXIT_FOUND = 0,        ///< A log was found and printed, even if it is empty or nothing of it passed the filter; an
                           ///< options string has nothing to warn of.
    EXIT_NO_QUEUE = 1,     ///< The image was read to its end and holds no queue.
    EXIT_USAGE = 2,        ///< The arguments are wrong.
    EXIT_CANNOT_READ = 3,  ///< The image could not be opened, or not be read to its end.
    EXIT_CANNOT_WRITE = 4, ///< Standard output did not take everything.
    EXIT_WARNED = 5,       ///< An options string has something that is passed over or not what it looks like.
};

} // namespace Quarn::Logging::Tool

#endif
