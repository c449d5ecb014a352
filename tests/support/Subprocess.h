#ifndef QUARN_LOGGING_TESTS_SUBPROCESS_H
#define QUARN_LOGGING_TESTS_SUBPROCESS_H

#include "TempDir.h"

#include <sys/wait.h>

#include <cstdlib>
#include <string>

namespace QuarnTest {

struct SFinishedProcess
{
    int exitCode;       ///< -1 if a signal ended it.
    int signal;         ///< 0 if it exited.
    std::string output; ///< Standard output.
    std::string errors; ///< Standard error.
};

/// One word for the shell, whatever is in it.
inline std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

/// The beginning of a command that runs in a folder.
inline std::string Inside(const TempDir& dir) { return "cd " + Quoted(dir.Path().string()) + " && "; }

/// Runs a shell command to its end.
inline SFinishedProcess RunCommand(const std::string& command)
{
    const TempDir outputs;
    const int status = std::system(("(" + command + "\n) >" + Quoted(outputs.File("output")) + " 2>" +
                                    Quoted(outputs.File("errors")) + " </dev/null")
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            outputs.Read("output"), outputs.Read("errors")};
}

} // namespace QuarnTest

#endif
