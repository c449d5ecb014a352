#include "LatencyRecorder.h"
#include "Options.h"
#include "Results.h"
#include "Subject.h"
#include "TempFiles.h"
#include "Threads.h"

#include <algorithm>
#include <cstdint>
#include <vector>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Nanoseconds for each line that is handed to the kernel before the log call returns, with automatic logging on,\n"
    "beside write(2) of the same bytes to a file opened the same way, and beside the peers when they flush each line.\n"
    "Wall-clock time divided by the lines of all threads.";

/// The library's own line for each message, for write(2) to write.
std::vector<std::string> LinesOfTheLibrary(const TempFiles& files)
{
    const SSubject library = QuarnSubject();
    std::vector<std::string> lines;
    for (void (*const log)(int) : library.log) {
        library.open(Scene::FLUSHED, files.Directory());
        log(1000);
        lines.push_back(ContentsOf(files.Directory() + "/quarn.log"));
        library.close();
        files.Clear();
    }
    return lines;
}

double Measure(const SSubject& subject, Message message, int threads, int lines)
{
    // Each thread takes its own times: with more threads than processors one may come to run long after the others.
    std::vector<std::uint64_t> starts(static_cast<std::size_t>(threads));
    std::vector<std::uint64_t> ends(starts.size());
    const int linesOfThread = lines / threads;
    void (*const log)(int) = subject.log[message];
    Barrier barrier(threads);
    RunThreads(threads, false, [&](int thread) {
        for (int i = 0; i < linesOfThread / 20; ++i) { // warms up
            log(i);
        }
        barrier.Wait();
        starts[static_cast<std::size_t>(thread)] = TickCounter::MonotonicNs();
        for (int i = 0; i < linesOfThread; ++i) {
            log(i);
        }
        ends[static_cast<std::size_t>(thread)] = TickCounter::MonotonicNs();
    });
    const std::uint64_t taken =
        *std::max_element(ends.begin(), ends.end()) - *std::min_element(starts.begin(), starts.end());
    return static_cast<double>(taken) / (linesOfThread * threads);
}

} // namespace

int main(int argc, char** argv)
{
    const SOptions options = ParseOptions(argc, argv, PURPOSE, 9, 2);
    const int lines = options.quick ? 4000 : 20000;
    const TempFiles files(options.directory);
    SetWrittenLines(LinesOfTheLibrary(files));
    Results results;
    for (const int threads : {1, 4}) {
        for (const Message message : {STATIC_TEXT, MIXED}) {
            for (int repetition = 0; repetition < options.repetitions; ++repetition) {
                for (const SSubject& subject : Subjects()) {
                    if (subject.flushes) {
                        subject.open(Scene::FLUSHED, files.Directory());
                        const double ns = Measure(subject, message, threads, lines);
                        subject.close();
                        files.Clear();
                        results.Add({{"subject", subject.name},
                                     {"message", NameOf(message)},
                                     {"threads", std::to_string(threads)}},
                                    {{"ns", ns}});
                    }
                }
            }
        }
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
