// A program that only starts and ends: without a library, with ACE, or with the library. With an argument it leaves a
// queue full of messages behind, for the next start to find.

#ifdef QUARN_BENCH_WITH_LIBRARY

#include <QuarnLogging/Logging.h>

#include <cstdarg>

#include <unistd.h>

namespace {

/// Past the guard, since no logger is registered here.
void Queue(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    BuiltInLogging(Quarn::Logging::LEVEL_INFO, 12, "bench/StartedProgram.cpp", __LINE__, format, args);
    va_end(args);
}

} // namespace

int main(int argc, char**)
{
    if (argc > 1) {
        EnableAutologging(false);
        for (int i = 0; i < 12000; ++i) { // more than there is room for
            Queue(L"axis %d stands at position %d", i & 7, i);
        }
        _exit(0);
    }
    return GetStartTime() > 0 ? 0 : 1;
}

#else

int main() { return 0; }

#endif
