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
    "Microseconds of a log call of a real-time thread, on one processor with a thread of ordinary priority\n"
    "that logs long texts and dispatches all the time, and a real-time thread between the two that keeps the\n"
    "processor for 20 ms from 1 ms before the call on. With the library's priority-inheriting mutexes, and with\n"
    "ordinary ones in the same objects. A trial in which one of the threads is late is done again.";

constexpr int CATEGORY = 12;
constexpr int WRITER_PRIORITY = 30;
constexpr int MIDDLE_PRIORITY = 20;
constexpr std::uint64_t PAUSE_NS = 25000000; // longer than the spinning, so that the kernel does not throttle that
constexpr std::uint64_t SPIN_NS = 20000000;
constexpr std::uint64_t HEAD_START_NS = 1000000;
constexpr std::uint64_t LATE_NS = 500000; // half the head start: the middle thread still has the processor at the call

constexpr double HELD_US = 1000; ///< A call that takes longer has waited for the thread in the middle.

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

bool SetPriority(int policy, int priority)
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), policy, &parameters) == 0;
}

bool IsRealTimeGranted()
{
    bool granted = false;
    std::thread([&] { granted = SetPriority(SCHED_FIFO, MIDDLE_PRIORITY); }).join();
    return granted;
}

/// What the three threads of a scene share.
struct SScene
{
    explicit SScene(int theTrials)
        : trials(theTrials)
    {
    }

    const int trials;
    Barrier realTimeThreads{2};
    std::uint64_t begin = 0; ///< Of the next trial. Set by the writer while the other waits for it.
    std::atomic<std::uint64_t> middleBegan{0};
    std::atomic<std::uint64_t> middleEnded{0};
    std::atomic<bool> ended{false};
    std::vector<double> times; ///< us, of the trials in which no thread was late.
};

void LogAndDispatch(const SScene& scene)
{
    SetPriority(SCHED_OTHER, 0);        // whatever this program was started with
    const std::wstring text(900, L'x'); // long, so that the lock is held for a good part of the time
    while (!scene.ended) {
        for (int i = 0; i < 400; ++i) {
            QUARN_INFO(CATEGORY, L"%ls", text.c_str());
        }
        DispatchQueuedLogMessages();
    }
}

void KeepProcessor(SScene& scene)
{
    SetPriority(SCHED_FIFO, MIDDLE_PRIORITY);
    for (;;) {
        scene.realTimeThreads.Wait(); // for the begin of the trial
        if (scene.ended) {
            return;
        }
        SleepUntil(scene.begin);
        scene.middleBegan = TickCounter::MonotonicNs();
        while (TickCounter::MonotonicNs() < scene.begin + SPIN_NS) {
        }
        scene.middleEnded = TickCounter::MonotonicNs();
        scene.realTimeThreads.Wait(); // for the writer's call to end
    }
}

/// One call in the middle of the spinning. False if one of the two threads was late: something else had the processor,
/// and the scene was not the one to be measured.
bool WriteDuringSpin(SScene& scene, int trial)
{
    SleepUntil(scene.begin + HEAD_START_NS);
    const std::uint64_t start = TickCounter::MonotonicNs();
    const bool keptByMiddle = scene.middleBegan >= scene.begin;
    QUARN_ERROR(CATEGORY, L"axis %d stands at position %d", 3, trial);
    const std::uint64_t end = TickCounter::MonotonicNs();
    scene.realTimeThreads.Wait(); // for the end of the spinning
    if (!keptByMiddle || scene.middleBegan > scene.begin + LATE_NS ||
        scene.middleEnded > scene.begin + SPIN_NS + LATE_NS || start > scene.begin + HEAD_START_NS + LATE_NS) {
        return false;
    }
    scene.times.push_back(static_cast<double>(end - start) / 1000);
    return true;
}

void WriteInTime(SScene& scene)
{
    SetPriority(SCHED_FIFO, WRITER_PRIORITY);
    int late = 0;
    for (int trial = 0; trial < scene.trials + late && late <= scene.trials; ++trial) {
        // Each begins at another place in the dispatcher's work, which goes on during the pause.
        scene.begin = TickCounter::MonotonicNs() + PAUSE_NS + static_cast<std::uint64_t>(trial) * 37003U;
        scene.realTimeThreads.Wait();
        late += WriteDuringSpin(scene, trial) ? 0 : 1;
    }
    scene.ended = true;
    scene.realTimeThreads.Wait();
}

/// A scene in this process; prints a time for each trial.
void RunScene(int trials)
{
    NullLogger logger;
    const Quarn::Logging::SLevelDef info = {Quarn::Logging::CATEGORY_ALL, Quarn::Logging::LEVEL_INFO};
    EnableAutologging(false);
    RegisterLogger(&logger, 1, &info);
    const unsigned int processor = UsableProcessors().back();
    SScene scene(trials);
    RunThreads(3, false, [&](int thread) {
        PinThisThread(processor);
        if (thread == 0) {
            LogAndDispatch(scene);
        } else if (thread == 1) {
            KeepProcessor(scene);
        } else {
            WriteInTime(scene);
        }
    });
    UnRegisterLogger(&logger);
    for (const double us : scene.times) {
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
    std::vector<double> times;
    double us = 0;
    while (output != nullptr && std::fscanf(output, "%lf", &us) == 1) {
        times.push_back(us);
    }
    if (output == nullptr || pclose(output) != 0) {
        times.clear();
    }
    return times;
}

/// A call of the typical trial waits for nobody, so those that waited for the middle thread have a median of their own.
void AddResult(Results& results, const char* protocol, double us)
{
    const bool held = us > HELD_US;
    results.Add({{"mutex", protocol}}, {{"median", us}, {"worst", us}, {"count held", held ? 1 : 0}});
    if (held) {
        results.Add({{"mutex", protocol}}, {{"median of held", us}});
    }
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
            const std::vector<double> times = RunSceneElsewhere(protocol, TRIALS);
            if (times.size() != TRIALS) {
                results.Note("priority inversion, " + std::string(protocol) +
                             " mutexes: the machine was so busy that only " + std::to_string(times.size()) +
                             " trials of " + std::to_string(TRIALS) + " count");
            }
            for (const double us : times) {
                AddResult(results, protocol, us);
            }
        }
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
