// A plug-in with a logger of its own. plugin-host.cpp loads it.

#include <QuarnLogging/Log.h>

#include <cstdio>

using namespace Quarn::Logging;

namespace {

constexpr int CATEGORY_PLUGIN = 40;

class PluginLogger : public IQLogger
{
public:
    void Log(int, int category, double, unsigned int, const char*, int, const wchar_t* text) override
    {
        std::printf("plug-in: m=%d: %ls\n", category, text);
    }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}
};

PluginLogger g_PluginLogger;

} // namespace

// The host calls both while no other thread dispatches. They are functions, not constructors of static objects: the
// host decides when, and no code of the plug-in may run in a dispatch once it is unloaded.

extern "C" void StartPlugin()
{
    const SLevelDef levels[] = {{CATEGORY_ALL, LEVEL_WARNING}, {CATEGORY_PLUGIN, LEVEL_DEBUG}};
    RegisterLogger(&g_PluginLogger, 2, levels);
    QUARN_DEBUG(CATEGORY_PLUGIN, L"plug-in starts");
}

extern "C" void StopPlugin()
{
    QUARN_DEBUG(CATEGORY_PLUGIN, L"plug-in stops");
    DispatchQueuedLogMessages(); // what it has logged, while it is there to receive it
    UnRegisterLogger(&g_PluginLogger);
}
