#ifndef QUARN_BENCH_GOOGLE_BENCH_H
#define QUARN_BENCH_GOOGLE_BENCH_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string_view>

namespace QuarnBench {

/// What BENCHMARK_MAIN does, for benchmarks that are registered at run time; --help begins with the purpose.
inline int RunBenchmarks(int argc, char** argv, const char* purpose)
{
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--help") {
            std::printf("%s\n\n", purpose);
            std::fflush(stdout);
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace QuarnBench

#endif
