#ifndef QUARN_LOGGING_TESTS_FOLLOWED_TOOL_H
#define QUARN_LOGGING_TESTS_FOLLOWED_TOOL_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace QuarnTest {

/// The tool at work, following a file, its standard output and error in one pipe.
class FollowedTool
{
public:
    FollowedTool(const std::string& file, const char* interval, const std::vector<std::string>& options = {})
        : FollowedTool(QUARN_LOG, "follow", file, interval, options)
    {
    }
    /// @param[in] how  the first argument
    FollowedTool(const char* program, const char* how, const std::string& file, const char* interval,
                 const std::vector<std::string>& options = {})
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        Start({program, how, "--interval", interval, file}, options, ends[1]);
        close(ends[1]);
        m_Output = ends[0];
    }
    /// With its output in a file, where it waits for nobody.
    FollowedTool(const std::string& file, const char* interval, const char* output)
    {
        const int fd = open(output, O_WRONLY | O_APPEND | O_CLOEXEC);
        Start({QUARN_LOG, "follow", "--interval", interval, file}, {}, fd);
        close(fd);
    }
    ~FollowedTool()
    {
        if (m_Pid > 0) {
            Stop(SIGKILL);
        }
        if (m_Output >= 0) {
            close(m_Output);
        }
    }
    FollowedTool(const FollowedTool&) = delete;
    FollowedTool& operator=(const FollowedTool&) = delete;

    /// The next line, or what there is of it when the tool ends or says nothing for a minute.
    std::string ReadLine()
    {
        while (m_Pending.find('\n') == std::string::npos) {
            pollfd ready = {m_Output, POLLIN, 0};
            char buffer[4096];
            const ssize_t got = poll(&ready, 1, 60000) == 1 ? read(m_Output, buffer, sizeof buffer) : 0;
            if (got <= 0) {
                break;
            }
            m_Pending.append(buffer, static_cast<std::size_t>(got));
        }
        const std::size_t end = m_Pending.find('\n');
        const std::string line = m_Pending.substr(0, end);
        m_Pending.erase(0, end == std::string::npos ? end : end + 1);
        return line;
    }

    /// Sends a signal; the exit code, or -1 if the signal itself ended the tool.
    int Stop(int signal)
    {
        int status = 0;
        kill(m_Pid, signal);
        waitpid(m_Pid, &status, 0);
        m_Pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    void Start(std::vector<std::string> arguments, const std::vector<std::string>& options, int output)
    {
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        m_Pid = fork();
        if (m_Pid == 0) {
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            setenv("TZ", "UTC", 1);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }

    pid_t m_Pid = -1;
    int m_Output = -1;
    std::string m_Pending;
};

} // namespace QuarnTest

#endif
