#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <sched.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <vector>

namespace {

constexpr int READS = 1000;

std::atomic<bool> g_Sleeping;
std::atomic<bool> g_Wake;
thread_local int t_Allocations;

/// With the update thread in its sleep, after its first update: no reader has to wait for it.
void InitAndWaitForTheFirstUpdate()
{
    g_Sleeping = false;
    g_Wake = false;
    InitApplicationTime();
    while (!g_Sleeping) {
        sched_yield();
    }
}

void Fini()
{
    g_Wake = true;
    FiniApplicationTime();
}

} // namespace

// The program's definitions come before the C library's, for the library too.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size)
{
    ++t_Allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    ++t_Allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size)
{
    ++t_Allocations;
    return __libc_realloc(memory, size);
}

int nanosleep(const timespec* /*duration*/, timespec* /*rest*/)
{
    g_Sleeping = true;
    while (!g_Wake) {
        const timespec moment = {0, 1000000};
        syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &moment, nullptr);
    }
    return 0;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void* volatile g_Kept; // so that no allocation is optimised away

TEST(ClockReadCostTest, AllocationsAreSeen)
{
    const int before = t_Allocations;

    g_Kept = ::operator new(100);

    EXPECT_EQ(t_Allocations - before, 1);
    ::operator delete(g_Kept);
}

TEST(ClockReadCostTest, ReadingAllocatesNothing)
{
    InitAndWaitForTheFirstUpdate();
    const int before = t_Allocations;

    for (int read = 0; read < READS; ++read) {
        GetClockTime();
    }

    EXPECT_EQ(t_Allocations - before, 0);
    Fini();
}

/// The child between the two marks, which are calls of getppid.
[[noreturn]] void RunTracedChild(bool sleepOnce)
{
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    InitAndWaitForTheFirstUpdate();
    raise(SIGSTOP);
    syscall(SYS_getppid);
    for (int read = 0; read < READS; ++read) {
        GetClockTime();
    }
    if (sleepOnce) {
        sched_yield();
    }
    syscall(SYS_getppid);
    _exit(0);
}

/// Runs a stopped child to its next system call, entry or return. Its number; -1 when it has ended.
long NextSystemCall(pid_t child)
{
    int status = 0;
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) {
        return -1;
    }
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
    return call.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(call.entry.nr) : 0x7fffffff; // not an entry
}

bool IsClockReading(long number)
{
#ifdef SYS_clock_gettime64
    if (number == SYS_clock_gettime64) {
        return true;
    }
#endif
    return number == SYS_clock_gettime;
}

/// What a child calls between its marks, clock readings aside: where the kernel offers none in user space, they are
/// system calls.
std::vector<long> SystemCallsOfReads(bool sleepOnce)
{
    const pid_t child = fork();
    if (child == 0) {
        RunTracedChild(sleepOnce);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSTOPPED(status));
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    std::vector<long> calls;
    int marks = 0;
    while (marks < 2) {
        const long number = NextSystemCall(child);
        if (number == -1) {
            ADD_FAILURE() << "the child ended before its second mark";
            return calls;
        }
        if (number == SYS_getppid) {
            ++marks;
        } else if (marks == 1 && number != 0x7fffffff && !IsClockReading(number)) {
            calls.push_back(number);
        }
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return calls;
}

TEST(ClockReadCostTest, SystemCallsAreSeen)
{
    const std::vector<long> calls = SystemCallsOfReads(true);

    EXPECT_EQ(calls, std::vector<long>{SYS_sched_yield});
}

TEST(ClockReadCostTest, UncontendedReadingMakesNoSystemCall)
{
    const std::vector<long> calls = SystemCallsOfReads(false);

    EXPECT_EQ(calls, std::vector<long>{});
}

} // namespace
