#include "AceLoggerTest.h"
#include "ConsoleFile.h"

#include <clocale>
#include <set>
#include <string>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

/// A full file makes room for a fresh one.
class CQAceLoggerRotationTest : public AceLoggerTest
{
protected:
    ~CQAceLoggerRotationTest() override { std::setlocale(LC_ALL, "C"); }

    void Select(unsigned int size, const wchar_t* name = L"log/app-%T.txt")
    {
        Logger().SetOutputStream(name, size, 99);
    }
    void WriteBytes(std::size_t bytes) { Write(TextForLineOf(bytes)); }
    std::size_t SizeOf(const std::string& name) const { return m_Dir.Read("log/" + name).size(); }
};

TEST_F(CQAceLoggerRotationTest, FileBelowTheLimitIsKept)
{
    Select(200);

    WriteBytes(100);
    WriteBytes(99);

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(SizeOf("app.txt"), 199U);
}

TEST_F(CQAceLoggerRotationTest, PatternMayBeginWithTheTimeStamp)
{
    Select(200, L"%T-app.txt");

    WriteBytes(200);

    EXPECT_EQ(m_Dir.Names(), (Names{"20240517-134509-app.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRotationTest, FileThatReachesTheLimitIsRotated)
{
    Select(200);

    WriteBytes(100);
    WriteBytes(100);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 200U);
    EXPECT_EQ(SizeOf("app.txt"), 0U);
}

TEST_F(CQAceLoggerRotationTest, LastLineMayExceedTheLimit)
{
    Select(101);

    WriteBytes(100);
    WriteBytes(1999);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 2099U);
}

TEST_F(CQAceLoggerRotationTest, LinesGoOnInTheFreshFile)
{
    Select(100);
    Write(TextForLineOf(100));

    Write(L"next");

    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("next"));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), Line(std::string(44, 'x')));
}

TEST_F(CQAceLoggerRotationTest, EachFileIsCountedFromZero)
{
    Select(150);
    WriteBytes(100);
    WriteBytes(100);

    WriteBytes(100);
    EXPECT_EQ(SizeOf("app.txt"), 100U);

    m_Clock.Advance(1);
    WriteBytes(100);
    EXPECT_EQ(SizeOf("app.txt"), 0U);
    EXPECT_EQ(SizeOf("app-20240517-134510.txt"), 200U);
}

TEST_F(CQAceLoggerRotationTest, NewSelectionIsCountedFromZero)
{
    Select(150);
    WriteBytes(100);
    Select(150);

    WriteBytes(100);

    EXPECT_EQ(SizeOf("app.txt"), 100U);
}

TEST_F(CQAceLoggerRotationTest, LinesOnTheConsoleAreNotCounted)
{
    {
        const ConsoleFile console(m_Dir.File("console"));
        WriteBytes(1000);
    }
    Select(150);

    WriteBytes(100);

    EXPECT_EQ(SizeOf("app.txt"), 100U);
}

TEST_F(CQAceLoggerRotationTest, WithoutLimitNoLineRotates)
{
    Select(0);

    for (int i = 0; i < 1000; ++i) {
        WriteBytes(1999);
    }

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(SizeOf("app.txt"), 1999000U);
}

TEST_F(CQAceLoggerRotationTest, WithoutLimitFilesAreStillRenamedAtTheEnd)
{
    Select(0);
    WriteBytes(100);

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerRotationTest, LargestLimitIsALimit)
{
    Select(4294967295U);

    WriteBytes(1999);

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
}

TEST_F(CQAceLoggerRotationTest, LimitOfOneByteMakesAFileOfEachLine)
{
    Select(1);

    Write(L"1");
    m_Clock.Advance(1);
    Write(L"2");

    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), Line("1"));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134510.txt"), Line("2"));
    EXPECT_EQ(SizeOf("app.txt"), 0U);
}

TEST_F(CQAceLoggerRotationTest, BytesAreCountedNotCharacters)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    Select(101);

    Write(std::wstring(43, L'x') + L"\u00e9"); // 99 characters and the line end, 101 bytes

    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 101U);
}

TEST_F(CQAceLoggerRotationTest, ColoursCount)
{
    Select(109);
    Logger().m_UseColor = true;

    WriteBytes(100);

    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 109U);
}

