#ifndef CONTROL_LOOP_LOG_DISPATCHER_H
#define CONTROL_LOOP_LOG_DISPATCHER_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// @brief The thread that does all output of the log, so that no other thread waits for a terminal or a disk.
///
/// It is the only one that dispatches, which makes it the place to apply options: between two rounds no dispatch runs.
/// Its mutexes belong to the threads that may wait; a control thread only logs and never comes near them.
class LogDispatcher
{
public:
    /// Switches automatic logging off, applies the first options and starts the thread.
    explicit LogDispatcher(const std::wstring& options);

    /// Stops, if Stop() was not called.
    ~LogDispatcher();

    LogDispatcher(const LogDispatcher&) = delete;
    LogDispatcher& operator=(const LogDispatcher&) = delete;

    /// Has the thread apply an options string and returns when it did. From any thread that may wait.
    void ApplyOptions(const std::wstring& options);

    /// No output while the result lives: stands for a disk that does not answer.
    [[nodiscard]] std::unique_lock<std::mutex> HoldOutput() { return std::unique_lock<std::mutex>(m_OutputMutex); }

    /// Writes what is queued and ends the thread. To be called when all threads that log have ended.
    void Stop();

private:
    void Run();
    bool WaitForNextRound();
    void ApplyPendingOptions();

    std::mutex m_OutputMutex; ///< Held for a round. Taken before m_RequestMutex.

    std::mutex m_RequestMutex; ///< Guards the following.
    std::condition_variable m_Requested;
    std::condition_variable m_Applied;
    std::wstring m_PendingOptions;
    bool m_HasPendingOptions = false;
    bool m_Stop = false;

    std::thread m_Thread; ///< Last: it uses everything above.
};

#endif
