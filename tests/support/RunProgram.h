#ifndef QUARN_LOGGING_TESTS_RUN_PROGRAM_H
#define QUARN_LOGGING_TESTS_RUN_PROGRAM_H

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace QuarnTest {

struct SProgramResult
{
    int status;         ///< the exit status; -1 when a signal ended the program
    std::string output; ///< standard output, and what the command redirects to it
};

/// Runs a shell command to its end.
inline SProgramResult RunProgram(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return {-1, "popen failed"};
    }
    std::string output;
    char buffer[4096];
    for (std::size_t bytes = 0; (bytes = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        output.append(buffer, bytes);
    }
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

} // namespace QuarnTest

#endif
