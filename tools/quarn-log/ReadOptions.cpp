#include "ReadOptions.h"

#include "LevelText.h"
#include "TimeText.h"

#include <CLI/CLI.hpp>

#include <chrono>

namespace Quarn::Logging::Tool {

namespace {

constexpr double MAX_INTERVAL = 3600; // s

void AddLevel(CLI::App& app, RecordFilter& filter)
{
    const auto parse = [&filter](const std::string& text) {
        filter.level = ParseLevel(text);
        if (!filter.level) {
            throw CLI::ValidationError("--level", "not a level: " + text + "; it takes " + LEVEL_FORMS);
        }
    };
    app.add_option_function<std::string>("--level", parse, "Only records of this level (w, warning, 3000) and above")
        ->type_name("LEVEL");
}

std::int64_t NowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

void AddTime(CLI::App& app, const std::string& name, std::optional<std::int64_t>& milliseconds, Ambiguous ambiguous,
             const std::string& text)
{
    const auto parse = [&milliseconds, ambiguous, name](const std::string& time) {
        milliseconds = ParseTime(time, NowMs(), ambiguous);
        if (!milliseconds) {
            throw CLI::ValidationError(name, "not a time: " + time + "; it takes " + TIME_FORMS);
        }
    };
    app.add_option_function<std::string>(name, parse, text)->type_name("TIME");
}

} // namespace

void AddImage(CLI::App& app, SReadOptions& options)
{
    app.add_option("image", options.image, "File, device, core file or snapshot; - is standard input")
        ->capture_default_str()
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
    AddTime(app, "--since", options.filter.sinceMs, Ambiguous::FIRST,
            "Only records of this time (-1h, 20:51, yesterday, @1795182309, 2026-11-20 13:45) and later");
    AddTime(app, "--until", options.filter.untilMs, Ambiguous::LAST, "Only records of this time and earlier");
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
    app.add_option("--color", options.color,
                   "Colour by level: auto, always or never; auto: on a terminal, unless NO_COLOR is set")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->type_name("WHEN")
        ->capture_default_str();
}

} // namespace Quarn::Logging::Tool
