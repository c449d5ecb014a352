#ifndef QUARN_LOGGING_TESTS_RECORDING_LOGGER_H
#define QUARN_LOGGING_TESTS_RECORDING_LOGGER_H

#include <QuarnLogging/IQLogger.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace QuarnTest {

/// A message as a logger received it, its strings copied.
struct SMessage
{
    int level;
    int category;
    double time;
    unsigned int threadId;
    std::string file;
    int line;
    std::wstring text;

    bool operator==(const SMessage& other) const
    {
        return level == other.level && category == other.category && time == other.time && threadId == other.threadId &&
               file == other.file && line == other.line && text == other.text;
    }
};

inline std::ostream& operator<<(std::ostream& out, const SMessage& message)
{
    out << "{level " << message.level << ", category " << message.category << ", time " << message.time << ", thread "
        << message.threadId << ", " << message.file << ":" << message.line << ", \"";
    for (const wchar_t character : message.text) {
        out << (character < 127 ? static_cast<char>(character) : '?');
    }
    return out << "\"}";
}

/// A logger that keeps what it receives. The hook, if set, runs inside Log().
class RecordingLogger : public Quarn::Logging::IQLogger
{
public:
    void Log(int level, int category, double time, unsigned int threadId, const char* file, int line,
             const wchar_t* text) override
    {
        m_Messages.push_back({level, category, time, threadId, file, line, text});
        if (m_Hook) {
            m_Hook(m_Messages.back());
        }
    }
    void MessagesDropped(unsigned int count) override { m_Dropped.push_back(count); }
    void SetErrorHandler(Quarn::Logging::IQErrorHandler* handler) override { m_pErrorHandler = handler; }

    std::vector<std::wstring> Texts() const
    {
        std::vector<std::wstring> texts;
        for (const SMessage& message : m_Messages) {
            texts.push_back(message.text);
        }
        return texts;
    }

    std::vector<SMessage> m_Messages;
    std::vector<unsigned int> m_Dropped;
    Quarn::Logging::IQErrorHandler* m_pErrorHandler = nullptr;
    std::function<void(const SMessage&)> m_Hook;
};

} // namespace QuarnTest

#endif
