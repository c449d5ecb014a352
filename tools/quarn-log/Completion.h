#ifndef QUARN_TOOL_COMPLETION_H
#define QUARN_TOOL_COMPLETION_H

#include <string>

namespace Quarn::Logging::Tool {

// Scripts that complete the command lines of quarn-log and quarn-logdump, made from the options themselves.

std::string BashCompletion();
std::string ZshCompletion();
std::string FishCompletion();

} // namespace Quarn::Logging::Tool

#endif
