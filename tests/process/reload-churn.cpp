// Loads and unloads the library many times: reload-churn <library> <rounds> <folder for the log>. In each round it logs
// to a file, and starts and ends the application clock. Then it tells by how much the process has grown since the first
// rounds.
//
// With the clocks of moved-clock.cpp a thread that sleeps for a second, and a file that waits for the next second to
// get a name, go on at once.

#include "HeapInUse.h"

#include <QuarnLogging/Logging.h>

#include <dlfcn.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

using namespace Quarn::Logging;

namespace {

template <class Function>
Function Find(void* library, const char* name)
{
    return reinterpret_cast<Function>(dlsym(library, name));
}

void LogText(LogFunc logFunc, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    logFunc(LEVEL_ERROR, 1, "reload-churn.cpp", 7, format, args);
    va_end(args);
}

bool RunRound(const char* file, int round, const std::string& folder)
{
    void* const library = dlopen(file, RTLD_NOW);
    if (library == nullptr) {
        std::puts(dlerror());
        return false;
    }
    const std::wstring options = L"ldebug;L" + std::wstring(folder.begin(), folder.end()) + L"/app-%T.txt;N3";
    Find<void (*)(const wchar_t*)>(library, "SetLogOptions")(options.c_str());
    LogText(*Find<LogFunc*>(library, "g_pLogFunc"), L"round %d", round);
    Find<void (*)()>(library, "InitApplicationTime")();
    LogText(*Find<LogFunc*>(library, "g_pLogFunc"), L"at %f", Find<double (*)()>(library, "GetClockTime")());
    Find<void (*)()>(library, "FiniApplicationTime")();
    return dlclose(library) == 0;
}

long Entries(const char* folder)
{
    return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

struct SSize
{
    long mappings = 0;
    long descriptors = 0;
    long heap = 0;
    bool isLoaded = false;
};

/// The threads that the process keeps once it has had one: a sanitizer may start one of its own then.
long ThreadsAfterTheFirst()
{
    std::string entry;
    std::thread([&] { entry = "/proc/self/task/" + std::to_string(syscall(SYS_gettid)); }).join();
    while (std::filesystem::exists(entry)) {
        sched_yield();
    }
    return Entries("/proc/self/task");
}

/// A sanitizer maps and unmaps as it likes, such as for the stacks of the threads that it has seen.
bool IsCounted([[maybe_unused]] const std::string& mapping)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return mapping.find(".so") != std::string::npos;
#else
    return true;
#endif
}

SSize Measure(long threads)
{
    // A thread that was joined may be listed for a moment yet. One that was not would be listed for ever.
    while (Entries("/proc/self/task") != threads) {
        sched_yield();
    }
    SSize size;
    // The address sanitizer keeps something for each destructor of a static; there the leak sanitizer looks.
    size.heap = QuarnTest::FreedMemoryIsNotInUse() ? static_cast<long>(QuarnTest::HeapInUse()) : 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        size.mappings += IsCounted(line) ? 1 : 0;
        size.isLoaded = size.isLoaded || line.find("libQuarnLogging.so") != std::string::npos;
    }
    size.descriptors = Entries("/proc/self/fd");
    return size;
}

} // namespace

int main(int, char** argv)
{
    constexpr int FIRST_ROUNDS = 20;
    const int rounds = std::atoi(argv[2]);
    const long threads = ThreadsAfterTheFirst();
    SSize before;
    for (int round = 0; round < rounds + FIRST_ROUNDS; ++round) {
        if (round <= FIRST_ROUNDS) { // every time: what a measurement leaves in the caches of the heap is no growth
            before = Measure(threads);
        }
        if (!RunRound(argv[1], round, argv[3])) {
            return 1;
        }
    }
    const SSize after = Measure(threads);
    const pid_t child = fork(); // runs none of what the library had in store for a fork
    if (child == 0) {
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    // What the heap keeps for the next allocations of a thread counts as in use, and is not always the same: a block or
    // two in all, not one for each round.
    std::printf("mappings %+ld, descriptors %+ld, bytes of a round %+ld; %s; fork %d\n",
                after.mappings - before.mappings, after.descriptors - before.descriptors,
                (after.heap - before.heap) / rounds, after.isLoaded ? "still loaded" : "unloaded", status);
}
