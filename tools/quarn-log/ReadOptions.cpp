#include "ReadOptions.h"

#include "TimeText.h"

#include <QuarnLogging/Logging.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <map>
#include <system_error>

namespace Quarn::Logging::Tool {

namespace {

constexpr double MAX_INTERVAL = 3600; // s

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

} // namespace

void AddImage(CLI::App& app, SReadOptions& options)
{
    app.add_option("image", options.image, "File, device, core file or snapshot; - is standard input")
        ->required()
        ->type_name("IMAGE");
}

CLI::Option* AddJson(CLI::App& app, SReadOptions& options)
{
    return app.add_flag_callback(
        "--json", [&options] { options.format = "json"; }, "One JSON object a line instead of log lines");
}

void AddFormat(CLI::App& app, SReadOptions& options, const std::vector<std::string>& formats)
{
    CLI::Option* const json = AddJson(app, options)->description("The same as --output json");
    app.add_option("--output", options.format, "Format of what is printed")
        ->check(CLI::IsMember(formats))
        ->type_name("FORMAT")
        ->capture_default_str()
        ->excludes(json);
}

void AddFilter(CLI::App& app, SReadOptions& options)
{
    AddLevel(app, options.filter);
    app.add_option("--category", options.filter.categories, "Only records of this category; may be repeated")
        ->type_name("NUMBER")
        ->allow_extra_args(false);
    AddTime(app, "--since", options.filter.sinceMs, "Only records of this time and later");
    AddTime(app, "--until", options.filter.untilMs, "Only records of this time and earlier");
}

void AddAll(CLI::App& app, SReadOptions& options)
{
    app.add_flag("--all", options.all, "Also complete records that a broken chain hides");
}

void AddInterval(CLI::App& app, SReadOptions& options, const std::string& text)
{
    app.add_option("--interval", options.interval, text)
        ->check(CLI::Range(0.0, MAX_INTERVAL))
        ->type_name("SECONDS")
        ->capture_default_str();
}

void AddColor(CLI::App& app, SReadOptions& options)
{
    app.add_option("--color", options.color, "Colour by level: auto, always or never; auto: on a terminal")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->type_name("WHEN")
        ->capture_default_str();
}

} // namespace Quarn::Logging::Tool
