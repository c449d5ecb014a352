#include "CommandLineTable.h"
#include "Completion.h"

namespace Quarn::Logging::Tool {

namespace {

constexpr char BEGIN[] = R"(#compdef quarn-log quarn-logdump
# Made by "quarn-log completion zsh".
_quarn_log() {
    local command=$service
    if [[ $service == quarn-log ]] && ((CURRENT > 2)); then
        command="quarn-log $words[2]"
        shift words
        ((CURRENT--))
    fi
    case $command in
)";

constexpr char END[] = R"(    esac
}
_quarn_log "$@"
)";

/// In single quotes, with a backslash in front of each of some characters.
std::string Quoted(const std::string& text, const std::string& special)
{
    std::string quoted;
    for (const char character : text) {
        if (special.find(character) != std::string::npos) {
            quoted += '\\';
        }
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted;
}

std::string ActionOf(const SValues& values)
{
    if (values.areFiles) {
        return "_files";
    }
    std::string words;
    for (const std::string& word : values.words) {
        words += (words.empty() ? "(" : " ") + word;
    }
    return words.empty() ? " " : words + ")";
}

/// The arguments of _arguments.
std::string Specifications(const SCommandEntry& entry)
{
    std::string text;
    for (const SOptionEntry& option : entry.options) {
        for (const std::string& name : option.names) {
            const std::string equals = option.takesValue && name[1] == '-' ? "=" : "";
            text += " \\\n            '" + name + equals + "[" + Quoted(option.description, "\\[]") + "]" +
                    (option.takesValue ? ":value:" + ActionOf(option.values) : "") + "'";
        }
    }
    if (entry.takesArguments) {
        text += " \\\n            '*:argument:" + ActionOf(entry.arguments) + "'";
    }
    return text;
}

std::string Case(const std::string& pattern, const SCommandEntry& entry)
{
    return "    '" + pattern + "')\n        _arguments" + Specifications(entry) + "\n        ;;\n";
}

/// The subcommands are listed with what they do.
SCommandEntry WithoutArguments(SCommandEntry entry)
{
    entry.takesArguments = false;
    return entry;
}

} // namespace

std::string ZshCompletion()
{
    std::string subcommands;
    std::string cases;
    for (const SCommandEntry& subcommand : SubcommandEntries()) {
        subcommands += "            '" + subcommand.name + ":" + Quoted(subcommand.description, "\\:") + "'\n";
        cases += Case("quarn-log " + subcommand.name, subcommand);
    }
    cases += Case("quarn-logdump", LogdumpEntry());
    cases += "    quarn-log)\n        local -a subcommands=(\n" + subcommands +
             "        )\n        _describe subcommand subcommands\n        _arguments" +
             Specifications(WithoutArguments(ProgramEntry())) + "\n        ;;\n";
    return BEGIN + cases + END;
}

} // namespace Quarn::Logging::Tool
