// A syslog that prints: linked into a program, it is called in the C library's place.

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

extern "C" void syslog(int priority, const char* format, ...)
{
    std::printf("syslog %d: ", priority);
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
}
