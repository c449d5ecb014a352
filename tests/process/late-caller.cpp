// Loads the library after it registered a handler for its exit, so that the handler runs when the library's objects are
// destroyed already, and uses everything that is exported then.

#include <QuarnLogging/Logging.h>

#include <dlfcn.h>
#include <pthread.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

using namespace Quarn::Logging;

namespace {

void* g_pLibrary = nullptr;

template <class Function>
Function Find(const char* name)
{
    return reinterpret_cast<Function>(dlsym(g_pLibrary, name));
}

class SilentLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override { std::puts("delivered"); }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}
};

SilentLogger g_SilentLogger;

void LogText(int level, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    (*Find<LogFunc*>("g_pLogFunc"))(level, 1, "late-caller.cpp", 7, format, args);
    va_end(args);
}

// Of a level that every filter lets through, as it would be if the library did not know its own end.
void UseEverything()
{
    std::printf("levels %d %s\n", *Find<int*>("g_MaxLogLevels"),
                *Find<int**>("g_pLogLevels") == nullptr ? "none" : "some");
    LogText(LEVEL_NONE, L"too late %d", 1);
    const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
    Find<void (*)(IQLogger*, unsigned int, const SLevelDef*)>("RegisterLogger")(&g_SilentLogger, 1, &all);
    Find<void (*)(const IQLogger*, unsigned int, const SLevelDef*)>("ModifyFilter")(&g_SilentLogger, 1, &all);
    LogText(LEVEL_NONE, L"too late %d", 2);
    Find<void (*)()>("DispatchQueuedLogMessages")();
    Find<void (*)(const IQLogger*)>("UnRegisterLogger")(&g_SilentLogger);
    Find<void (*)(const wchar_t*)>("SetLogOptions")(L"5");
    Find<void (*)(const wchar_t*)>("SetLogOptions")(L"ldebug;Llate.txt");
    Find<void (*)(bool)>("EnableAutologging")(false);
    LogText(LEVEL_NONE, L"too late %d", 3);
    std::printf("start time %g\n", Find<double (*)()>("GetStartTime")());
}

} // namespace

// glibc refuses to lock a mutex that was destroyed, which would hide a use of the library's remains. This one does not.
extern "C" int pthread_mutex_destroy(pthread_mutex_t* /*mutex*/) noexcept { return 0; }

int main(int, char** argv)
{
    std::atexit(UseEverything);
    g_pLibrary = dlopen(argv[1], RTLD_NOW);
    if (g_pLibrary == nullptr) {
        std::puts(dlerror());
        return 1;
    }
    Find<void (*)(const wchar_t*)>("SetLogOptions")(L"ldebug;Lapp.txt");
    LogText(LEVEL_ERROR, L"in time");
    std::puts("end of main");
}
