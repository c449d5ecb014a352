#include "GoogleBench.h"
#include "LatencyRecorder.h"
#include "Subject.h"
#include "TempFiles.h"

#include <QuarnLogging/Logging.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "DispatchQueuedLogMessages emptying a full ring of 2 MiB, to a logger that does nothing and to a file, beside a\n"
    "memcpy of 2 MiB of records and a write(2) of each of the same lines. The filling is not timed.";

/// A full ring, but for a few: records of up to 256 bytes.
constexpr int MESSAGES = 8100;

/// The files of the run stand in the folder that the environment variable names, since Google Benchmark knows no such
/// option.
const TempFiles& Files()
{
    const char* const name = std::getenv("QUARN_BENCH_DIR");
    static const TempFiles files(name == nullptr ? "." : name);
    return files;
}

/// Messages that did not get into the file.
std::int64_t g_Missing = 0;

void Fill(Message message)
{
    EnableAutologging(false);
    for (int i = 0; i < MESSAGES; ++i) {
        QuarnSubject().log[message](i);
    }
}

double Seconds(std::uint64_t nanoseconds) { return static_cast<double>(nanoseconds) * 1e-9; }

void Dispatch(benchmark::State& state, Scene scene, Message message)
{
    const SSubject library = QuarnSubject();
    library.open(scene, Files().Directory());
    for (auto _ : state) {
        Fill(message);
        const std::uint64_t start = TickCounter::MonotonicNs();
        DispatchQueuedLogMessages();
        state.SetIterationTime(Seconds(TickCounter::MonotonicNs() - start));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * MESSAGES);
    library.close();
    if (scene == Scene::FLUSHED) {
        const std::string lines = Files().Contents();
        g_Missing +=
            static_cast<std::int64_t>(state.iterations()) * MESSAGES - std::count(lines.begin(), lines.end(), '\n');
    }
    Files().Clear();
}

void Copy(benchmark::State& state)
{
    constexpr std::size_t SIZE = 0x200000;
    std::vector<unsigned char> from(SIZE, 1);
    std::vector<unsigned char> to(SIZE, 2);
    for (auto _ : state) {
        const std::uint64_t start = TickCounter::MonotonicNs();
        std::memcpy(to.data(), from.data(), SIZE);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        state.SetIterationTime(Seconds(TickCounter::MonotonicNs() - start));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * MESSAGES);
}

/// The library's own line, as it stands in a file.
std::string LineOf(Message message)
{
    const SSubject library = QuarnSubject();
    library.open(Scene::FLUSHED, Files().Directory());
    library.log[message](1000);
    library.close();
    const std::string line = Files().Contents();
    Files().Clear();
    return line;
}

void Write(benchmark::State& state, Message message)
{
    std::vector<std::string> lines(MESSAGE_COUNT);
    lines[message] = LineOf(message);
    SetWrittenLines(lines);
    const SSubject subject = WriteSubject();
    subject.open(Scene::FLUSHED, Files().Directory());
    for (auto _ : state) {
        const std::uint64_t start = TickCounter::MonotonicNs();
        for (int i = 0; i < MESSAGES; ++i) {
            subject.log[message](i);
        }
        state.SetIterationTime(Seconds(TickCounter::MonotonicNs() - start));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * MESSAGES);
    subject.close();
    Files().Clear();
}

} // namespace

int main(int argc, char** argv)
{
    for (const Message message : {STATIC_TEXT, MIXED}) {
        const std::string suffix = std::string("/") + NameOf(message);
        const auto add = [&](const char* name, auto... arguments) {
            benchmark::RegisterBenchmark((name + suffix).c_str(), arguments...)->UseManualTime();
        };
        add("dispatch to a file", Dispatch, Scene::FLUSHED, message);
        add("write(2) of each line", Write, message);
        add("dispatch to a null logger", Dispatch, Scene::QUEUED, message);
    }
    benchmark::RegisterBenchmark("memcpy of the ring", Copy)->UseManualTime();
    const int result = RunBenchmarks(argc, argv, PURPOSE);
    if (g_Missing != 0) {
        std::fprintf(stderr, "%lld messages are missing in the file\n", static_cast<long long>(g_Missing));
    }
    return NoneDropped() && g_Missing == 0 ? result : 1;
}
