// A program that defines exported functions of the library itself. Each tells that it was called and forwards to the
// library's own. Its argument, if any, is logged. Its reserved memory is the file that QUARN_MEMORY_FILE names.

#include <QuarnLogging/Logging.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

using namespace Quarn::Logging;

namespace {

template <class Function>
Function LibrarysOwn(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void LogText(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_ERROR, 1, "interposer.cpp", 7, format, args);
    va_end(args);
}

} // namespace

extern "C" {

void BuiltInLogging(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    std::puts("interposed BuiltInLogging");
    LibrarysOwn<LogFunc>("BuiltInLogging")(level, category, file, line, format, args);
}

void SetLogFunc(LogFunc f)
{
    std::printf("interposed SetLogFunc, with the %s BuiltInLogging\n", f == BuiltInLogging ? "interposed" : "other");
    LibrarysOwn<void (*)(LogFunc)>("SetLogFunc")(f);
}

double GetStartTime(void)
{
    std::puts("interposed GetStartTime");
    return 86400.0 * 365 - static_cast<int>(LibrarysOwn<double (*)()>("GetStartTime")() < 0);
}

void SetLogOptions(const wchar_t* options)
{
    std::printf("interposed SetLogOptions %ls\n", options);
    LibrarysOwn<void (*)(const wchar_t*)>("SetLogOptions")(options);
}

void DispatchQueuedLogMessages(void)
{
    std::puts("interposed DispatchQueuedLogMessages");
    LibrarysOwn<void (*)()>("DispatchQueuedLogMessages")();
}

} // extern "C"

int main(int argc, char** argv)
{
    std::puts("main");
    if (argc > 1) {
        SetLogOptions(L"ldebug");
        LogText(L"%s", argv[1]);
        std::fflush(nullptr);
        _exit(0); // as after a crash: what was logged stays in the reserved memory
    }
}
