#include "ExitCode.h"
#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

using namespace Quarn::Logging::Tool;

namespace {

/// Reads a command line whose first word is passed over. If there is nothing left to do, says what there is to say and
/// returns the exit code.
std::optional<int> Parse(CLI::App& app, int argc, const char* const* argv)
{
    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return failed->get_name() + ": " + CLI::FailureMessage::simple(failed, error);
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0) {
            return EXIT_USAGE;
        }
        // Both, as CLI11 may use either.
        std::cout.flush();
        if (std::fflush(stdout) != 0 || !std::cout) {
            std::fprintf(stderr, "%s: standard output did not take everything\n", app.get_name().c_str());
            return EXIT_CANNOT_WRITE;
        }
        return EXIT_FOUND;
    }
    return std::nullopt;
}

int RunSubcommand(const SSubcommand& subcommand, const std::string& program, int argc, const char* const* argv)
{
    try {
        CLI::App app(subcommand.summary, program);
        const Action action = subcommand.addTo(app);
        const std::optional<int> exitCode = Parse(app, argc, argv);
        return exitCode ? *exitCode : action(program);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program.c_str(), error.what());
        return EXIT_CANNOT_READ;
    }
}

/// The program by itself: its help, its version, or what is wrong.
int RunWithoutSubcommand(int argc, const char* const* argv)
{
    CLI::App app("Reads logs of libQuarnLogging, and explains its options strings.", "quarn-log");
    for (const SSubcommand* const subcommand : SUBCOMMANDS) {
        app.add_subcommand(subcommand->name, subcommand->summary);
    }
    app.require_subcommand();
    AddProgramTo(app);
    return Parse(app, argc, argv).value_or(EXIT_USAGE);
}

} // namespace

int main(int argc, char** argv)
{
    const char* const path = argc > 0 ? argv[0] : "";
    const char* const slash = std::strrchr(path, '/');
    if (std::strcmp(slash == nullptr ? path : slash + 1, LOGDUMP.name) == 0) {
        return RunSubcommand(LOGDUMP, LOGDUMP.name, argc, argv);
    }
    for (const SSubcommand* const subcommand : SUBCOMMANDS) {
        if (argc > 1 && std::strcmp(argv[1], subcommand->name) == 0) {
            return RunSubcommand(*subcommand, std::string("quarn-log ") + subcommand->name, argc - 1, argv + 1);
        }
    }
    if (argc > 1 && argv[1][0] != '-') {
        std::fprintf(stderr, "quarn-log: not a subcommand: %s\nRun with --help for more information.\n", argv[1]);
        return EXIT_USAGE;
    }
    return RunWithoutSubcommand(argc, argv);
}
