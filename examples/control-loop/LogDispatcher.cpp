#include "LogDispatcher.h"

#include <QuarnLogging/Logging.h>

#include <chrono>

namespace {

/// How old a message may get before it is seen. The queue has to hold what is logged meanwhile.
constexpr std::chrono::milliseconds ROUND_PERIOD(20);

} // namespace

LogDispatcher::LogDispatcher(const std::wstring& options)
{
    EnableAutologging(false);
    SetLogOptions(options.c_str()); // no thread logs or dispatches yet
    m_Thread = std::thread(&LogDispatcher::Run, this);
}

LogDispatcher::~LogDispatcher() { Stop(); }

void LogDispatcher::ApplyOptions(const std::wstring& options)
{
    std::unique_lock<std::mutex> lock(m_RequestMutex);
    m_PendingOptions = options;
    m_HasPendingOptions = true;
    m_Requested.notify_one();
    m_Applied.wait(lock, [this] { return !m_HasPendingOptions; });
}

void LogDispatcher::Stop()
{
    if (!m_Thread.joinable()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_RequestMutex);
        m_Stop = true;
    }
    m_Requested.notify_one();
    m_Thread.join();
}

void LogDispatcher::Run()
{
    bool goOn = true;
    while (goOn) {
        goOn = WaitForNextRound();
        const std::lock_guard<std::mutex> output(m_OutputMutex);
        // What was logged under the old levels goes out under them: the built-in logger judges a message when it is
        // dispatched.
        DispatchQueuedLogMessages();
        ApplyPendingOptions();
    }
}

/// False if this round is the last one.
bool LogDispatcher::WaitForNextRound()
{
    std::unique_lock<std::mutex> lock(m_RequestMutex);
    m_Requested.wait_for(lock, ROUND_PERIOD, [this] { return m_Stop || m_HasPendingOptions; });
    return !m_Stop;
}

void LogDispatcher::ApplyPendingOptions()
{
    const std::lock_guard<std::mutex> lock(m_RequestMutex);
    if (m_HasPendingOptions) {
        SetLogOptions(m_PendingOptions.c_str());
        m_HasPendingOptions = false;
        m_Applied.notify_all();
    }
}
