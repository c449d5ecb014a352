#include "Completion.h"
#include "ExitCode.h"
#include "Output.h"
#include "RecordWriter.h"
#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <map>
#include <memory>

namespace Quarn::Logging::Tool {

namespace {

const std::map<std::string, std::string (*)()> SHELLS = {
    {"bash", BashCompletion}, {"fish", FishCompletion}, {"zsh", ZshCompletion}};

int Run(const std::string& program, const std::string& shell)
{
    Output output(stdout, program, nullptr);
    output.Write(SHELLS.at(shell)());
    if (!output.Flush()) {
        output.Notice("standard output did not take everything");
        return EXIT_CANNOT_WRITE;
    }
    return EXIT_FOUND;
}

Action AddTo(CLI::App& app)
{
    auto shell = std::make_shared<std::string>();
    app.add_option("shell", *shell, "The shell that is to read it")
        ->required()
        ->check(CLI::IsMember({"bash", "fish", "zsh"}))
        ->type_name("SHELL");
    return [shell](const std::string& program) { return Run(program, *shell); };
}

} // namespace

const SSubcommand COMPLETION = {"completion", "Print a script that completes command lines of quarn-log in a shell.",
                                AddTo};

} // namespace Quarn::Logging::Tool
