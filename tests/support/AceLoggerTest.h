#ifndef QUARN_LOGGING_TESTS_ACE_LOGGER_TEST_H
#define QUARN_LOGGING_TESTS_ACE_LOGGER_TEST_H

#include "CQAceLogger.h"

#include "PlatformDoubles.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <time.h>

namespace QuarnTest {

/// What GetStartTime() returns to the code under test, in programs that wrap it.
extern double g_StartTime;

/// 13:45:09 on 17 May 2024, UTC.
constexpr std::int64_t NOON_SHIFT = 1715953509;

inline void SetTimeZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

/// Everything from the start of a line of Write() to the text; 55 bytes.
inline const std::string HEAD = "a.cpp:7: info: m=5 t=2024.05.17-13:45:09.000 tid=0x1a: ";

inline std::string Line(const std::string& text) { return HEAD + text + "\n"; }

/// A text that makes a line of so many bytes.
inline std::wstring TextForLineOf(std::size_t bytes) { return std::wstring(bytes - 56, L'x'); }

inline void Write(Quarn::Logging::CQAceLogger& logger, const std::wstring& text)
{
    logger.Log(2000, 5, 0.0, 0x1a, "a.cpp", 7, text.c_str());
}

/// A logger in an empty working directory, in UTC, on clocks that stand at NOON_SHIFT.
class AceLoggerTest : public testing::Test
{
protected:
    AceLoggerTest()
        : m_Home(std::filesystem::current_path())
    {
        SetTimeZone("UTC");
        std::filesystem::current_path(m_Dir.Path());
        m_Clock.SetRealTime(NOON_SHIFT);
        g_StartTime = NOON_SHIFT;
    }
    ~AceLoggerTest() override
    {
        m_pLogger.reset();
        std::filesystem::current_path(m_Home);
    }

    Quarn::Logging::CQAceLogger& Logger() { return *m_pLogger; }
    void Write(const std::wstring& text) { QuarnTest::Write(*m_pLogger, text); }
    void EndLogger() { m_pLogger.reset(); }

    /// A file that an earlier run left in the folder log.
    void MakeOld(const std::string& name)
    {
        std::filesystem::create_directory(m_Dir.Path() / "log");
        m_Dir.Write("log/" + name, "old " + name);
    }

    TempDir m_Dir;
    FakeClock m_Clock;

private:
    std::filesystem::path m_Home;
    std::unique_ptr<Quarn::Logging::CQAceLogger> m_pLogger = std::make_unique<Quarn::Logging::CQAceLogger>();
};

} // namespace QuarnTest

#endif
