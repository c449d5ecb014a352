#include "LoggingGlobals.h"

#include "CQApplicationTime.h"
#include "CQOptionParser.h"
#include "RelaxedAccess.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/Logging.h>

#include <cerrno>
#include <cstdarg>
#include <cwchar>
#include <vector>

Quarn::Logging::LogFunc g_pLogFunc = nullptr;
int g_MaxLogLevels = -1;
int* g_pLogLevels = nullptr;

namespace Quarn::Logging {

namespace {

/// Whether g_Logger can be used. False before it is ready and after it was destroyed at exit, when destructors and
/// atexit handlers of the process may still call in. g_MaxLogLevels does not tell: any client may write to it.
bool g_LoggerAlive = false;

} // namespace

bool g_Autologging = true;
bool g_LoggerRegistered = false;
CQApplicationTime* g_pApplicationTime = nullptr;

// In this order: the facade may print a previous run's log through the built-in logger while it is constructed, and at
// exit it is gone before that logger closes its file.
CQAceLogger g_BuiltInLogger;
CQLoggerFacade g_Logger(&g_LoggerAlive);

namespace {

/// Last: until both objects are there g_pLogFunc is null, and what the library itself would log is passed over.
[[maybe_unused]] const bool g_LogFuncInstalled = (::SetLogFunc(::BuiltInLogging), true);

bool IsFacadeAlive() { return LoadRelaxed(g_LoggerAlive); }

void SetBuiltInFilter(unsigned int count, const SLevelDef* levels)
{
    if (g_LoggerRegistered) {
        g_Logger.ModifyFilter(&g_BuiltInLogger, count, levels);
        return;
    }
    g_Logger.RegisterLogger(&g_BuiltInLogger, count, levels);
    g_LoggerRegistered = true;
}

void ApplyOptions(const wchar_t* options)
{
    CQOptionParser parser;
    parser.ParseOptions(options);
    std::vector<SLevelDef> levels(parser.GetNumberOfLevelSettings() + 1);
    levels[0] = {CATEGORY_DEFAULT, parser.GetDefaultLevel()};
    parser.GetLevelSettings(levels.data() + 1);
    SetBuiltInFilter(static_cast<unsigned int>(levels.size()), levels.data());
    g_BuiltInLogger.m_UseColor = parser.GetColorSetting();
    g_BuiltInLogger.SetOutputStream(parser.GetLogFileName().c_str(), parser.GetLogFileSize(),
                                    parser.GetMaxCountLogFiles());
}

} // namespace

void LogHelperFunc(int level, int category, const char* file, int line, const wchar_t* format, ...)
{
    if (const LogFunc logFunc = LoadRelaxed(g_pLogFunc)) {
        va_list args;
        va_start(args, format);
        logFunc(level, category, file, line, format, args);
        va_end(args);
    }
}

} // namespace Quarn::Logging

using namespace Quarn::Logging;

void BuiltInLogging(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    if (!IsFacadeAlive()) {
        return;
    }
    const int callersErrno = errno; // a log call between a failed call and the look at its errno must not hide it
    g_Logger.Log(level, category, file, line, format, args);
    if (LoadRelaxed(g_Autologging)) {
        g_Logger.DispatchLogMessages();
    }
    errno = callersErrno;
}

void SetLogFunc(LogFunc f) { StoreRelaxed(g_pLogFunc, f); }

void RegisterLogger(IQLogger* logger, unsigned int count, const SLevelDef* levels)
{
    if (IsFacadeAlive()) {
        g_Logger.RegisterLogger(logger, count, levels);
    }
}

void ModifyFilter(const IQLogger* logger, unsigned int count, const SLevelDef* levels)
{
    if (IsFacadeAlive()) {
        g_Logger.ModifyFilter(logger, count, levels);
    }
}

void UnRegisterLogger(const IQLogger* logger)
{
    if (IsFacadeAlive()) {
        g_Logger.UnRegisterLogger(logger);
    }
}

void DispatchQueuedLogMessages(void)
{
    if (IsFacadeAlive()) {
        g_Logger.DispatchLogMessages();
    }
}

void EnableAutologging(bool enable) { StoreRelaxed(g_Autologging, enable); }

double GetStartTime(void) { return IsFacadeAlive() ? g_Logger.GetStartTime() : 0.0; }

void SetLogOptions(const wchar_t* options)
{
    if (!IsFacadeAlive()) {
        return;
    }
    if (std::wcslen(options) == 1) {
        const SLevelDef level = {CATEGORY_ALL, CQOptionParser::LevelOfShortcut(options[0])};
        SetBuiltInFilter(1, &level);
        return;
    }
    ApplyOptions(options);
}

void InitApplicationTime(void) { g_pApplicationTime = new CQApplicationTime(); }

void FiniApplicationTime(void)
{
    delete g_pApplicationTime;
    g_pApplicationTime = nullptr;
}

double GetClockTime(void) { return g_pApplicationTime->GetClockTime(); }

unsigned int GetEepromDate(void) { return g_pApplicationTime->GetEepromDate(); }

void SetClockTime(double time) { g_pApplicationTime->SetClockTime(time); }
