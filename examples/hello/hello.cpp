#include <QuarnLogging/Logging.h>

static void Log(int level, int category, const char* file, int line, const wchar_t* format, ...)
{
    if (g_pLogFunc == nullptr || !Quarn::Logging::MustLog(category, level)) {
        return;
    }
    va_list args;
    va_start(args, format);
    g_pLogFunc(level, category, file, line, format, args);
    va_end(args);
}

int main()
{
    SetLogOptions(L"linfo;c"); // from info on, in colour, to the console
    Log(Quarn::Logging::LEVEL_WARNING, 12, __FILE__, __LINE__, L"axis %d slow: %.1f mm/s", 2, 3.5);
}
