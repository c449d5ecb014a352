#ifndef QUARN_LOGGING_TESTS_TOOL_TEST_H
#define QUARN_LOGGING_TESTS_TOOL_TEST_H

#include "CQLogQueue.h"
#include "QueueBlock.h"
#include "Subprocess.h"
#include "TempDir.h"

#include <new>
#include <string>

namespace QuarnTest {

/// A block with a queue in it, as a process leaves it.
class Image
{
public:
    static constexpr double START_TIME = 1715953500.0; // 2024-05-17 13:45:00 UTC

    Image()
        : m_pQueue(new (m_Block.Bytes()) Quarn::Logging::CQLogQueue(true))
    {
        m_pQueue->SetStartTime(START_TIME);
    }
    ~Image() { m_pQueue->~CQLogQueue(); }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    /// A record with the file name "axis.cpp", line 7 and thread 0x1a2b: 96 bytes if the text has 7 characters.
    void Write(int level, int category, double time, const wchar_t* text)
    {
        m_pQueue->WriteMessage(level, category, time, 0x1A2B, "axis.cpp", 7, text);
    }
    void Write(const wchar_t* text) { Write(2000, 1, 9.0, text); }

    std::string Bytes() const { return {reinterpret_cast<const char*>(m_Block.Bytes()), QueueBlock::SIZE}; }

    QueueBlock m_Block;
    Quarn::Logging::CQLogQueue* m_pQueue;
};

/// Runs the tool with a command line, in UTC unless the environment says otherwise.
inline SFinishedProcess RunTool(const std::string& arguments, const std::string& environment = "")
{
    return RunCommand("env TZ=UTC " + environment + " " + Quoted(QUARN_LOG) + " " + arguments);
}

/// Runs a subcommand, with its options, on a file with some content.
inline SFinishedProcess RunOnBytes(const std::string& bytes, const std::string& subcommand,
                                   const std::string& environment = "")
{
    const TempDir dir;
    dir.Write("image", bytes);
    return RunTool(subcommand + " " + Quoted(dir.File("image")), environment);
}

inline SFinishedProcess ShowBytes(const std::string& bytes, const std::string& options = "",
                                  const std::string& environment = "")
{
    return RunOnBytes(bytes, "show " + options, environment);
}

/// The line of a record with the standard fields at 9 s.
inline std::string InfoLine(const std::string& text)
{
    return "axis.cpp:7: info: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: " + text + "\n";
}

} // namespace QuarnTest

#endif
