#ifndef QUARN_LOGGING_LOG_H
#define QUARN_LOGGING_LOG_H

#include <QuarnLogging/FormatCheck.h>
#include <QuarnLogging/Logging.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <time.h>

/// @file
/// The macros through which programs log.
///
///     QUARN_INFO(CATEGORY_AXIS, L"axis %d stands at %f", axis, position);
///
/// A message that no logger wants costs a few reads and comparisons in the caller: its arguments are not evaluated
/// and nothing is called. From C++17 on the format, which has to be a literal, is checked against the arguments while
/// the program is compiled. For a text that is known at run time only, log it with L"%ls".
///
/// Define QUARN_LOG_PATH_PREFIX, for all sources alike, as a string such as "/home/me/project/" to leave that much off
/// the front of the file names, at compile time.

/// Logs a message of a level and a category: a wide printf format and its arguments.
#define QUARN_LOG(level, category, ...) QUARN_LOG_IF_(true, level, category, __VA_ARGS__)

#define QUARN_DEBUG(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_DEBUG, category, __VA_ARGS__)
#define QUARN_INFO(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_INFO, category, __VA_ARGS__)
#define QUARN_WARNING(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_WARNING, category, __VA_ARGS__)
#define QUARN_ERROR(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_ERROR, category, __VA_ARGS__)

/// Logs the first of every n wanted messages of this call site, all threads counted together.
#define QUARN_LOG_EVERY_NTH(n, level, category, ...)                                                                   \
    do {                                                                                                               \
        static ::Quarn::Logging::EveryNth quarnLogThrottle;                                                            \
        QUARN_LOG_IF_(quarnLogThrottle.IsDue(n), level, category, __VA_ARGS__);                                        \
    } while (false)

/// Logs a wanted message of this call site, and then none for a number of milliseconds (up to 24 days), all threads
/// taken together.
#define QUARN_LOG_AT_MOST_EVERY(milliseconds, level, category, ...)                                                    \
    do {                                                                                                               \
        static ::Quarn::Logging::AtMostEvery quarnLogThrottle;                                                         \
        QUARN_LOG_IF_(quarnLogThrottle.IsDue(milliseconds), level, category, __VA_ARGS__);                             \
    } while (false)

/// Logs, as debug, that the function is entered here and that it is left.
#define QUARN_LOG_SCOPE(category)                                                                                      \
    const ::Quarn::Logging::ScopeLog quarnLogScope(category, QUARN_LOG_FILE_, __LINE__, __func__)

// What follows is for the macros above.

// Arguments that are not wanted are not evaluated, the condition neither: it may count.
#define QUARN_LOG_IF_(condition, level, category, ...)                                                                 \
    do {                                                                                                               \
        QUARN_LOG_CHECK_FORMAT_(__VA_ARGS__);                                                                          \
        const int quarnLogLevel = (level);                                                                             \
        const int quarnLogCategory = (category);                                                                       \
        if (::Quarn::Logging::MustLog(quarnLogCategory, quarnLogLevel) && (condition)) {                               \
            ::Quarn::Logging::LogFromCallSite(quarnLogLevel, quarnLogCategory, QUARN_LOG_FILE_, __LINE__,              \
                                              __VA_ARGS__);                                                            \
        }                                                                                                              \
    } while (false)

#define QUARN_LOG_FIRST_(...) QUARN_LOG_FIRST_OF_(__VA_ARGS__, 0)
#define QUARN_LOG_FIRST_OF_(first, ...) first

#if __cplusplus >= 201703L
#define QUARN_LOG_CHECK_FORMAT_(...)                                                                                   \
    do {                                                                                                               \
        constexpr auto quarnLogVerdict = ::Quarn::Logging::FormatCheck::Check(                                         \
            QUARN_LOG_FIRST_(__VA_ARGS__), decltype(::Quarn::Logging::FormatCheck::TypesBehind(__VA_ARGS__)){});       \
        static_assert(::Quarn::Logging::FormatCheck::Explain<quarnLogVerdict.fault, quarnLogVerdict.argument>::OK,     \
                      "");                                                                                             \
    } while (false)
#else
#define QUARN_LOG_CHECK_FORMAT_(...) static_cast<void>(0)
#endif

#ifdef QUARN_LOG_PATH_PREFIX
#define QUARN_LOG_FILE_                                                                                                \
    (&__FILE__[std::integral_constant<std::size_t,                                                                     \
                                      ::Quarn::Logging::PrefixLength(__FILE__, QUARN_LOG_PATH_PREFIX, 0)>::value])
#else
#define QUARN_LOG_FILE_ __FILE__
#endif

namespace Quarn {
namespace Logging {

/// Characters that a path has in common with a prefix: all of them, or none.
constexpr std::size_t PrefixLength(const char* path, const char* prefix, std::size_t position)
{
    return prefix[position] == '\0'             ? position
           : path[position] == prefix[position] ? PrefixLength(path, prefix, position + 1)
                                                : 0;
}

/// The call behind the guard. Not inlined: a call site keeps nothing but the guard in its own instructions.
__attribute__((noinline, cold, visibility("hidden"))) inline void
LogFromCallSite(int level, int category, const char* file, int line, const wchar_t* format, ...)
{
    const LogFunc logFunc = __atomic_load_n(&g_pLogFunc, __ATOMIC_RELAXED);
    if (logFunc == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    logFunc(level, category, file, line, format, args);
    va_end(args);
}

/// Counter of QUARN_LOG_EVERY_NTH. Lock-free.
class EveryNth
{
public:
    constexpr EveryNth()
        : m_Count(0)
    {
    }
    bool IsDue(unsigned int n) { return m_Count.fetch_add(1, std::memory_order_relaxed) % n == 0; }

private:
    std::atomic<unsigned int> m_Count;
};

/// Timer of QUARN_LOG_AT_MOST_EVERY. Lock-free, one reading of the monotonic clock.
class AtMostEvery
{
public:
    constexpr AtMostEvery()
        : m_Last(0)
        , m_Started(false)
    {
    }

    bool IsDue(std::uint32_t milliseconds)
    {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        const std::uint32_t now =
            static_cast<std::uint32_t>(time.tv_sec) * 1000 + static_cast<std::uint32_t>(time.tv_nsec / 1000000);
        std::uint32_t last = m_Last.load(std::memory_order_relaxed);
        if (m_Started.exchange(true, std::memory_order_relaxed) && now - last < milliseconds) {
            return false;
        }
        // Of several threads whose time has come, the one that moves the mark logs.
        return m_Last.compare_exchange_strong(last, now, std::memory_order_relaxed);
    }

private:
    std::atomic<std::uint32_t> m_Last; ///< Milliseconds of the monotonic clock, modulo 2^32.
    std::atomic<bool> m_Started;
};

/// Logs the beginning and the end of its own life.
class ScopeLog
{
public:
    ScopeLog(int category, const char* file, int line, const char* function)
        : m_Category(category)
        , m_Line(line)
        , m_pFile(file)
        , m_pFunction(function)
    {
        Log(L"enter %s");
    }
    ~ScopeLog() { Log(L"leave %s"); }

    ScopeLog(const ScopeLog&) = delete;
    ScopeLog& operator=(const ScopeLog&) = delete;

private:
    void Log(const wchar_t* format) const
    {
        if (MustLog(m_Category, LEVEL_DEBUG)) {
            LogFromCallSite(LEVEL_DEBUG, m_Category, m_pFile, m_Line, format, m_pFunction);
        }
    }

    int m_Category;
    int m_Line;
    const char* m_pFile;
    const char* m_pFunction;
};

} // namespace Logging
} // namespace Quarn

#endif
