// Loads the library, logs a line to nowhere and unloads it, three times, and tells each time whether it is mapped.

#include <QuarnLogging/Logging.h>

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <string>

using namespace Quarn::Logging;

namespace {

void LogText(LogFunc logFunc, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    logFunc(LEVEL_NONE, 1, "reloader.cpp", 7, format, args);
    va_end(args);
}

void TellWhetherLoaded()
{
    std::ifstream maps("/proc/self/maps");
    bool loaded = false;
    for (std::string line; std::getline(maps, line);) {
        loaded = loaded || line.find("libQuarnLogging.so") != std::string::npos;
    }
    std::printf("loaded: %s\n", loaded ? "yes" : "no");
}

} // namespace

int main(int, char** argv)
{
    for (int round = 0; round < 3; ++round) {
        void* const library = dlopen(argv[1], RTLD_NOW);
        if (library == nullptr) {
            std::puts(dlerror());
            return 1;
        }
        LogText(*static_cast<LogFunc*>(dlsym(library, "g_pLogFunc")), L"round %d", round);
        TellWhetherLoaded();
        dlclose(library);
        TellWhetherLoaded();
    }
}
