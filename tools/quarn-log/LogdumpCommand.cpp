#include "ReadOptions.h"
#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Quarn::Logging::Tool {

namespace {

struct SOldOptions : SReadOptions
{
    bool info = false;
    bool follow = false;
};

Action AddTo(CLI::App& app)
{
    auto options = std::make_shared<SOldOptions>();
    AddImage(app, *options);
    AddJson(app, *options);
    AddFilter(app, *options);
    AddAll(app, *options);
    CLI::Option* const info = app.add_flag("--info", options->info, "Print the queues' headers instead of records");
    app.add_flag("--follow", options->follow, "Keep printing new records of a live region until interrupted")
        ->excludes(info);
    AddInterval(app, *options, "Seconds between two looks with --follow");
    AddColor(app, *options);
    app.set_version_flag("--version", "quarn-logdump " QUARN_VERSION);
    app.callback([options] {
        if (options->follow && options->image == "-") {
            throw CLI::ValidationError("--follow", "standard input cannot be read again");
        }
    });
    return [options](const std::string& program) {
        if (options->info) {
            return ShowInfo(program, *options);
        }
        return options->follow ? Follow(program, *options) : Show(program, *options);
    };
}

} // namespace

const SSubcommand LOGDUMP = {"quarn-logdump", "Reads the log out of a memory image without changing it.", AddTo};

} // namespace Quarn::Logging::Tool
