// Logs two messages that nobody takes out of the queue, and dies.

#include <QuarnLogging/Logging.h>

#include <sys/resource.h>

#include <cstdarg>
#include <cstdlib>

using namespace Quarn::Logging;

namespace {

void LogText(int level, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(level, 42, "core-dumper.cpp", 7, format, args);
    va_end(args);
}

} // namespace

int main()
{
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_CORE, &limit);

    EnableAutologging(false);
    LogText(LEVEL_NONE, L"%zu bytes a pointer", sizeof(void*));
    LogText(LEVEL_NONE, L"the last words");
    std::abort();
}
