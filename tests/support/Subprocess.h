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

/// Runs a shell command to its end, in a folder of its own unless it changes it.
inline SFinishedProcess RunCommand(const std::string& command)
{
    const TempDir outputs;
    const int status = std::system(
        ("(" + command + "\n) >" + outputs.File("output") + " 2>" + outputs.File("errors") + " </dev/null").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            outputs.Read("output"), outputs.Read("errors")};
}

} // namespace QuarnTest

#endif
