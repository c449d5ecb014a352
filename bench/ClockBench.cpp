#include <QuarnLogging/ApplicationTime.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>

#include <time.h>

namespace {

// Once: its end waits for the thread of the clock, up to a second.
[[maybe_unused]] const bool g_HasClock = (InitApplicationTime(), std::atexit(FiniApplicationTime) == 0);

void GetClockTime(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(::GetClockTime());
    }
}

void ClockGettime(benchmark::State& state)
{
    for (auto _ : state) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        benchmark::DoNotOptimize(now);
    }
}

void SystemClockNow(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::chrono::system_clock::now());
    }
}

BENCHMARK(GetClockTime)->Name("GetClockTime");
BENCHMARK(ClockGettime)->Name("clock_gettime");
BENCHMARK(SystemClockNow)->Name("std::chrono::system_clock::now");

} // namespace
