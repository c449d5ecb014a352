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
///
/// Each macro is one statement, of any thread, and as fit for real time as the function behind g_pLogFunc, see
/// BuiltInLogging(). With that function null nothing happens.

/// Logs a message of a level and a category: a wide printf format and its arguments. A category is an int or an
/// enumerator, of an enum class too. Level and category are evaluated once.
#define QUARN_LOG(level, category, ...) QUARN_LOG_IF_(true, level, category, __VA_ARGS__)

/// QUARN_LOG() with LEVEL_DEBUG.
#define QUARN_DEBUG(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_DEBUG, category, __VA_ARGS__)
/// QUARN_LOG() with LEVEL_INFO.
#define QUARN_INFO(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_INFO, category, __VA_ARGS__)
/// QUARN_LOG() with LEVEL_WARNING.
#define QUARN_WARNING(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_WARNING, category, __VA_ARGS__)
/// QUARN_LOG() with LEVEL_ERROR.
#define QUARN_ERROR(category, ...) QUARN_LOG(::Quarn::Logging::LEVEL_ERROR, category, __VA_ARGS__)

/// Logs the first of every n wanted messages of this call site, all threads counted together. An n of 0 counts as 1.
#define QUARN_LOG_EVERY_NTH(n, level, category, ...)                                                                   \
    do {                                                                                                               \
        static ::Quarn::Logging::EveryNth quarnLogThrottle;                                                            \
        QUARN_LOG_IF_(quarnLogThrottle.IsDue(n), level, category, __VA_ARGS__);                                        \
    } while (false)

/// Logs a wanted message of this call site, and then none for a number of milliseconds (up to 49 days), all threads
/// taken together. A wanted message that is held back costs a reading of the monotonic clock.
#define QUARN_LOG_AT_MOST_EVERY(milliseconds, level, category, ...)                                                    \
    do {                                                                                                               \
        static ::Quarn::Logging::AtMostEvery quarnLogThrottle;                                                         \
        QUARN_LOG_IF_(quarnLogThrottle.IsDue(milliseconds), level, category, __VA_ARGS__);                             \
    } while (false)

/// Logs, as debug, that the function is entered here, and at the end of the scope that it is left. Whether a message is
/// wanted is decided at each of the two. Keeps four words on the stack and nothing else.
#define QUARN_LOG_SCOPE(category)                                                                                      \
    const ::Quarn::Logging::ScopeLog QUARN_LOG_JOIN_(quarnLogScope, __LINE__)(                                         \
        ::Quarn::Logging::CategoryNumber(category), QUARN_LOG_FILE_, __LINE__, __func__)

// What follows is for the macros above.
/// @cond

// Arguments that are not wanted are not evaluated, the condition neither: it may count.
#define QUARN_LOG_IF_(condition, level, category, ...)                                                                 \
    do {                                                                                                               \
        QUARN_LOG_REQUIRE_LITERAL_(QUARN_LOG_FIRST_(__VA_ARGS__));                                                     \
        const int quarnLogLevel = (level);                                                                             \
        const int quarnLogCategory = ::Quarn::Logging::CategoryNumber(category);                                       \
        if (::Quarn::Logging::MustLog(quarnLogCategory, quarnLogLevel) && (condition)) {                               \
            ::Quarn::Logging::LogFromCallSite(QUARN_LOG_FORMAT_(QUARN_LOG_FIRST_(__VA_ARGS__)), quarnLogLevel,         \
                                              quarnLogCategory, QUARN_LOG_FILE_, __LINE__, __VA_ARGS__);               \
        }                                                                                                              \
    } while (false)

#define QUARN_LOG_FIRST_(...) QUARN_LOG_FIRST_OF_(__VA_ARGS__, 0)
#define QUARN_LOG_FIRST_OF_(first, ...) first
#define QUARN_LOG_JOIN_(name, number) QUARN_LOG_JOIN_EXPANDED_(name, number)
#define QUARN_LOG_JOIN_EXPANDED_(name, number) name##number

