#include "LatencyRecorder.h"
#include "Options.h"
#include "Results.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Microseconds from the start of a process to its end, without the library, with ACE alone and with the\n"
    "library, and of dlopen in a process that has neither. With QUARN_BENCH_RESERVED=1 in the environment\n"
    "instead of a start that finds an empty queue in the reserved memory, and of one that finds a full queue\n"
    "there and prints it to /dev/null; that fills and clears the reserved memory.";

std::string FolderOfThisProgram()
{
    char name[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", name, sizeof name - 1);
    const std::string path(name, length < 0 ? 0 : static_cast<std::size_t>(length));
    return path.substr(0, path.rfind('/'));
}

/// Runs a program to its end, its output going nowhere. Returns the microseconds; ends this program if that one fails.
double RunProgram(const std::string& program, const char* argument = nullptr)
{
    const std::string path = FolderOfThisProgram() + '/' + program;
    std::string name = program;
    std::string value = argument == nullptr ? "" : argument;
    char* arguments[] = {name.data(), argument == nullptr ? nullptr : value.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const std::uint64_t start = TickCounter::MonotonicNs();
    int status = posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, environ);
    if (status == 0) {
        waitpid(child, &status, 0);
    }
    const std::uint64_t end = TickCounter::MonotonicNs();
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) {
        std::fprintf(stderr, "%s did not run\n", path.c_str());
        std::exit(1);
    }
    return static_cast<double>(end - start) / 1000;
}

/// Microseconds of dlopen with all relocations, in a child process; 0 if it failed.
double OpenLibrary()
{
    int ends[2];
    if (pipe(ends) != 0) {
        return 0;
    }
    const pid_t child = fork();
    if (child == 0) {
        const std::uint64_t start = TickCounter::MonotonicNs();
        const bool opened = dlopen(QUARN_BENCH_LIBRARY, RTLD_NOW) != nullptr;
        const double result = opened ? static_cast<double>(TickCounter::MonotonicNs() - start) / 1000 : 0;
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    double result = 0;
    if (read(ends[0], &result, sizeof result) != sizeof result) {
        result = 0;
    }
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return result;
}

bool HasReservedMemory()
{
    const char* const asked = std::getenv("QUARN_BENCH_RESERVED");
    return asked != nullptr && std::string(asked) == "1" && access("/dev/qiomemmap", R_OK | W_OK) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const SOptions options = ParseOptions(argc, argv, PURPOSE, 200, 20);
    const bool reserved = HasReservedMemory();
    Results results;
    for (int i = 0; i < options.repetitions; ++i) {
        if (!reserved) {
            results.Add({{"start", "without the library"}}, {{"us", RunProgram("StartAlone")}});
            results.Add({{"start", "with ACE alone"}}, {{"us", RunProgram("StartWithAce")}});
            results.Add({{"start", "with the library"}}, {{"us", RunProgram("StartWithLibrary")}});
            results.Add({{"start", "dlopen of the library"}}, {{"us", OpenLibrary()}});
        } else if (i < options.repetitions / 5) {
            RunProgram("StartWithLibrary", "fill");
            results.Add({{"start", "full queue in reserved memory"}}, {{"us", RunProgram("StartWithLibrary")}});
            results.Add({{"start", "empty queue in reserved memory"}}, {{"us", RunProgram("StartWithLibrary")}});
        }
    }
    if (!reserved) {
        results.Note("adoption of a full queue: skipped in this run, which had no reserved memory of its own");
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
