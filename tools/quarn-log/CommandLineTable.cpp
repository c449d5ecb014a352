#include "CommandLineTable.h"

#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Quarn::Logging::Tool {

namespace {

/// Of the names that options give to their values, those that stand for something to choose from. CLI11 appends the
/// words that a check allows, as in "FORMAT:{text,json}".
SValues ValuesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    SValues values;
    if (type == "IMAGE") {
        values.areFiles = true;
    } else if (type == "LEVEL") {
        values.words = {"debug", "info", "warning", "error"};
    } else if (const std::size_t brace = type.find(":{"); brace != std::string::npos) {
        values.words = CLI::detail::split(type.substr(brace + 2, type.rfind('}') - brace - 2), ',');
    }
    return values;
}

SOptionEntry EntryOf(const CLI::Option& option)
{
    SOptionEntry entry;
    for (const std::string& name : option.get_lnames()) {
        entry.names.push_back("--" + name);
    }
    for (const std::string& name : option.get_snames()) {
        entry.names.push_back("-" + name);
    }
    entry.description = option.get_description();
    entry.takesValue = option.get_items_expected_max() > 0;
    entry.values = ValuesOf(option);
    return entry;
}

SCommandEntry EntryOf(const char* name, const char* description, const CLI::App& app)
{
    SCommandEntry entry;
    entry.name = name;
    entry.description = description;
    for (const CLI::Option* const option : app.get_options()) {
        if (option->nonpositional()) {
            entry.options.push_back(EntryOf(*option));
        } else {
            entry.takesArguments = true;
            entry.arguments = ValuesOf(*option);
        }
    }
    return entry;
}

SCommandEntry EntryOf(const SSubcommand& subcommand)
{
    CLI::App app(subcommand.summary, subcommand.name);
    subcommand.addTo(app);
    return EntryOf(subcommand.name, subcommand.summary, app);
}

} // namespace

void AddProgramTo(CLI::App& app) { app.set_version_flag("--version", "quarn-log " QUARN_VERSION); }

SCommandEntry ProgramEntry()
{
    CLI::App app;
    AddProgramTo(app);
    SCommandEntry entry = EntryOf("quarn-log", "", app);
    entry.takesArguments = true;
    for (const SSubcommand* const subcommand : SUBCOMMANDS) {
        entry.arguments.words.emplace_back(subcommand->name);
    }
    return entry;
}

std::vector<SCommandEntry> SubcommandEntries()
{
    std::vector<SCommandEntry> entries;
    for (const SSubcommand* const subcommand : SUBCOMMANDS) {
        entries.push_back(EntryOf(*subcommand));
    }
    return entries;
}

SCommandEntry LogdumpEntry() { return EntryOf(LOGDUMP); }

} // namespace Quarn::Logging::Tool
