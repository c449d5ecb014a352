#ifndef QUARN_TOOL_COMMAND_LINE_TABLE_H
#define QUARN_TOOL_COMMAND_LINE_TABLE_H

#include <string>
#include <vector>

namespace Quarn::Logging::Tool {

/// What may stand for a value.
struct SValues
{
    bool areFiles = false;
    std::vector<std::string> words; ///< Empty and no files: anything.
};

struct SOptionEntry
{
    std::vector<std::string> names; ///< With their dashes, the long one first.
    std::string description;
    bool takesValue = false;
    SValues values;
};

/// The command line of a subcommand, or of the program.
struct SCommandEntry
{
    std::string name; ///< "show"
    std::string description;
    std::vector<SOptionEntry> options;
    bool takesArguments = false;
    SValues arguments;
};

/// quarn-log itself, whose arguments are the names of its subcommands.
SCommandEntry ProgramEntry();

/// Its subcommands, in the order of its help.
std::vector<SCommandEntry> SubcommandEntries();

/// quarn-logdump.
SCommandEntry LogdumpEntry();

} // namespace Quarn::Logging::Tool

#endif
