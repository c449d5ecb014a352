#ifndef QUARN_TOOL_READ_OPTIONS_H
#define QUARN_TOOL_READ_OPTIONS_H

#include "CQLoggerFacade.h"
#include "RecordFilter.h"

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Quarn::Logging::Tool {

/// What the user asked a subcommand for that reads an image.
struct SReadOptions
{
    std::string image = CQLoggerFacade::SPECIAL_MEMORY_DEVICE_PATH; ///< A path, or "-".
    std::string format = "text";                                    ///< As the table of output formats names it.
    std::string color = "auto";                                     ///< "auto", "always" or "never".
    RecordFilter filter;
    bool all = false;
    double interval = 0.2; ///< Seconds between two looks.
};

// The options that more than one command line has. What they set must live as long as the command line.

void AddImage(CLI::App& app, SReadOptions& options);
CLI::Option* AddJson(CLI::App& app, SReadOptions& options);
/// --json, and --output with the formats that there are.
void AddFormat(CLI::App& app, SReadOptions& options, const std::vector<std::string>& formats);
/// --level, --category, --since, --until.
void AddFilter(CLI::App& app, SReadOptions& options);
void AddAll(CLI::App& app, SReadOptions& options);
void AddInterval(CLI::App& app, SReadOptions& options, const std::string& text);
void AddColor(CLI::App& app, SReadOptions& options);

// What the subcommands do; returns the exit code.

int Show(const std::string& program, const SReadOptions& options);
int Follow(const std::string& program, const SReadOptions& options);
int ShowInfo(const std::string& program, const SReadOptions& options);

} // namespace Quarn::Logging::Tool

#endif
