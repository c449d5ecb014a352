#include "LatencyRecorder.h"
#include "Options.h"
#include "Results.h"
#include "Threads.h"

#include <QuarnLogging/Log.h>

#include <limits.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Microseconds of a log call of a real-time thread, on one processor with a thread of ordinary priority that logs\n"
    "long texts and dispatches all the time, and a real-time thread between the two that keeps the processor for 20 ms "
    "from 1 ms\n"
    "before the call on. With the library's priority-inheriting mutexes, and with ordinary ones in the same objects.";

constexpr int CATEGORY = 12;
constexpr int WRITER_PRIORITY = 30;
constexpr int MIDDLE_PRIORITY = 20;
constexpr std::uint64_t PERIOD_NS = 45000000; // more than twice the spinning, so that the kernel does not throttle it
constexpr std::uint64_t SPIN_NS = 20000000;
constexpr std::uint64_t HEAD_START_NS = 1000000;

/// In the environment of the process that runs a scene: which mutexes it has.
constexpr const char* PROTOCOL = "QUARN_BENCH_MUTEX";
constexpr const char* ORDINARY = "ordinary";
constexpr const char* INHERITING = "priority-inheriting";

class NullLogger : public Quarn::Logging::IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override {}
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(Quarn::Logging::IQErrorHandler*) override {}
};

void SleepUntil(std::uint64_t ns)
{
    const timespec until = {static_cast<time_t>(ns / 1000000000U), static_cast<long>(ns % 1000000000U)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

bool BecomeRealTime(int priority)
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) == 0;
}

bool IsRealTimeGranted()
{
    bool granted = false;
    std::thread([&] { granted = BecomeRealTime(MIDDLE_PRIORITY); }).join();
    return granted;
}

/// Each trial begins at another place in the dispatcher's work.
std::uint64_t BeginOfTrial(std::uint64_t base, int trial)
{
    return base + static_cast<std::uint64_t>(trial) * (PERIOD_NS + 37003U);
}

void LogAndDispatch(const std::atomic<bool>& ended)
{
    const std::wstring text(900, L'x'); // long, so that the lock is held for a good part of the time
    while (!ended) {
        for (int i = 0; i < 400; ++i) {
            QUARN_INFO(CATEGORY, L"%ls", text.c_str());
        }
        DispatchQueuedLogMessages();
    }
}

void KeepProcessor(std::uint64_t base, int trials)
{
    BecomeRealTime(MIDDLE_PRIORITY);
    for (int trial = 0; trial < trials; ++trial) {
        const std::uint64_t begin = BeginOfTrial(base, trial);
        SleepUntil(begin);
        while (TickCounter::MonotonicNs() < begin + SPIN_NS) {
        }
    }
}

std::vector<double> WriteInTime(std::uint64_t base, int trials)
{
    BecomeRealTime(WRITER_PRIORITY);
    std::vector<double> held;
    for (int trial = 0; trial < trials; ++trial) {
        SleepUntil(BeginOfTrial(base, trial) + HEAD_START_NS);
        const std::uint64_t start = TickCounter::MonotonicNs();
        QUARN_ERROR(CATEGORY, L"axis %d stands at position %d", 3, trial);
        held.push_back(static_cast<double>(TickCounter::MonotonicNs() - start) / 1000);
    }
    return held;
}

/// A scene in this process; prints a time for each trial.
void RunScene(int trials)
{
    NullLogger logger;
    const Quarn::Logging::SLevelDef info = {Quarn::Logging::CATEGORY_ALL, Quarn::Logging::LEVEL_INFO};
    EnableAutologging(false);
    RegisterLogger(&logger, 1, &info);
    const unsigned int processor = UsableProcessors().back();
    const std::uint64_t base = TickCounter::MonotonicNs() + 50000000U;
    std::atomic<bool> ended{false};
    std::vector<double> held;
    RunThreads(3, false, [&](int thread) {
        PinThisThread(processor);
        if (thread == 0) {
            LogAndDispatch(ended);
        } else if (thread == 1) {
            KeepProcessor(base, trials);
        } else {
            held = WriteInTime(base, trials);
            ended = true;
        }
    });
    UnRegisterLogger(&logger);
    for (const double us : held) {
        std::printf("%.3f\n", us);
    }
}

/// Runs a scene in a process of its own, since the library makes its mutexes when a program starts.
std::vector<double> RunSceneElsewhere(const char* protocol, int trials)
{
    char name[PATH_MAX] = {};
    if (readlink("/proc/self/exe", name, sizeof name - 1) < 0) {
        return {};
    }
    setenv(PROTOCOL, protocol, 1);
    const std::string command = "'" + std::string(name) + "' --repetitions=" + std::to_string(trials);
    std::FILE* const output = popen(command.c_str(), "r");
    unsetenv(PROTOCOL);
    std::vector<double> held;
    double us = 0;
    while (output != nullptr && std::fscanf(output, "%lf", &us) == 1) {
        held.push_back(us);
    }
    if (output == nullptr || pclose(output) != 0) {
        held.clear();
    }
    return held;
}

} // namespace

extern "C" int __real_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol); // NOLINT
extern "C" int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol); // NOLINT
int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol)             // NOLINT
{
    const char* const wanted = getenv(PROTOCOL);
    const bool ordinary = wanted != nullptr && std::strcmp(wanted, ORDINARY) == 0;
    return __real_pthread_mutexattr_setprotocol(attributes, ordinary ? PTHREAD_PRIO_NONE : protocol);
}

int main(int argc, char** argv)
{
    constexpr int TRIALS = 30;
    const SOptions options = ParseOptions(argc, argv, PURPOSE, 3, 1);
    if (std::getenv(PROTOCOL) != nullptr) {
        RunScene(options.repetitions);
        return 0;
    }
    Results results;
    if (!IsRealTimeGranted()) {
        results.Note("priority inversion: skipped, this machine does not grant real-time scheduling");
        results.Print();
        return results.Write(options.json) ? 0 : 1;
    }
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        for (const char* const protocol : {INHERITING, ORDINARY}) {
            for (const double us : RunSceneElsewhere(protocol, TRIALS)) {
                const double held = us > static_cast<double>(HEAD_START_NS) / 1000 ? 1 : 0;
                results.Add({{"mutex", protocol}}, {{"median", us}, {"worst", us}, {"count held", held}});
            }
        }
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
