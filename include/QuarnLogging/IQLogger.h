#ifndef QUARN_LOGGING_IQLOGGER_H
#define QUARN_LOGGING_IQLOGGER_H

namespace Quarn {
namespace Logging {

/// An application's error handler. The library only hands it on to loggers and never looks inside.
class IQErrorHandler;

/// @brief A receiver of log messages; derive from it and hand an instance to RegisterLogger().
///
/// The library calls a registered logger while a thread dispatches the queue: the thread that logs while automatic
/// logging is on, else the thread that calls DispatchQueuedLogMessages(). Dispatches run one after the other, so a
/// logger needs no lock of its own against the library. A logger may itself log from inside Log(); with automatic
/// logging on, that continues the running dispatch on the same thread. It may unregister itself and
/// others from inside Log(). An exception that leaves a logger ends the dispatch and reaches the thread that
/// dispatches; the message at hand is then lost to the loggers behind this one.
class IQLogger
{
public:
    IQLogger() = default;
    /// A copy is a logger of its own. It is not registered, nor is one that is assigned to.
    IQLogger(const IQLogger&) = default;
    /// @copydoc IQLogger(const IQLogger&)
    IQLogger& operator=(const IQLogger&) = default;

    /// Inline, so that applications can derive without linking against anything hidden.
    virtual ~IQLogger() = default;

    /// @brief Receives one message that passed this logger's filter.
    ///
    /// @param[in] level     as given by the caller: 1000 debug, 2000 info, 3000 warning, 4000 error, or any other value
    /// @param[in] category  as given by the caller
    /// @param[in] time      seconds of the monotonic clock; add GetStartTime() to get seconds since 1970-01-01 UTC
    /// @param[in] threadId  pthread_self() of the thread that logged, cut to 32 bits
    /// @param[in] file      source file of the log call
    /// @param[in] line      source line of the log call
    /// @param[in] text      the formatted message, at most 999 wide characters
    ///
    /// The strings are valid during the call only. They lie in the queue, and their room is already free again: a
    /// thread that fills the whole queue during the call overwrites them.
    virtual void Log(int level, int category, double time, unsigned int threadId, const char* file, int line,
                     const wchar_t* text) = 0;

    /// @brief Reports messages that were lost because the queue was full.
    ///
    /// Called at the end of a dispatch, after its messages, whatever the logger's filter.
    ///
    /// @param[in] count  messages lost since the previous report
    virtual void MessagesDropped(unsigned int count) = 0;

    /// @brief Hands over an error handler. The library itself never calls this; it is there for applications.
    virtual void SetErrorHandler(IQErrorHandler* handler) = 0;
};

} // namespace Logging
} // namespace Quarn

#endif
