#ifndef QUARN_LOGGING_LOGGING_H
#define QUARN_LOGGING_LOGGING_H

#include <QuarnLogging/Export.h>
#include <QuarnLogging/IQLogger.h>

#include <cstdarg>

/// @file
/// The logging service: the exported functions and globals, the levels, and the guard in front of a log call.

namespace Quarn {
namespace Logging {

/// The levels that have a name. Any other value is a level too; a larger one is more severe.
enum ELevel : int {
    LEVEL_DEBUG = 1000,
    LEVEL_INFO = 2000,
    LEVEL_WARNING = 3000,
    LEVEL_ERROR = 4000,
    LEVEL_NONE = 9999 ///< As a threshold: none of the named levels passes. The threshold of a fresh filter.
};

/// Values of SLevelDef::category that do not name a category.
enum ESpecialCategory : int {
    CATEGORY_ALL = -1,    ///< Forget the thresholds of all categories and set the default threshold.
    CATEGORY_DEFAULT = -2 ///< Set the default threshold, the one of every category without a threshold of its own.
};

/// A category and its threshold, or one of ESpecialCategory and the default threshold.
struct SLevelDef
{
    int category; ///< Any number but the two special ones names a category, other negative numbers included.
    int level;    ///< Threshold: a message passes when its level is greater than or equal to it.
};

/// @brief The function that takes log messages; g_pLogFunc points to it.
///
/// @param level     severity, see ELevel
/// @param category  number of the topic; 0 to 999 are filtered by the caller, see MustLog()
/// @param file      source file, multibyte text in the locale's encoding; not null
/// @param line      source line
/// @param format    wide printf format as vswprintf takes it; not null
/// @param args      arguments of the format
typedef void (*LogFunc)(int level, int category, const char* file, int line, const wchar_t* format, va_list args);

} // namespace Logging
} // namespace Quarn

