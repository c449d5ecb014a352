#ifndef QUARN_TOOL_SUBCOMMAND_H
#define QUARN_TOOL_SUBCOMMAND_H

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace Quarn::Logging::Tool {

/// What a subcommand does when its command line has been read; returns the exit code. What it says on standard error
/// begins with the name of the program, such as "quarn-log show".
using Action = std::function<int(const std::string& program)>;

/// A subcommand is a source of its own that defines one of these, beside its manual page.
struct SSubcommand
{
    const char* name;
    const char* summary;            ///< One line for the list of subcommands and for its own help.
    Action (*addTo)(CLI::App& app); ///< Adds the options to a command line. The action owns what they set.
};

} // namespace Quarn::Logging::Tool

#endif
