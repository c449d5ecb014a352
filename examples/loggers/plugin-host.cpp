// Loads a plug-in that receives the log while it is there: plugin-host PLUGIN.
//
// Exit codes: 0 done, 1 the plug-in cannot be loaded or is none, 2 wrong usage.

#include <QuarnLogging/Log.h>

#include <dlfcn.h>

#include <clocale>
#include <cstdio>

namespace {

constexpr int CATEGORY_HOST = 1;

using Function = void (*)();

/// Null, after a word on standard error, if the plug-in has no such function.
Function Find(void* plugin, const char* name)
{
    const auto function = reinterpret_cast<Function>(dlsym(plugin, name));
    if (function == nullptr) {
        std::fprintf(stderr, "plugin-host: %s\n", dlerror());
    }
    return function;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2 || arguments[1][0] == '-') {
        std::fprintf(stderr, "usage: plugin-host PLUGIN\n");
        return 2;
    }
    std::setlocale(LC_CTYPE, "C.UTF-8"); // the plug-in's logger prints in it
    EnableAutologging(false);            // this thread dispatches, and so knows when no other does
    QUARN_WARNING(CATEGORY_HOST, L"nobody listens");
    void* const plugin = dlopen(arguments[1], RTLD_NOW);
    if (plugin == nullptr) {
        std::fprintf(stderr, "plugin-host: %s\n", dlerror());
        return 1;
    }
    const Function start = Find(plugin, "StartPlugin");
    const Function stop = Find(plugin, "StopPlugin");
    if (start == nullptr || stop == nullptr) {
        return 1;
    }
    start();
    QUARN_INFO(CATEGORY_HOST, L"below the plug-in's threshold");
    QUARN_WARNING(CATEGORY_HOST, L"the plug-in listens");
    stop();
    dlclose(plugin);
    QUARN_WARNING(CATEGORY_HOST, L"nobody listens again");
    DispatchQueuedLogMessages();
}
