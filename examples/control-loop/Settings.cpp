#include "Settings.h"

#include <cstdlib>

namespace {

/// Byte by byte: the names of log files reach the file system the same way back, whatever the locale.
std::wstring Widen(const std::string& text)
{
    std::wstring wide;
    for (const char character : text) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(character));
    }
    return wide;
}

bool ReadNumber(const std::string& text, unsigned int& number)
{
    char* rest = nullptr;
    const unsigned long value = std::strtoul(text.c_str(), &rest, 10);
    number = static_cast<unsigned int>(value);
    return !text.empty() && *rest == '\0' && value <= 100000000;
}

bool ReadScenario(const std::string& name, SSettings& settings)
{
    settings.scenarioName = name;
    if (name == "calm") {
        settings.scenario = EScenario::CALM;
    } else if (name == "fault") {
        settings.scenario = EScenario::FAULT;
    } else if (name == "overload") {
        settings.scenario = EScenario::OVERLOAD;
    } else {
        return false;
    }
    return true;
}

bool TakesValue(const std::string& name)
{
    return name == "--options" || name == "--later" || name == "--scenario" || name == "--milliseconds" ||
           name == "--burst";
}

bool ReadValue(const std::string& name, const std::string& value, SSettings& settings)
{
    if (name == "--options") {
        settings.options = Widen(value);
        return true;
    }
    if (name == "--later") {
        settings.laterOptions = Widen(value);
        return true;
    }
    if (name == "--scenario") {
        return ReadScenario(value, settings);
    }
    if (name == "--milliseconds") {
        return ReadNumber(value, settings.milliseconds);
    }
    return ReadNumber(value, settings.burst);
}

} // namespace

bool ReadCommandLine(int count, char** arguments, SSettings& settings)
{
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        if (name == "--unpaced") {
            settings.paced = false;
        } else if (name == "--real-time") {
            settings.realTime = true;
        } else if (!TakesValue(name)) {
            std::fprintf(stderr, "control-loop: unknown option %s\n", name.c_str());
            return false;
        } else if (++i == count) {
            std::fprintf(stderr, "control-loop: %s needs a value\n", name.c_str());
            return false;
        } else if (!ReadValue(name, arguments[i], settings)) {
            std::fprintf(stderr, "control-loop: %s cannot be %s\n", name.c_str(), arguments[i]);
            return false;
        }
    }
    return true;
}

void PrintUsage(std::FILE* stream)
{
    std::fputs(
        "usage: control-loop [--scenario calm|fault|overload] [--options STRING] [--later STRING]\n"
        "                    [--milliseconds N] [--burst N] [--unpaced] [--real-time]\n"
        "\n"
        "A simulated axis under a 1 kHz controller, with supervision, communication and a log.\n"
        "  --scenario       calm: to and fro; fault: a bearing runs dry; overload: more messages than the queue holds\n"
        "  --options        options string of the log at the start, \"linfo\" if not given\n"
        "  --later          options string that is applied at half time\n"
        "  --milliseconds   length of the run, 2000 if not given, 100000000 at most\n"
        "  --burst          messages of the overload, 2000 if not given, 100000000 at most\n"
        "  --unpaced        without waiting between the cycles\n"
        "  --real-time      with real-time priorities and locked memory\n"
        "\n"
        "Categories: 1 machine, 2 control, 3 thermal, 4 bus.\n"
        "Exit codes: 0 done, 2 wrong usage.\n",
        stream);
}
