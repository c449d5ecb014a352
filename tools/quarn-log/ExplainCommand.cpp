#include "ExitCode.h"
#include "Explanation.h"
#include "JsonText.h"
#include "Output.h"
#include "RecordWriter.h"
#include "Subcommands.h"
#include "Utf8.h"

#include <CLI/CLI.hpp>

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace Quarn::Logging::Tool {

namespace {

constexpr double DEFAULT_RATE = 10000; // a hundred lines of a hundred bytes
constexpr double MAX_RATE = 1e12;

struct SExplainOptions
{
    std::string string;
    std::string format = "text";
    double rate = DEFAULT_RATE;
};

/// The argument as the program gets it that is configured: in the charset of the locale, which is taken for UTF-8 if it
/// is that of the locale "C".
std::optional<std::wstring> Widen(const std::string& argument)
{
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    const std::string charset = locale == nullptr ? "UTF-8" : nl_langinfo_l(CODESET, locale);
    std::optional<std::wstring> wide;
    if (charset == "UTF-8" || charset == "ANSI_X3.4-1968") {
        wide = FromUtf8(argument);
    } else {
        const locale_t previous = uselocale(locale);
        std::wstring characters(argument.size() + 1, L'\0');
        const std::size_t length = std::mbstowcs(characters.data(), argument.c_str(), characters.size());
        uselocale(previous);
        if (length != static_cast<std::size_t>(-1)) {
            wide = characters.substr(0, length);
        }
    }
    if (locale != nullptr) {
        freelocale(locale);
    }
    return wide;
}

/// Characters of UTF-8.
std::size_t WidthOf(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::string TextOf(const std::vector<std::string>& warnings, const std::string& indent)
{
    std::string text;
    for (const std::string& warning : warnings) {
        text += indent + "warning: " + warning + "\n";
    }
    return text;
}

std::string Row(const std::string& name, const std::string& words)
{
    constexpr std::size_t COLUMN = 18;
    const std::size_t width = WidthOf(name);
    return name + (width < COLUMN ? std::string(COLUMN - width, ' ') : "  ") + words + "\n";
}

std::string TextOf(const SExplainedPart& part, const std::string& indent)
{
    std::string text = Row(indent + part.text, part.meaning) + TextOf(part.warnings, indent + "  ");
    for (const SExplainedPart& inner : part.parts) {
        text += TextOf(inner, indent + "  ");
    }
    return text;
}

std::string TextOf(const SExplanation& explanation)
{
    std::string text;
    for (const SExplainedPart& option : explanation.options) {
        text += TextOf(option, "");
    }
    text += TextOf(explanation.warnings, "");
    text += text.empty() ? "" : "\n";
    for (const auto& [name, words] : explanation.result) {
        text += Row(name, words);
    }
    return text;
}

Json JsonOf(const std::vector<SExplainedPart>& parts)
{
    Json array = Json::array();
    for (const SExplainedPart& part : parts) {
        Json object = {
            {"position", part.position}, {"text", part.text}, {"meaning", part.meaning}, {"warnings", part.warnings}};
        if (!part.parts.empty()) {
            object["parts"] = JsonOf(part.parts);
        }
        array.push_back(std::move(object));
    }
    return array;
}

std::string JsonOf(const std::wstring& string, const SOptionsReading& reading, const SExplanation& explanation)
{
    Json levels = Json::array();
    for (const SLevelDef& level : reading.levels) {
        levels.push_back({{"category", level.category}, {"level", level.level}});
    }
    Json result = Json::object();
    for (const auto& [name, words] : explanation.result) {
        result[name] = words;
    }
    return ToText({{"string", ToUtf8(string)},
                   {"shortcut", reading.isShortcut},
                   {"levels", std::move(levels)},
                   {"color", reading.color},
                   {"file", ToUtf8(reading.fileName)},
                   {"size", reading.size},
                   {"count", reading.count},
                   {"options", JsonOf(explanation.options)},
                   {"warnings", explanation.warnings},
                   {"result", std::move(result)},
                   {"number_of_warnings", explanation.CountWarnings()}});
}

int Run(const std::string& program, const SExplainOptions& options)
{
    Output output(stdout, program, nullptr);
    const std::optional<std::wstring> string = Widen(options.string);
    if (!string) {
        output.Notice("the string is no text in the charset of the locale");
        return EXIT_USAGE;
    }
    const SOptionsReading reading = ReadOptionsString(*string);
    const SExplanation explanation = Explain(*string, reading, options.rate);
    output.Write(options.format == "json" ? JsonOf(*string, reading, explanation) : TextOf(explanation));
    if (!output.Flush()) {
        output.Notice("standard output did not take everything");
        return EXIT_CANNOT_WRITE;
    }
    return explanation.CountWarnings() == 0 ? EXIT_FOUND : EXIT_WARNED;
}

Action AddTo(CLI::App& app)
{
    auto options = std::make_shared<SExplainOptions>();
    app.add_option("string", options->string, "Options string, as a program passes it to SetLogOptions")
        ->required()
        ->type_name("STRING");
    app.add_option("--rate", options->rate, "Bytes of log lines in a second, for what a size limit costs")
        ->check(CLI::Range(1.0, MAX_RATE))
        ->type_name("BYTES")
        ->capture_default_str();
    CLI::Option* const json = app.add_flag_callback(
        "--json", [options] { options->format = "json"; }, "The same as --output json");
    app.add_option("--output", options->format, "Format of what is printed")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("FORMAT")
        ->capture_default_str()
        ->excludes(json);
    return [options](const std::string& program) { return Run(program, *options); };
}

} // namespace

const SSubcommand EXPLAIN = {"explain", "Say in words what an options string does, and warn of what it does not.",
                             AddTo};

} // namespace Quarn::Logging::Tool
