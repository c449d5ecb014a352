#include "AceLoggerTest.h"

namespace QuarnTest {
double g_StartTime = 0.0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the linker's name
extern "C" double __wrap_GetStartTime() { return QuarnTest::g_StartTime; }
