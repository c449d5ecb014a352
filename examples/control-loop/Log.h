#ifndef CONTROL_LOOP_LOG_H
#define CONTROL_LOOP_LOG_H

#include <QuarnLogging/Logging.h>

#include <atomic>
#include <cstdarg>

/// Everything that this program needs at a call site. An application has one such header.

/// The topics, each with a threshold of its own in the options string: "o4D" makes CATEGORY_BUS verbose. The numbers
/// are part of the program's interface, so they stand here and are not left to the compiler.
enum ECategory : int { CATEGORY_MACHINE = 1, CATEGORY_CONTROL = 2, CATEGORY_THERMAL = 3, CATEGORY_BUS = 4 };

/// Messages handed to the library so far, for the account at the end.
inline std::atomic<unsigned int> g_MessagesSent{0};

/// @brief Sends one message on. Behind the guard of the macros only: a category from 0 to 999 is not filtered again.
///
/// @par Real time  yes while automatic logging is off: no heap, no output, one short priority-inheriting lock.
inline void SendLogMessage(int level, int category, const char* file, int line, const wchar_t* format, ...)
{
    const Quarn::Logging::LogFunc logFunc = g_pLogFunc;
    if (logFunc == nullptr) {
        return;
    }
    g_MessagesSent.fetch_add(1, std::memory_order_relaxed);
    va_list args;
    va_start(args, format);
    logFunc(level, category, file, line, format, args);
    va_end(args);
}

// Macros, because only they know the source position, and because the arguments of a message that nobody wants are then
// not even evaluated. The first of the variable arguments is the wide format.
#define LOG_AT(level, category, ...)                                                                                   \
    do {                                                                                                               \
        if (Quarn::Logging::MustLog((category), (level))) {                                                            \
            SendLogMessage((level), (category), __FILE__, __LINE__, __VA_ARGS__);                                      \
        }                                                                                                              \
    } while (false)

#define LOG_DEBUG(category, ...) LOG_AT(Quarn::Logging::LEVEL_DEBUG, category, __VA_ARGS__)
#define LOG_INFO(category, ...) LOG_AT(Quarn::Logging::LEVEL_INFO, category, __VA_ARGS__)
#define LOG_WARNING(category, ...) LOG_AT(Quarn::Logging::LEVEL_WARNING, category, __VA_ARGS__)
#define LOG_ERROR(category, ...) LOG_AT(Quarn::Logging::LEVEL_ERROR, category, __VA_ARGS__)

#endif
