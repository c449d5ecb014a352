#include "Subprocess.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdarg>
#include <filesystem>
#include <set>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

/// What would write to memory, read any memory, or fill it, if it were ever taken for a format.
const std::string HOSTILE = "%n%s%ls%999999d%*d%$%1$n%%";

void Log(const char* file, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_ERROR, 1, file, 7, format, args);
    va_end(args);
}

/// Logs texts and names that came as data.
class HostileTextTest : public testing::Test
{
protected:
    ~HostileTextTest() override { SetLogOptions(L"l0"); }

    void LogToFile() { SetLogOptions((L"ldebug;L" + m_Dir.Wide("app.txt")).c_str()); }
    std::string Logged() const { return m_Dir.Read("app.txt"); }

    std::string MemoryUser(const std::string& arguments)
    {
        const SFinishedProcess run =
            RunCommand("QUARN_MEMORY_FILE=" + Quoted(m_Dir.File("memory")) + " " MEMORY_USER " " + arguments);
        EXPECT_EQ(run.errors, "");
        return run.output;
    }

    TempDir m_Dir;
};

TEST_F(HostileTextTest, ArgumentPassesUnchangedToAFile)
{
    LogToFile();

    Log("a.cpp", L"%s", HOSTILE.c_str());

    EXPECT_THAT(Logged(), EndsWith(": " + HOSTILE + "\n"));
}

TEST_F(HostileTextTest, SourceFileNamePassesUnchangedToAFile)
{
    LogToFile();

    Log(HOSTILE.c_str(), L"text");

    EXPECT_THAT(Logged(), StartsWith(HOSTILE + ":7: error: m=1 "));
}

TEST_F(HostileTextTest, ArgumentPassesUnchangedToTheConsole)
{
    const std::string output = MemoryUser("options=ldebug 'error=" + HOSTILE + "'");

    EXPECT_THAT(output, EndsWith(": " + HOSTILE + "\n"));
}

TEST_F(HostileTextTest, MessageOfAPreviousRunPassesUnchanged)
{
    MemoryUser("autolog=off 'error=" + HOSTILE + "' kill=");

    const std::string output = MemoryUser("");

    EXPECT_THAT(output, HasSubstr(": " + HOSTILE + "\x1b[0m\nEnd of dumped"));
}

#ifdef QUARN_LOG
TEST_F(HostileTextTest, MessagePassesUnchangedThroughTheReaderOfTheMemory)
{
    MemoryUser("autolog=off 'error=" + HOSTILE + "' kill=");

    const SFinishedProcess run = RunCommand(Quoted(QUARN_LOG) + " show " + Quoted(m_Dir.File("memory")));

    EXPECT_THAT(run.output, EndsWith(": " + HOSTILE + "\n"));
}
#endif

TEST_F(HostileTextTest, NarrowArgumentOutsideTheLocaleEndsTheMessageAndNotTheLine)
{
    LogToFile();

    Log("a.cpp", L"before <%s> behind", "caf\xC3\xA9");
    Log("a.cpp", L"after");

    EXPECT_THAT(Logged(), MatchesRegex("a.cpp:7: .*: before <\na.cpp:7: .*: after\n"));
}

TEST_F(HostileTextTest, NarrowArgumentOutsideTheLocaleLeavesEvery64CharactersBeforeIt)
{
    LogToFile();

    Log("a.cpp", L"<%s>", (std::string(150, 'x') + "\xFF").c_str());

    EXPECT_THAT(Logged(), EndsWith(": <" + std::string(128, 'x') + "\n"));
}

TEST_F(HostileTextTest, TextBeyondAsciiPassesInTheLocaleThatTheDocumentsName)
{
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    LogToFile();

    Log("\xC3\xA9.cpp", L"%s %ls \u20ac %.1f", "caf\xC3\xA9", L"\U0001F600", 3.5);
    std::setlocale(LC_CTYPE, "C");

    EXPECT_THAT(Logged(), StartsWith("\xC3\xA9.cpp:7: "));
    EXPECT_THAT(Logged(), EndsWith(": caf\xC3\xA9 \xF0\x9F\x98\x80 \xE2\x82\xAC 3.5\n"));
}

TEST_F(HostileTextTest, ConversionsInAFileNameAreCharactersOfTheName)
{
    SetLogOptions((L"ldebug;L" + m_Dir.Wide("%n%s%999999d-%T.txt")).c_str());

    SetLogOptions(L"ldebug"); // puts the file aside

    const std::set<std::string> names = m_Dir.Names();
    ASSERT_EQ(names.size(), 1U);
    EXPECT_THAT(*names.begin(), MatchesRegex("%n%s%999999d-[0-9]+-[0-9]+\\.txt"));
}

TEST_F(HostileTextTest, LinkUnderTheNameOfTheLogFileIsPutAsideAndItsTargetKept)
{
    m_Dir.Write("target", "precious");
    std::filesystem::create_symlink(m_Dir.File("target"), m_Dir.Path() / "app.txt");

    LogToFile();

    EXPECT_EQ(m_Dir.Read("target"), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(m_Dir.Path() / "app.txt"));
}

TEST_F(HostileTextTest, LinkToNowhereUnderTheNameOfTheLogFileIsFollowed)
{
    std::filesystem::create_symlink(m_Dir.File("target"), m_Dir.Path() / "app.txt");

    LogToFile();

    EXPECT_TRUE(m_Dir.Has("target")) << "why nobody else may write to the folder of the log";
}

TEST_F(HostileTextTest, EscapeSequencesAndLineFeedsPassUnchanged)
{
    LogToFile();

    Log("a.cpp", L"%s", "red \x1b[31m\x1b]0;title\a bell\r\nforged.cpp:1: error: m=1\ttab\b");

    EXPECT_THAT(Logged(), EndsWith(": red \x1b[31m\x1b]0;title\a bell\r\nforged.cpp:1: error: m=1\ttab\b\n"));
}

} // namespace
