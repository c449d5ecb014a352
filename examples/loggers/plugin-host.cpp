// Loads a plug-in that receives the log while it is there: plugin-host PLUGIN.

#include <QuarnLogging/Log.h>

#include <dlfcn.h>

#include <cstdio>

namespace {

constexpr int CATEGORY_HOST = 1;

bool Call(void* plugin, const char* name)
{
    const auto function = reinterpret_cast<void (*)()>(dlsym(plugin, name));
    if (function != nullptr) {
        function();
    }
    return function != nullptr;
}

} // namespace

int main(int count, char** arguments)
{
    EnableAutologging(false); // this thread dispatches, and so knows when no other does
    QUARN_WARNING(CATEGORY_HOST, L"nobody listens");
    void* const plugin = count == 2 ? dlopen(arguments[1], RTLD_NOW) : nullptr;
    if (plugin == nullptr || !Call(plugin, "StartPlugin")) {
        std::fprintf(stderr, "usage: plugin-host PLUGIN\n");
        return 2;
    }
    QUARN_INFO(CATEGORY_HOST, L"below the plug-in's threshold");
    QUARN_WARNING(CATEGORY_HOST, L"the plug-in listens");
    const bool stopped = Call(plugin, "StopPlugin");
    dlclose(plugin);
    QUARN_WARNING(CATEGORY_HOST, L"nobody listens again");
    DispatchQueuedLogMessages();
    return stopped ? 0 : 1;
}
