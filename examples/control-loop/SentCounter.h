#ifndef CONTROL_LOOP_SENT_COUNTER_H
#define CONTROL_LOOP_SENT_COUNTER_H

#include <QuarnLogging/Logging.h>

#include <atomic>

/// @brief Counts the messages on their way to the library: a log function that stands in front of the library's own.
///
/// Made before the first thread logs and gone after the last one.
class SentCounter
{
public:
    SentCounter()
    {
        m_pNext = g_pLogFunc;
        SetLogFunc(CountAndForward);
    }
    ~SentCounter() { SetLogFunc(m_pNext); }

    SentCounter(const SentCounter&) = delete;
    SentCounter& operator=(const SentCounter&) = delete;

    unsigned int Sent() const { return m_Sent; }

private:
    static void CountAndForward(int level, int category, const char* file, int line, const wchar_t* format,
                                va_list args)
    {
        m_Sent.fetch_add(1, std::memory_order_relaxed);
        m_pNext(level, category, file, line, format, args);
    }

    static inline Quarn::Logging::LogFunc m_pNext = nullptr;
    static inline std::atomic<unsigned int> m_Sent{0};
};

#endif
