#include "LatencyRecorder.h"
#include "Options.h"
#include "Results.h"
#include "TempFiles.h"

#include <QuarnLogging/Log.h>

#include <dirent.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Microseconds for which a log call is held up by a rotation, with 10, 1000 and 10000 old files of which\n"
    "the oldest is removed: the first ten rotations against the 91st to 100th, the longest of all, and beside\n"
    "them reading the names in the directory and a call without a rotation. CLOCK_REALTIME, as the library\n"
    "reads it, goes on by a second before each rotation, so that none waits for an unused time stamp.";

constexpr int CATEGORY = 12;
constexpr int AT_AN_END = 10; ///< Rotations that count as the first, and as the last ones.

std::int64_t g_SecondsAhead = 0;

double Microseconds(std::uint64_t start) { return static_cast<double>(TickCounter::MonotonicNs() - start) / 1000; }

double LogOne(int number)
{
    const std::uint64_t start = TickCounter::MonotonicNs();
    QUARN_INFO(CATEGORY, L"axis %d stands at position %d", number & 7, number);
    return Microseconds(start);
}

void MakeOldFiles(const std::string& directory, int count)
{
    for (int i = 0; i < count; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "/app-20200101-%06d.txt", i);
        std::ofstream(directory + name) << "old\n";
    }
}

double ReadDirectory(const std::string& directory)
{
    const std::uint64_t start = TickCounter::MonotonicNs();
    DIR* const entries = opendir(directory.c_str());
    if (entries == nullptr) {
        return 0;
    }
    while (readdir(entries) != nullptr) {
    }
    closedir(entries);
    return Microseconds(start);
}

void SetOptions(const std::string& options) { SetLogOptions(std::wstring(options.begin(), options.end()).c_str()); }

double MedianOf(std::vector<double>::const_iterator first, int count) { return Median({first, first + count}); }

void Measure(Results& results, const std::string& directory, int files, int rotations)
{
    ++g_SecondsAhead;
    SetOptions("linfo;L" + directory + "/app-%T.txt;S0;N" + std::to_string(files));
    std::vector<double> plain;
    for (int i = 0; i < rotations; ++i) {
        plain.push_back(LogOne(i));
    }
    ++g_SecondsAhead;
    SetOptions("linfo;L" + directory + "/app-%T.txt;S1;N" + std::to_string(files));
    std::vector<double> held;
    std::vector<double> scans;
    for (int i = 0; i < rotations; ++i) {
        ++g_SecondsAhead;
        held.push_back(LogOne(i));
        if (i < AT_AN_END) {
            scans.push_back(ReadDirectory(directory));
        }
    }
    results.Add({{"old files", std::to_string(files)}}, {{"first", MedianOf(held.begin(), AT_AN_END)},
                                                         {"last", MedianOf(held.end() - AT_AN_END, AT_AN_END)},
                                                         {"worst", *std::max_element(held.begin(), held.end())},
                                                         {"directory", Median(scans)},
                                                         {"no rotation", Median(plain)}});
    ++g_SecondsAhead;
    SetOptions("l0;");
}

} // namespace

// The clock's own names with the linker's prefix.
extern "C" int __real_clock_gettime(clockid_t clock, timespec* now); // NOLINT(bugprone-reserved-identifier)
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now); // NOLINT(bugprone-reserved-identifier)
int __wrap_clock_gettime(clockid_t clock, timespec* now)             // NOLINT(bugprone-reserved-identifier)
{
    const int result = __real_clock_gettime(clock, now);
    if (clock == CLOCK_REALTIME) {
        now->tv_sec += static_cast<time_t>(g_SecondsAhead);
    }
    return result;
}

int main(int argc, char** argv)
{
    const SOptions options = ParseOptions(argc, argv, PURPOSE, 3, 1);
    const int rotations = options.quick ? 2 * AT_AN_END : 100;
    const std::vector<int> counts = {10, 1000, 10000};
    const TempFiles files(options.directory);
    const auto directoryFor = [&](int count) { return files.Directory() + '/' + std::to_string(count); };
    for (const int count : counts) {
        std::filesystem::create_directory(directoryFor(count));
        MakeOldFiles(directoryFor(count), count);
    }
    Results results;
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        for (const int count : counts) {
            Measure(results, directoryFor(count), count, rotations);
        }
    }
    results.Print();
    return results.Write(options.json) ? 0 : 1;
}
