#include "SystemCalls.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace QuarnTest {

namespace {

/// The child's mark in front of and behind what is measured: a call that nothing else makes.
constexpr long MARK = SYS_getppid;

[[noreturn]] void RunTraced(const std::function<void()>& prepare, const std::function<void()>& act)
{
    prepare();
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    syscall(MARK);
    act();
    syscall(MARK);
    _exit(0);
}

/// The number of the system call that a stopped child enters, or -1 where it does not enter one.
long EnteredCall(pid_t child)
{
    __ptrace_syscall_info info{};
    const long size = ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    return size > 0 && info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

bool IsClockReading(long call)
{
#ifdef SYS_clock_gettime64
    if (call == SYS_clock_gettime64) {
        return true;
    }
#endif
    return call == SYS_clock_gettime;
}

} // namespace

std::vector<long> SystemCallsOf(const std::function<void()>& prepare, const std::function<void()>& act)
{
    const pid_t child = fork();
    if (child == 0) {
        RunTraced(prepare, act);
    }
    std::vector<long> calls;
    int marks = 0;
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (!WIFEXITED(status) && !WIFSIGNALED(status)) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        const long call = WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80) ? EnteredCall(child) : -1;
        if (call == MARK) {
            ++marks;
        } else if (call >= 0 && marks == 1 && !IsClockReading(call)) {
            calls.push_back(call);
        }
    }
    if (marks != 2) {
        calls.push_back(-1); // the child did not come to its end
    }
    return calls;
}

} // namespace QuarnTest
