#include "Arguments.h"

#include "TimeText.h"

#include <QuarnLogging/Logging.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <map>
#include <system_error>

namespace Quarn::Logging::Tool {

namespace {

constexpr double DEFAULT_INTERVAL = 0.2; // s
constexpr double MAX_INTERVAL = 3600;    // s

void AddLevel(CLI::App& app, RecordFilter& filter)
{
    const auto parse = [&filter](const std::string& text) {
        static const std::map<std::string, int> NAMES = {
            {"debug", LEVEL_DEBUG}, {"info", LEVEL_INFO}, {"warning", LEVEL_WARNING}, {"error", LEVEL_ERROR}};
        const auto name = NAMES.find(text);
        int number = 0;
        const char* const end = text.data() + text.size();
        const std::from_chars_result parsed = std::from_chars(text.data(), end, number);
        if (name != NAMES.end()) {
            number = name->second;
        } else if (parsed.ec != std::errc() || parsed.ptr != end) {
            throw CLI::ValidationError("--level", "neither debug, info, warning, error nor a number: " + text);
        }
        filter.level = number;
    };
    app.add_option_function<std::string>("--level", parse, "Only records of this level (name or number) and above")
        ->type_name("LEVEL");
}

void AddTime(CLI::App& app, const std::string& name, std::optional<std::int64_t>& milliseconds, const std::string& text)
{
    const auto parse = [&milliseconds, name](const std::string& time) {
        milliseconds = ParseTime(time);
        if (!milliseconds) {
            throw CLI::ValidationError(name, "not a time: " + time);
        }
    };
    app.add_option_function<std::string>(name, parse, text)->type_name("TIME");
}

void AddOptions(CLI::App& app, SArguments& arguments, double& interval)
{
    app.add_option("image", arguments.image, "File, device, core file or snapshot; - is standard input")
        ->required()
        ->type_name("IMAGE");
    app.add_flag("--json", arguments.json, "One JSON object a line instead of log lines");
    AddLevel(app, arguments.filter);
    app.add_option("--category", arguments.filter.categories, "Only records of this category; may be repeated")
        ->type_name("NUMBER")
        ->allow_extra_args(false);
    AddTime(app, "--since", arguments.filter.sinceMs, "Only records of this time and later");
    AddTime(app, "--until", arguments.filter.untilMs, "Only records of this time and earlier");
    app.add_flag("--all", arguments.all, "Also complete records that a broken chain hides");
    CLI::Option* const info = app.add_flag("--info", arguments.info, "Print the queues' headers instead of records");
    CLI::Option* const follow =
        app.add_flag("--follow", arguments.follow, "Keep printing new records of a live region until interrupted");
    follow->excludes(info);
    app.add_option("--interval", interval, "Seconds between two looks with --follow")
        ->check(CLI::Range(0.0, MAX_INTERVAL))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option("--color", arguments.color, "Colour by level: auto, always or never; auto: on a terminal")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->type_name("WHEN")
        ->capture_default_str();
    app.set_version_flag("--version", "quarn-logdump " QUARN_VERSION);
}

} // namespace

std::optional<int> ParseArguments(int argc, const char* const* argv, SArguments& arguments)
{
    CLI::App app("Reads the log out of a memory image without changing it.", "quarn-logdump");
    double interval = DEFAULT_INTERVAL;
    arguments.color = "auto";
    AddOptions(app, arguments, interval);
    try {
        app.parse(argc, argv);
        if (arguments.follow && arguments.image == "-") {
            throw CLI::ValidationError("--follow", "standard input cannot be read again");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_FOUND : EXIT_USAGE;
    }
    arguments.interval = std::chrono::nanoseconds(static_cast<std::int64_t>(interval * 1e9));
    return std::nullopt;
}

} // namespace Quarn::Logging::Tool