#if __cplusplus >= 201703L
#define QUARN_LOG_REQUIRE_LITERAL_(format)                                                                             \
    static_assert(__builtin_constant_p(*(format)),                                                                     \
                  "log format: has to be a literal; a text that is known at run time takes L\"%ls\"")
#define QUARN_LOG_FORMAT_(format) [] { return format; } // a type that carries the format to the check
#else
#define QUARN_LOG_REQUIRE_LITERAL_(format) static_cast<void>(0)
#define QUARN_LOG_FORMAT_(format) 0
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

constexpr int CategoryNumber(int category) { return category; }

template <class Enumeration>
constexpr typename std::enable_if<std::is_enum<Enumeration>::value, int>::type CategoryNumber(Enumeration category)
{
    static_assert(sizeof(Enumeration) <= sizeof(int), "a category is a number of 32 bits");
    return static_cast<int>(category);
}

/// The call behind the guard. Not inlined: a call site keeps nothing but the guard in its own instructions.
__attribute__((noinline, cold, visibility("hidden"))) inline void CallLogFunc(int level, int category, const char* file,
                                                                              int line, const wchar_t* format, ...)
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

/// What the dots of a variadic function make of an argument anyway, spelt out for callers that are warned of it.
constexpr double Promote(float value) { return static_cast<double>(value); }
template <class T>
constexpr T Promote(T value)
{
    return value;
}

#if __cplusplus >= 201703L
/// Void, if all arguments can be copied.
template <class... Arguments>
using ResultForCopies = std::enable_if_t<(std::is_copy_constructible_v<Arguments> && ...)>;

/// What cannot be copied, as an atomic, is never right: the check says what to log of it.
template <class CallSite, class Format, class... Arguments>
std::enable_if_t<!(std::is_copy_constructible_v<std::decay_t<Arguments>> && ...)>
LogFromCallSite(CallSite callSite, int /*level*/, int /*category*/, const char* /*file*/, int /*line*/,
                Format /*format*/, const Arguments&... /*arguments*/)
{
    static_assert(FormatCheck::IsRight<CallSite, std::decay_t<Arguments>...>(callSite));
}
#else
template <class... Arguments>
using ResultForCopies = void;
#endif

/// Arguments come by value: a bit-field, a volatile and a static constant without a definition cannot come otherwise,
/// and the type that is checked is the one that is passed on.
template <class CallSite, class Format, class... Arguments>
__attribute__((always_inline)) inline ResultForCopies<Arguments...>
LogFromCallSite(CallSite callSite, int level, int category, const char* file, int line, Format format,
                Arguments... arguments)
{
#if __cplusplus >= 201703L
    if constexpr (FormatCheck::IsRight<CallSite, Arguments...>(callSite))
#else
    static_cast<void>(callSite);
#endif
    {
        CallLogFunc(level, category, file, line, format, Promote(arguments)...);
    }
}

/// Counter of QUARN_LOG_EVERY_NTH. Lock-free.
class EveryNth
{
public:
    constexpr EveryNth()
        : m_Count(0)
    {
    }
    bool IsDue(unsigned int n) { return m_Count.fetch_add(1, std::memory_order_relaxed) % (n == 0 ? 1 : n) == 0; }

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
        // The mark before the clock: read after it, a mark that another thread has set meanwhile might lie in the
        // future.
        std::uint32_t last = m_Last.load(std::memory_order_acquire);
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC, &time);
        const std::uint32_t now =
            static_cast<std::uint32_t>(time.tv_sec) * 1000 + static_cast<std::uint32_t>(time.tv_nsec / 1000000);
        if (m_Started.exchange(true, std::memory_order_relaxed) && now - last < milliseconds) {
            return false;
        }
        // Of several threads whose time has come, the one that moves the mark logs.
        return m_Last.compare_exchange_strong(last, now, std::memory_order_acq_rel);
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
            CallLogFunc(LEVEL_DEBUG, m_Category, m_pFile, m_Line, format, m_pFunction);
        }
    }

    int m_Category;
    int m_Line;
    const char* m_pFile;
    const char* m_pFunction;
};

} // namespace Logging
} // namespace Quarn

/// @endcond

#endif