TEST_F(CQAceLoggerRotationTest, CutLineCountsWithWhatIsLeftOfIt)
{
    Select(2000);

    WriteBytes(3000);
    EXPECT_EQ(SizeOf("app.txt"), 1999U);

    WriteBytes(100);
    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 2099U);
}

TEST_F(CQAceLoggerRotationTest, LineThatIsWrittenInPartCountsAsAFailedWrite)
{
    Select(4294967295U);

    Write(std::wstring(201, L'x') + L"\u00e9");

    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 256U);
}

// A text that the locale has no bytes for is a failed write, which returns -1.
TEST_F(CQAceLoggerRotationTest, FailedWriteAsFirstOneRotatesAtOnce)
{
    Select(4294967295U);

    Write(L"caf\u00e9");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRotationTest, FailedWriteTakesAByteOffTheCount)
{
    Select(200);
    WriteBytes(100);
    Write(L"caf\u00e9");

    WriteBytes(100);
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});

    WriteBytes(100);
    EXPECT_EQ(SizeOf("app-20240517-134509.txt"), 300U);
}

TEST_F(CQAceLoggerRotationTest, FailedWriteWithoutLimitDoesNotRotate)
{
    Select(0);

    Write(L"caf\u00e9");

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
}

TEST_F(CQAceLoggerRotationTest, SecondRotationInOneSecondWaitsForTheNext)
{
    Select(100);
    m_Clock.Advance(0, 250000000);
    WriteBytes(100);
    ASSERT_EQ(m_Clock.Sleeps(), 0);

    WriteBytes(100);

    EXPECT_EQ(m_Clock.Sleeps(), 1);
    EXPECT_EQ(m_Clock.SleptNanoseconds(), 750000000);
    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app-20240517-134510.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRotationTest, LimitBoundsTheBytesOfASecond)
{
    Select(1000);

    for (int i = 0; i < 60; ++i) { // as fast as it goes
        WriteBytes(100);
    }

    EXPECT_EQ(m_Clock.SleptNanoseconds(), 5000000000); // 6 files
    EXPECT_EQ(m_Dir.Names("log").size(), 7U);
}

TEST_F(CQAceLoggerRotationTest, SleepCountsWholeMicroseconds)
{
    Select(100);
    m_Clock.Advance(0, 250000999);
    WriteBytes(100);

    WriteBytes(100);

    EXPECT_EQ(m_Clock.SleptNanoseconds(), 750000000);
}

TEST_F(CQAceLoggerRotationTest, SleepOnAFullSecondLastsASecond)
{
    Select(100);
    WriteBytes(100);

    WriteBytes(100);

    EXPECT_EQ(m_Clock.Sleeps(), 1);
    EXPECT_EQ(m_Clock.SleptNanoseconds(), 1000000000);
}

TEST_F(CQAceLoggerRotationTest, NoExistingFileIsOverwritten)
{
    MakeOld("app-20240517-134509.txt");
    MakeOld("app-20240517-134510.txt");
    MakeOld("app-20240517-134511.txt");
    Select(100);
    m_Clock.Advance(0, 999999000);

    WriteBytes(100);

    EXPECT_EQ(m_Clock.Sleeps(), 3);
    EXPECT_EQ(m_Clock.SleptNanoseconds(), 2000001000);
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), "old app-20240517-134509.txt");
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134510.txt"), "old app-20240517-134510.txt");
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134511.txt"), "old app-20240517-134511.txt");
    EXPECT_EQ(SizeOf("app-20240517-134512.txt"), 100U);
}

TEST_F(CQAceLoggerRotationTest, FreeNameNeedsNoSleep)
{
    Select(100);

    for (int i = 0; i < 5; ++i) {
        WriteBytes(100);
        m_Clock.Advance(1);
    }

    EXPECT_EQ(m_Clock.Sleeps(), 0);
    EXPECT_EQ(m_Dir.Names("log").size(), 6U);
}

TEST_F(CQAceLoggerRotationTest, StampOfASizeRotationIsItsOwnTime)
{
    Select(100);
    m_Clock.Advance(50, 999999999);

    WriteBytes(100);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134559.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRotationTest, RotationByRenameKeepsTheFileBehindTheName)
{
    Select(200);
    WriteBytes(100);
    const std::ifstream reader(m_Dir.File("log/app.txt"));

    WriteBytes(100);

    std::ostringstream content;
    content << reader.rdbuf();
    EXPECT_EQ(content.str(), Line(std::string(44, 'x')) + Line(std::string(44, 'x')));
}

} // namespace
