#include "LatencyRecorder.h"
#include "Options.h"
#include "Results.h"
#include "Subject.h"
#include "TempFiles.h"
#include "Threads.h"

#include <memory>
#include <vector>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Times single accepted log calls with automatic logging off, in nanoseconds, beside the peers that queue\n"
    "or buffer and beside the parts that no such call can do without. Calls come in rounds of 4096, all\n"
    "threads together, which any subject holds; between the rounds, outside the timing, the queue is drained.";

struct SCase
{
    Message message;
    int threads;
    bool pinned;
};

/// One repetition of a case: the timed calls of all threads.
std::unique_ptr<LatencyHistogram> Measure(const SSubject& subject, const SCase& test, int rounds,
                                          const TickCounter& counter)
{
    auto all = std::make_unique<LatencyHistogram>();
    std::vector<LatencyHistogram> histograms(static_cast<std::size_t>(test.threads));
    const int calls = static_cast<int>(QUEUED_MESSAGES) / test.threads;
    void (*const log)(int) = subject.log[test.message];
    Barrier barrier(test.threads);
    RunThreads(test.threads, test.pinned, [&](int thread) {
        LatencyHistogram& histogram = histograms[static_cast<std::size_t>(thread)];
        for (int round = -1; round < rounds; ++round) { // the first one warms up
            barrier.Wait();
            for (int i = 0; i < calls; ++i) {
                const std::uint64_t start = TickCounter::Start();
                log(i);
                const std::uint64_t stop = TickCounter::Stop();
                if (round >= 0) {
                    histogram.Record(counter.Elapsed(start, stop));
                }
            }
            barrier.Wait();
            if (thread == 0) {
                subject.drain();
            }
        }
    });
    for (const LatencyHistogram& histogram : histograms) {
        all->Merge(histogram);
    }
    return all;
}

void AddResult(Results& results, const SSubject& subject, const SCase& test, const LatencyHistogram& histogram,
               const TickCounter& counter)
{
    const auto percentile = [&](std::uint64_t part) {
        return counter.Nanoseconds(static_cast<double>(histogram.Percentile(part)));
    };
    results.Add({{"subject", subject.name},
                 {"message", NameOf(test.message)},
                 {"threads", std::to_string(test.threads)},
                 {"pinning", test.pinned ? "pinned" : "not pinned"}},
                {{"mean", counter.Nanoseconds(histogram.Mean())},
                 {"p50", counter.Nanoseconds(histogram.Median())},
                 {"p99", percentile(9900)},
                 {"p99.9", percentile(9990)},
                 {"p99.99", percentile(9999)},
                 {"worst", counter.Nanoseconds(static_cast<double>(histogram.Max()))}});
}

std::vector<SCase> Cases(int maxThreads)
{
    std::vector<SCase> cases;
    for (int threads = 1; threads <= maxThreads; threads *= 2) {
        for (const bool pinned : {true, false}) {
            for (int message = 0; message < MESSAGE_COUNT; ++message) {
                cases.push_back({static_cast<Message>(message), threads, pinned});
            }
        }
    }
    return cases;
}

} // namespace

int main(int argc, char** argv)
{
    const SOptions options = ParseOptions(argc, argv, PURPOSE, 5, 1);
    const int rounds = options.quick ? 2 : 6;
    const TickCounter counter;
    const TempFiles files(options.directory);
    Results results;
    for (const SCase& test : Cases(options.quick ? 2 : 8)) {
        for (int repetition = 0; repetition < options.repetitions; ++repetition) {
            for (const SSubject& subject : SubjectsInTurn(Scene::QUEUED, repetition)) {
                subject.open(Scene::QUEUED, files.Directory());
                AddResult(results, subject, test, *Measure(subject, test, rounds, counter), counter);
                subject.close();
                files.Clear();
            }
        }
    }
    if (!NoneDropped()) {
        return 1;
    }
    char note[120];
    std::snprintf(note, sizeof note,
                  "The counter advances in steps of %.1f ns; a pair of readings, %.1f ns, is subtracted.",
                  counter.StepNs(), counter.CostNs());
    results.Note(note);
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
