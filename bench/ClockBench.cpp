#include <QuarnLogging/ApplicationTime.h>

#include <benchmark/benchmark.h>

#include <chrono>

#include <time.h>

namespace {

void GetClockTime(benchmark::State& state)
{
    InitApplicationTime();
    for (auto _ : state) {
        benchmark::DoNotOptimize(::GetClockTime());
    }
    FiniApplicationTime();
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
