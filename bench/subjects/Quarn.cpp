#include "Subject.h"

#include <QuarnLogging/Log.h>

namespace QuarnBench {

namespace {

using Quarn::Logging::IQErrorHandler;
using Quarn::Logging::IQLogger;
using Quarn::Logging::SLevelDef;

constexpr int CATEGORY = 12;

class NullLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override {}
    void MessagesDropped(unsigned int count) override { m_Dropped += count; }
    void SetErrorHandler(IQErrorHandler*) override {}

    unsigned int m_Dropped = 0;
};

NullLogger g_NullLogger;
Scene g_Scene;

void Open(Scene scene, const std::string& directory)
{
    g_Scene = scene;
    if (scene == Scene::QUEUED) {
        const SLevelDef info = {Quarn::Logging::CATEGORY_ALL, Quarn::Logging::LEVEL_INFO};
        EnableAutologging(false);
        RegisterLogger(&g_NullLogger, 1, &info);
        return;
    }
    const std::string options = "linfo;L" + directory + "/quarn.log";
    EnableAutologging(true);
    SetLogOptions(std::wstring(options.begin(), options.end()).c_str());
}

void Close()
{
    DispatchQueuedLogMessages();
    if (g_Scene == Scene::QUEUED) {
        UnRegisterLogger(&g_NullLogger);
    } else {
        SetLogOptions(L"l0;");
    }
}

void LogStatic(int) { QUARN_INFO(CATEGORY, L"axis reference run finished without errors"); }
void LogTwoInts(int number) { QUARN_INFO(CATEGORY, L"axis %d stands at position %d", number & 7, number); }
void LogMixed(int number)
{
    QUARN_INFO(CATEGORY, L"axis %d %ls %s %f %x", number & 7, L"drive", "locked", number * 0.25, number);
}

void Filtered(int count)
{
    for (int i = 0; i < count; ++i) {
        QUARN_DEBUG(CATEGORY, L"axis %d stands at position %d", i & 7, i);
        ForgetMemory();
    }
}

/// Of the scene QUEUED. Otherwise the file would say so, and each call dispatches anyway.
unsigned int Dropped() { return g_NullLogger.m_Dropped; }

} // namespace

SSubject QuarnSubject()
{
    return {"QuarnLogging", Open, Close,  {LogStatic, LogTwoInts, LogMixed}, DispatchQueuedLogMessages, Filtered,
            true,           true, Dropped};
}

} // namespace QuarnBench
