#ifndef QUARN_LOGGING_TESTS_LOG_CAPTURE_H
#define QUARN_LOGGING_TESTS_LOG_CAPTURE_H

#include <QuarnLogging/Logging.h>

#include <cstdarg>
#include <cwchar>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace QuarnTest {

/// A message as the log function received it, formatted but not cut.
struct SLoggedMessage
{
    int level;
    int category;
    std::string file;
    int line;
    std::wstring text;
};

inline std::ostream& operator<<(std::ostream& out, const SLoggedMessage& message)
{
    out << "{level " << message.level << ", category " << message.category << ", " << message.file << ":"
        << message.line << ", \"";
    for (const wchar_t character : message.text) {
        out << (character < 127 ? static_cast<char>(character) : '?');
    }
    return out << "\"}";
}

/// Stands in for the log function, and for the level table where a test brings one, as long as it lives. One at a time.
class LogCapture
{
public:
    LogCapture()
        : m_OldLogFunc(g_pLogFunc)
        , m_OldMaxLogLevels(g_MaxLogLevels)
        , m_pOldLogLevels(g_pLogLevels)
    {
        s_pCurrent = this;
        SetLogFunc(&LogCapture::Take);
    }
    ~LogCapture()
    {
        SetLogFunc(m_OldLogFunc);
        g_MaxLogLevels = m_OldMaxLogLevels;
        g_pLogLevels = m_pOldLogLevels;
        s_pCurrent = nullptr;
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Thresholds of the categories from 0 on.
    void UseLevels(std::vector<int> levels)
    {
        m_Levels = std::move(levels);
        g_pLogLevels = m_Levels.data();
        g_MaxLogLevels = static_cast<int>(m_Levels.size());
    }
    void UseNoLevels()
    {
        g_pLogLevels = nullptr;
        g_MaxLogLevels = -1;
    }

    std::vector<std::wstring> Texts() const
    {
        std::vector<std::wstring> texts;
        for (const SLoggedMessage& message : m_Messages) {
            texts.push_back(message.text);
        }
        return texts;
    }

    std::vector<SLoggedMessage> m_Messages;
    std::function<void()> m_Hook; ///< if set, runs inside each log call

private:
    static void Take(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
    {
        static wchar_t buffer[1 << 17];
        const int length = std::vswprintf(buffer, sizeof buffer / sizeof *buffer, format, args);
        s_pCurrent->m_Messages.push_back({level, category, file, line, length < 0 ? L"too long" : buffer});
        if (s_pCurrent->m_Hook) {
            s_pCurrent->m_Hook();
        }
    }

    inline static LogCapture* s_pCurrent = nullptr;

    Quarn::Logging::LogFunc m_OldLogFunc;
    int m_OldMaxLogLevels;
    int* m_pOldLogLevels;
    std::vector<int> m_Levels;
};

} // namespace QuarnTest

#endif
