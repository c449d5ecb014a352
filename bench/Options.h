#ifndef QUARN_BENCH_OPTIONS_H
#define QUARN_BENCH_OPTIONS_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace QuarnBench {

/// The command line of the programs that do not use Google Benchmark.
struct SOptions
{
    bool quick = false;
    int repetitions = 0;
    std::string json;
    std::string directory = ".";
};

/// Ends the program for --help, with the purpose, and for what it does not know.
inline SOptions ParseOptions(int argc, char** argv, const char* purpose, int repetitions, int quickRepetitions)
{
    SOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const auto valueOf = [&](std::string_view name, std::string& value) {
            const bool matches = argument.substr(0, name.size()) == name;
            if (matches) {
                value = argument.substr(name.size());
            }
            return matches;
        };
        std::string count;
        if (argument == "--quick") {
            options.quick = true;
        } else if (valueOf("--repetitions=", count)) {
            options.repetitions = std::atoi(count.c_str());
        } else if (!valueOf("--json=", options.json) && !valueOf("--dir=", options.directory)) {
            std::printf("usage: %s [--quick] [--repetitions=N] [--json=FILE] [--dir=DIRECTORY]\n\n%s\n\n"
                        "--quick        a short run of the same code; its figures are worth little\n"
                        "--repetitions  of everything, one after the other; the median counts (%d)\n"
                        "--json         where the figures go as well\n"
                        "--dir          where the files of the run are made and removed (.)\n",
                        argv[0], purpose, repetitions);
            std::exit(argument == "--help" ? 0 : 2);
        }
    }
    if (options.repetitions <= 0) {
        options.repetitions = options.quick ? quickRepetitions : repetitions;
    }
    return options;
}

} // namespace QuarnBench

#endif
