#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "PlatformDoubles.h"
#include "TempDir.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include <time.h>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

/// File names with any byte, through the options string, in an empty working folder.
class FileNameByteTest : public testing::Test
{
protected:
    FileNameByteTest()
    {
        setenv("TZ", "UTC", 1);
        tzset();
        m_Clock.SetRealTime(1715953509); // 2024-05-17 13:45:09
        std::filesystem::current_path(m_Dir.Path());
        std::filesystem::create_directory("log");
    }
    ~FileNameByteTest() override
    {
        ResetBuiltInLogger();
        std::filesystem::current_path(m_Home);
    }

    static void Log() { LogHelperFunc(4000, 5, "app.cpp", 3, L"text"); }

    /// Logs to log/a?b-%T.txt, with the byte in place of the question mark, and puts the file aside.
    static void LogToNameWith(int byte)
    {
        SetLogOptions((L"ldebug;N1;Llog/a" + std::wstring(1, static_cast<wchar_t>(byte)) + L"b-%T.txt").c_str());
        Log();
        SetLogOptions(L"l0");
    }
    static std::string NameWith(int byte, const char* rest)
    {
        return std::string("a") + static_cast<char>(byte) + rest;
    }

    const std::filesystem::path m_Home = std::filesystem::current_path();
    TempDir m_Dir;
    FakeClock m_Clock;
};

TEST_F(FileNameByteTest, EveryOtherByteIsKeptInTheNameAndFoundAgain)
{
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '/' || byte == ';' || byte == '\\') {
            continue;
        }
        SCOPED_TRACE(byte);
        const std::string old = NameWith(byte, "b-20240101-000000.txt");
        m_Dir.Write("log/" + old, "old");
        if (m_Dir.Names("log") != Names{old}) {
            GTEST_SKIP() << "the file system of " << m_Dir.Path() << " does not take the byte " << byte;
        }

        LogToNameWith(byte);

        const std::string name = NameWith(byte, "b-20240517-134509.txt");
        EXPECT_EQ(m_Dir.Names("log"), Names{name}) << "the old file is gone";
        EXPECT_NE(m_Dir.Read("log/" + name), "");
        std::filesystem::remove("log/" + name);
    }
}

TEST_F(FileNameByteTest, SlashMakesAFolder)
{
    LogToNameWith('/');

    EXPECT_EQ(m_Dir.Names("log"), Names{"a"});
    EXPECT_EQ(m_Dir.Names("log/a"), Names{"b-20240517-134509.txt"});
}

TEST_F(FileNameByteTest, BackslashStaysInTheNameAndMakesAFolderBesides)
{
    m_Dir.Write("log/a\\b-20240101-000000.txt", "old");

    LogToNameWith('\\');

    EXPECT_EQ(m_Dir.Names("log"), (Names{"a", "a\\b-20240517-134509.txt"}));
    EXPECT_EQ(m_Dir.Names("log/a"), Names{});
}

TEST_F(FileNameByteTest, SemicolonEndsTheName)
{
    LogToNameWith(';');

    EXPECT_EQ(m_Dir.Names("log"), Names{"a20240517-134509"});
}

} // namespace