extern "C" {

/// Where all log calls go. BuiltInLogging once the library is loaded; null before, or after SetLogFunc(nullptr).
extern QUARN_LOGGING_API Quarn::Logging::LogFunc g_pLogFunc;

/// Number of entries in g_pLogLevels: 1000 while the library logs, -1 before it is loaded and after its end.
extern QUARN_LOGGING_API int g_MaxLogLevels;

/// Thresholds of the categories 0 to g_MaxLogLevels - 1, all loggers taken together. Changed entry by entry while a
/// filter changes, so read it with MustLog() and write it never.
extern QUARN_LOGGING_API int* g_pLogLevels;

/// @brief Takes one message: formats it, stores it in the queue and, with automatic logging on, dispatches the queue.
///
/// Callers ask MustLog() first: a category from 0 to 999 is not filtered here again. The text is cut to 999 wide
/// characters. A message that finds the queue full is counted as dropped. After the library's end, in destructors of
/// static objects and in atexit handlers, nothing happens.
///
/// @par Threads    any
/// @par Real time  with automatic logging off yes: no heap, no output, one short priority-inheriting lock (a
///                 precision of several thousand, or more than a dozen positional arguments, for which the C library
///                 allocates, are the exception). With automatic logging on no: it runs the loggers.
/// @par Signals    not to be called from a signal handler
QUARN_LOGGING_API void BuiltInLogging(int level, int category, const char* file, int line, const wchar_t* format,
                                      va_list args);

/// @brief Replaces the function behind g_pLogFunc.
///
/// @param[in] f    the new function; null switches logging off for callers that check g_pLogFunc
/// @par Threads    to be called during start-up
QUARN_LOGGING_API void SetLogFunc(Quarn::Logging::LogFunc f);

/// @brief Adds a logger with a filter of its own. The newest logger gets each message first.
///
/// Registering a logger twice delivers each message to it twice.
///
/// @param[in] logger  not owned; stays valid until it is unregistered
/// @param[in] count   number of entries in levels
/// @param[in] levels  applied in order to a filter that starts with the threshold 9999 for every category
/// @par Threads       call it while no other thread dispatches
/// @par Real time     no: allocates
/// @par Failure       memory exhausted: throws std::bad_alloc, nothing is registered
QUARN_LOGGING_API void RegisterLogger(Quarn::Logging::IQLogger* logger, unsigned int count,
                                      const Quarn::Logging::SLevelDef* levels);

/// @brief Applies level settings on top of those that the newest registration of a logger has.
///
/// To start afresh let the first entry be { CATEGORY_ALL, level }. An unknown logger changes nothing.
///
/// @par Threads       call it while no other thread dispatches
/// @par Real time     no: allocates
/// @par Failure       memory exhausted: throws std::bad_alloc, the settings before the failing one are applied to the
///                    logger, and g_pLogLevels is left as it was
QUARN_LOGGING_API void ModifyFilter(const Quarn::Logging::IQLogger* logger, unsigned int count,
                                    const Quarn::Logging::SLevelDef* levels);

/// @brief Removes the newest registration of a logger. An unknown logger changes nothing.
///
/// @par Threads    call it while no other thread dispatches; a logger may call it from inside Log()
/// @par Real time  no: allocates and frees memory
/// @par Failure    memory exhausted: throws std::bad_alloc, the logger is removed and g_pLogLevels is left as it was
QUARN_LOGGING_API void UnRegisterLogger(const Quarn::Logging::IQLogger* logger);

/// @brief Delivers every queued message to the registered loggers, on the calling thread.
///
/// Drains the queue completely, including messages that other threads add meanwhile, then reports drops once.
///
/// @par Threads    any; concurrent calls run one after the other
/// @par Real time  no: runs the loggers, so it may block on output
/// @par Failure    none reported; what leaves a logger as an exception leaves this call too
QUARN_LOGGING_API void DispatchQueuedLogMessages(void);

/// @brief Switches automatic logging: whether a log call dispatches the queue before it returns. On at start.
///
/// Switch it off where time-critical threads log, and let another thread call DispatchQueuedLogMessages().
///
/// @par Threads    any; takes effect with each thread's next log call
QUARN_LOGGING_API void EnableAutologging(bool enable);

/// @brief The wall-clock time at which the monotonic clock read zero; turns message times into dates.
///
/// @return         seconds since 1970-01-01 UTC; 0 after the library's end
/// @par Threads    any
/// @par Real time  yes
QUARN_LOGGING_API double GetStartTime(void);

/// @brief Configures the built-in logger from an options string, such as L"linfo;o7D;c;Llog/app-%T.txt;S1M;N5".
///
/// A string of exactly one character is a shortcut that sets one level for all categories ("0" nothing, "1" errors,
/// "2" warnings, "3" info, "4" to "9" debug) and leaves colour and output alone. Any other string sets colour, output
/// and default level anew; thresholds of single categories stay until they are set again, or cleared by the shortcut or
/// "o-1".
///
/// @param[in] options  not null; docs/options.md describes it
/// @par Threads        one at a time, while no other thread dispatches
/// @par Real time      no: allocates, renames and opens files, may sleep to the next full second
/// @par Failure        malformed options fall back to defaults; memory exhausted: throws std::bad_alloc
QUARN_LOGGING_API void SetLogOptions(const wchar_t* options);

} // extern "C"

namespace Quarn {
namespace Logging {

/// @brief The guard that stands in front of every log call: whether any logger may want the message.
///
/// Categories outside the table are always passed on; the library filters them itself.
///
/// @par Threads    any; no lock
/// @par Real time  yes: a few reads and comparisons
inline bool MustLog(int category, int level)
{
    // Relaxed atomic reads are plain reads to the processor; they keep the concurrent rebuild of the table defined.
    return category < 0 || category >= __atomic_load_n(&g_MaxLogLevels, __ATOMIC_RELAXED) ||
           __atomic_load_n(&__atomic_load_n(&g_pLogLevels, __ATOMIC_RELAXED)[category], __ATOMIC_RELAXED) <= level;
}

} // namespace Logging
} // namespace Quarn

#endif
