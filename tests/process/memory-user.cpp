// A program of the deployed kind on a reserved memory from the file that QUARN_MEMORY_FILE names, or on the device. Its
// arguments are what it does, one after the other; see main().

#include <QuarnLogging/Logging.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

using namespace Quarn::Logging;

namespace {

void LogText(int level, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(level, 1, "memory-user.cpp", 7, format, args);
    va_end(args);
}

void LogMany(const std::string& count)
{
    for (int i = 0; i < std::atoi(count.c_str()); ++i) {
        LogText(LEVEL_ERROR, L"message %d", i);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, std::function<void(const std::string&)>> actions = {
        {"options=",
         [](const std::string& options) { SetLogOptions(std::wstring(options.begin(), options.end()).c_str()); }},
        {"autolog=", [](const std::string& enable) { EnableAutologging(enable == "on"); }},
        {"error=", [](const std::string& text) { LogText(LEVEL_ERROR, L"%s", text.c_str()); }},
        {"always=", [](const std::string& text) { LogText(LEVEL_NONE, L"%s", text.c_str()); }},
        {"many=", LogMany},
        {"dispatch=", [](const std::string&) { DispatchQueuedLogMessages(); }},
        {"unbuffered=", [](const std::string&) { std::setvbuf(stdout, nullptr, _IONBF, 0); }},
        {"say=", [](const std::string& text) { std::puts(text.c_str()); }},
        {"threshold=",
         [](const std::string& category) { std::printf("threshold %d\n", g_pLogLevels[std::atoi(category.c_str())]); }},
        {"abort=", [](const std::string&) { std::abort(); }},
        {"kill=", [](const std::string&) {
             std::fflush(nullptr);
             std::raise(SIGKILL);
         }}};
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::size_t split = argument.find('=') + 1;
        actions.at(argument.substr(0, split))(argument.substr(split));
    }
}
