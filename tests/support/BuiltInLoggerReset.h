#ifndef QUARN_LOGGING_TESTS_BUILT_IN_LOGGER_RESET_H
#define QUARN_LOGGING_TESTS_BUILT_IN_LOGGER_RESET_H

#include "LoggingGlobals.h"

#include <QuarnLogging/Logging.h>

namespace QuarnTest {

/// Puts the process's logging back to how it is after loading, so that the tests of a program may run in any order.
inline void ResetBuiltInLogger()
{
    DispatchQueuedLogMessages();
    UnRegisterLogger(&Quarn::Logging::g_BuiltInLogger);
    Quarn::Logging::g_LoggerRegistered = false;
    Quarn::Logging::g_BuiltInLogger.m_UseColor = false;
    Quarn::Logging::g_BuiltInLogger.SetOutputStream(L"", 0, 0);
    EnableAutologging(true);
    SetLogFunc(BuiltInLogging);
}

} // namespace QuarnTest

#endif
