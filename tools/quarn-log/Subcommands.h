#ifndef QUARN_TOOL_SUBCOMMANDS_H
#define QUARN_TOOL_SUBCOMMANDS_H

#include "Subcommand.h"

namespace Quarn::Logging::Tool {

extern const SSubcommand SHOW;
extern const SSubcommand FOLLOW;
extern const SSubcommand INFO;
extern const SSubcommand EXPLAIN;
extern const SSubcommand COMPLETION;

/// All that quarn-log has, in the order of its help.
inline constexpr const SSubcommand* SUBCOMMANDS[] = {&SHOW, &FOLLOW, &INFO, &EXPLAIN, &COMPLETION};

/// The options that stand in the place of a subcommand.
void AddProgramTo(CLI::App& app);

/// What the program does when it is called by its old name, quarn-logdump.
extern const SSubcommand LOGDUMP;

} // namespace Quarn::Logging::Tool

#endif
