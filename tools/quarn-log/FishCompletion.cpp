#include "CommandLineTable.h"
#include "Completion.h"

namespace Quarn::Logging::Tool {

namespace {

std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char character : text) {
        if (character == '\'' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + "'";
}

std::string Words(const std::vector<std::string>& words)
{
    std::string joined;
    for (const std::string& word : words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined.empty() ? "" : " -a " + Quoted(joined);
}

/// The options, and the values of arguments, of one command line.
std::string Lines(const std::string& complete, const SCommandEntry& entry)
{
    std::string lines;
    for (const SOptionEntry& option : entry.options) {
        lines += complete;
        for (const std::string& name : option.names) {
            lines += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
        }
        if (option.takesValue) {
            lines += (option.values.areFiles ? " -r -F" : " -x") + Words(option.values.words);
        }
        lines += " -d " + Quoted(option.description) + "\n";
    }
    if (entry.arguments.areFiles) {
        lines += complete + " -F\n";
    } else if (!entry.arguments.words.empty()) {
        lines += complete + Words(entry.arguments.words) + "\n";
    }
    return lines;
}

} // namespace

std::string FishCompletion()
{
    std::string text = "# Completion of quarn-log for fish. Made by \"quarn-log completion fish\".\n";
    const SCommandEntry logdump = LogdumpEntry();
    SCommandEntry program = ProgramEntry();
    for (const std::string& name : {program.name, logdump.name}) {
        text += "complete -c " + name + " -e\ncomplete -c " + name + " -f\n";
    }
    const std::string first = "complete -c quarn-log -n __fish_use_subcommand";
    for (const SCommandEntry& subcommand : SubcommandEntries()) {
        text += first + " -a " + subcommand.name + " -d " + Quoted(subcommand.description) + "\n";
    }
    program.arguments.words.clear();
    text += Lines(first, program);
    for (const SCommandEntry& subcommand : SubcommandEntries()) {
        text += Lines("complete -c quarn-log -n '__fish_seen_subcommand_from " + subcommand.name + "'", subcommand);
    }
    return text + Lines("complete -c quarn-logdump", logdump);
}

} // namespace Quarn::Logging::Tool
