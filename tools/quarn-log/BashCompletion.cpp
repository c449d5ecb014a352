#include "CommandLineTable.h"
#include "Completion.h"

namespace Quarn::Logging::Tool {

namespace {

constexpr char BEGIN[] = R"(# Completion of quarn-log for bash. Made by "quarn-log completion bash".
_quarn_log() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[0]##*/}
    local words='' files=''
    if [[ $command == quarn-log ]] && ((COMP_CWORD > 1)); then
        command+=" ${COMP_WORDS[1]}"
    fi
    # The "=" of --option=value is a word of its own.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case "$command $previous" in
)";

constexpr char BEFORE_OPTIONS[] = R"(    *)
        case "$command $current" in
)";

constexpr char END[] = R"(        esac
        ;;
    esac
    if [[ -n $files ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}
complete -F _quarn_log quarn-log quarn-logdump
)";

std::string Joined(const std::vector<std::string>& words)
{
    std::string joined;
    for (const std::string& word : words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined;
}

std::string Assignment(const SValues& values)
{
    return values.areFiles ? "files=yes" : "words='" + Joined(values.words) + "'";
}

/// A word that follows an option is its value.
std::string ValueCases(const std::string& command, const SCommandEntry& entry)
{
    std::string cases;
    for (const SOptionEntry& option : entry.options) {
        for (const std::string& name : option.names) {
            if (option.takesValue) {
                cases += "    '" + command + " " + name + "') " + Assignment(option.values) + " ;;\n";
            }
        }
    }
    return cases;
}

std::string WordCases(const std::string& command, const SCommandEntry& entry)
{
    std::vector<std::string> names;
    for (const SOptionEntry& option : entry.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return "        '" + command + " -'*) words='" + Joined(names) + "' ;;\n" + "        '" + command + " '*) " +
           Assignment(entry.arguments) + " ;;\n";
}

} // namespace

std::string BashCompletion()
{
    const SCommandEntry program = ProgramEntry();
    const SCommandEntry logdump = LogdumpEntry();
    std::string values = ValueCases(program.name, program) + ValueCases(logdump.name, logdump);
    std::string words;
    for (const SCommandEntry& subcommand : SubcommandEntries()) {
        const std::string command = program.name + " " + subcommand.name;
        values += ValueCases(command, subcommand);
        words += WordCases(command, subcommand);
    }
    // In this order: the program's name is the beginning of every subcommand's.
    words += WordCases(logdump.name, logdump);
    words += "        'quarn-log '*' '*) ;;\n";
    words += WordCases(program.name, program);
    return BEGIN + values + BEFORE_OPTIONS + words + END;
}

} // namespace Quarn::Logging::Tool
