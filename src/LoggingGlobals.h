#ifndef QUARN_LOGGING_LOGGING_GLOBALS_H
#define QUARN_LOGGING_LOGGING_GLOBALS_H

#include "CQAceLogger.h"
#include "CQLoggerFacade.h"

namespace Quarn::Logging {

class CQApplicationTime;

extern CQAceLogger g_BuiltInLogger;
extern CQLoggerFacade g_Logger;

/// Whether every log call dispatches the queue before it returns.
extern bool g_Autologging;

/// Whether g_BuiltInLogger is registered with g_Logger. Never false again once it is true.
extern bool g_LoggerRegistered;

/// The application clock; null while there is none. Owned: FiniApplicationTime() deletes it, exit does not.
extern CQApplicationTime* g_pApplicationTime;

/// Logs for code inside the library, which asks MustLog() first. Does nothing while g_pLogFunc is null.
void LogHelperFunc(int level, int category, const char* file, int line, const wchar_t* format, ...);

} // namespace Quarn::Logging

#endif
