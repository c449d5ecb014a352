#include "GoogleBench.h"
#include "Subject.h"

#include <string>

using namespace QuarnBench;

namespace {

constexpr const char* PURPOSE =
    "Log calls whose level does not pass, a thousand in each iteration, beside an empty loop, a bare array read and\n"
    "compare, and the same calls of the peers.";

constexpr int CALLS = 1000;

void Filtered(benchmark::State& state, const SSubject& subject)
{
    subject.open(Scene::QUEUED, ".");
    for (auto _ : state) {
        subject.filtered(CALLS);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * CALLS);
    subject.close();
}

} // namespace

int main(int argc, char** argv)
{
    for (const SSubject& subject : Subjects()) {
        if (subject.filtered != nullptr) {
            benchmark::RegisterBenchmark(subject.name.c_str(), Filtered, subject);
        }
    }
    return RunBenchmarks(argc, argv, PURPOSE);
}
