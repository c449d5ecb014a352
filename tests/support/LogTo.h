#ifndef QUARN_LOGGING_TESTS_LOG_TO_H
#define QUARN_LOGGING_TESTS_LOG_TO_H

#include "CQLoggerFacade.h"

#include <cstdarg>

namespace QuarnTest {

/// Hands a message to a facade of the test's own, as BuiltInLogging() does for the process's facade.
inline void LogTo(Quarn::Logging::CQLoggerFacade& facade, int level, int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    facade.Log(level, category, "unit.cpp", 7, format, args);
    va_end(args);
}

} // namespace QuarnTest

#endif
