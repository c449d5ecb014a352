#ifndef QUARN_LOGGING_TESTS_SINGLE_STEP_H
#define QUARN_LOGGING_TESTS_SINGLE_STEP_H

#include <csignal>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QuarnTest {

/// Runs work in a child process instruction by instruction and calls atEachStop in this one, in between. Returns the
/// number of stops, -1 if the system does not let a process trace its child.
template <class Work, class AtEachStop>
int SingleStep(const Work& work, const AtEachStop& atEachStop)
{
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(1);
        }
        raise(SIGSTOP);
        work();
        raise(SIGSTOP);
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) {
        return -1;
    }
    int stops = 0;
    while (ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) == 0 && waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP) {
        ++stops;
        atEachStop();
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return stops;
}

} // namespace QuarnTest

#endif
