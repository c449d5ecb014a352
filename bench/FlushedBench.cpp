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

/// What the subject writes for each message with this number.
std::vector<std::string> LinesOf(const SSubject& subject, int number, const TempFiles& files)
{
    std::vector<std::string> lines;
    for (void (*const log)(int) : subject.log) {
        subject.open(Scene::FLUSHED, files.Directory());
        log(number);
        subject.close();
        lines.push_back(files.Contents());
        files.Clear();
    }
    return lines;
}

/// Times can be compared only where all write the same words.
bool WritesTheWords(const SSubject& subject, const TempFiles& files)
{
    const std::string words[] = {"axis reference run finished without errors", "axis 0 stands at position 1000",
                                 "axis 0 drive locked 250.000000 3e8"};
    const std::vector<std::string> lines = LinesOf(subject, 1000, files);
    for (int message = 0; message < MESSAGE_COUNT; ++message) {
        const std::string& line = lines[static_cast<std::size_t>(message)];
        if (line.find(words[message]) == std::string::npos) {
            std::fprintf(stderr, "%s does not write \"%s\" but:\n%s", subject.name.c_str(), words[message].c_str(),
                         line.c_str());
            return false;
        }
    }
    return true;
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
    SetWrittenLines(LinesOf(QuarnSubject(), 1000, files)); // for write(2)
    for (const SSubject& subject : SubjectsInTurn(Scene::FLUSHED, 0)) {
        if (!WritesTheWords(subject, files)) {
            return 1;
        }
    }
    Results results;
    for (const int threads : {1, 4}) {
        for (const Message message : {STATIC_TEXT, MIXED}) {
            for (int repetition = 0; repetition < options.repetitions; ++repetition) {
                for (const SSubject& subject : SubjectsInTurn(Scene::FLUSHED, repetition)) {
                    subject.open(Scene::FLUSHED, files.Directory());
                    const double ns = Measure(subject, message, threads, lines);
                    subject.close();
                    files.Clear();
                    results.Add(
                        {{"subject", subject.name}, {"message", NameOf(message)}, {"threads", std::to_string(threads)}},
                        {{"ns", ns}});
                }
            }
        }
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
