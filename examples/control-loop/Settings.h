#ifndef CONTROL_LOOP_SETTINGS_H
#define CONTROL_LOOP_SETTINGS_H

#include <cstdio>
#include <string>

/// What happens to the machine during the run.
enum class EScenario {
    CALM,    ///< The axis moves to and fro.
    FAULT,   ///< A bearing runs dry: the axis lags behind, the motor gets hot and is switched off.
    OVERLOAD ///< The bus delivers more traces than the log can take while its disk does not answer.
};

struct SSettings
{
    std::wstring options = L"linfo";
    std::wstring laterOptions; ///< Applied at half time; none if empty.
    std::string scenarioName = "calm";
    EScenario scenario = EScenario::CALM;
    unsigned int milliseconds = 2000; ///< Machine time of the run.
    unsigned int burst = 2000;        ///< Telegrams of the overload.
    bool paced = true;                ///< False: cycles follow each other at once; for tests.
    bool realTime = false;            ///< Real-time priorities; needs the privilege.
};

/// False, after a word on standard error, if the command line cannot be understood. What it does not name stays as it
/// is.
bool ReadCommandLine(int count, char** arguments, SSettings& settings);

void PrintUsage(std::FILE* stream);

#endif
