#include "FollowedTool.h"
#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// A file that stands for the reserved memory, with a queue that the test writes to.
class FollowCommandTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_Dir.Write("region", std::string(QueueBlock::SIZE, '\0'));
        const int fd = open(m_Dir.File("region").c_str(), O_RDWR);
        m_pMemory = mmap(nullptr, QueueBlock::SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        ASSERT_NE(m_pMemory, MAP_FAILED);
        m_pQueue = new (m_pMemory) CQLogQueue(true);
        m_pQueue->SetStartTime(Image::START_TIME);
    }
    void TearDown() override
    {
        m_pQueue->~CQLogQueue();
        munmap(m_pMemory, QueueBlock::SIZE);
    }

    void Write(const std::wstring& text) { m_pQueue->WriteMessage(2000, 1, 9.0, 0x1A2B, "axis.cpp", 7, text.c_str()); }

    /// As a dispatch does it: the records stay in the buffer.
    void Deliver()
    {
        int number = 0;
        double time = 0;
        unsigned int threadId = 0;
        const char* file = nullptr;
        const wchar_t* text = nullptr;
        while (m_pQueue->ReadMessage(number, number, time, threadId, file, number, text)) {
        }
    }

    std::string Region() const { return m_Dir.File("region"); }

    TempDir m_Dir;
    void* m_pMemory = nullptr;
    CQLogQueue* m_pQueue = nullptr;
};

std::string Line(const std::string& text)
{
    return "axis.cpp:7: info: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: " + text;
}

TEST_F(FollowCommandTest, RecordsArePrintedAsTheyAppear)
{
    Write(L"there before");
    FollowedTool tool(Region(), "0.001");
    EXPECT_EQ(tool.ReadLine(), Line("there before"));

    Write(L"new");
    EXPECT_EQ(tool.ReadLine(), Line("new"));

    Deliver();
    Write(L"newer");
    EXPECT_EQ(tool.ReadLine(), Line("newer"));
}

TEST_F(FollowCommandTest, InterruptEndsItWithSuccess)
{
    Write(L"a text");
    FollowedTool tool(Region(), "3600");
    tool.ReadLine();

    EXPECT_EQ(tool.Stop(SIGINT), 0);
}

TEST_F(FollowCommandTest, TerminationEndsItWithSuccess)
{
    Write(L"a text");
    FollowedTool tool(Region(), "0");
    tool.ReadLine();

    EXPECT_EQ(tool.Stop(SIGTERM), 0);
}

TEST_F(FollowCommandTest, NextRunIsFollowedFromItsBeginning)
{
    Write(L"of the first run");
    Write(L"its last");
    FollowedTool tool(Region(), "0.001");
    tool.ReadLine();
    tool.ReadLine();

    m_pQueue->ClearAll();
    m_pQueue->SetStartTime(Image::START_TIME + 1); // it may look between the two
    Write(L"of the second run");

    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: end of the run: 2 records read, 0 overwritten before they could be "
                               "read, at least 0 messages dropped by the writer; unknown from number 2 on");
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: the queue was started anew");
    EXPECT_EQ(tool.ReadLine(), "axis.cpp:7: info: m=1 t=2024.05.17-13:45:10.000 tid=0x1a2b: of the second run");
    EXPECT_EQ(tool.Stop(SIGTERM), 0);
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: end of the run: 1 records read, 0 overwritten before they could be "
                               "read, 0 messages dropped by the writer");
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: in 2 runs: 3 records read, at least 0 overwritten before they could "
                               "be read, at least 0 messages dropped by the writer");
}

TEST_F(FollowCommandTest, CountsAreOfAllRecordsWhateverTheFilter)
{
    Write(L"an info");
    m_pQueue->WriteMessage(4000, 1, 9.0, 0x1A2B, "axis.cpp", 7, L"an error");
    FollowedTool tool(Region(), "0.001", {"--level", "error"});
    EXPECT_THAT(tool.ReadLine(), testing::EndsWith(" an error"));

    tool.Stop(SIGTERM);

    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: end of the run: 2 records read, 1 of them shown, 0 overwritten "
                               "before they could be read, 0 messages dropped by the writer");
}

TEST_F(FollowCommandTest, DropsAreToldAsTheyAppear)
{
    const std::wstring large(400000, L'x');
    Write(L"first");
    FollowedTool tool(Region(), "0.001");
    tool.ReadLine();

    Write(large);
    tool.ReadLine();
    Write(large);

    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: 1 messages were dropped by the writer, 1 in this run");
}

TEST_F(FollowCommandTest, RecordsOfARunThatIsJoinedAreNotCalledLost)
{
    *reinterpret_cast<std::uint32_t*>(static_cast<unsigned char*>(m_pMemory) + QueueBlock::Sequence) = 4711;
    Write(L"first");
    FollowedTool tool(Region(), "0.001");

    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: the first record is number 4711 of its run");
    EXPECT_EQ(tool.ReadLine(), Line("first"));
}

TEST_F(FollowCommandTest, FileThatIsNotThereYetIsWaitedFor)
{
    const std::string name = m_Dir.File("later");
    FollowedTool tool(name, "0.001");
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: " + name + ": No such file or directory, waiting for it");
    Write(L"a text");

    std::filesystem::copy_file(Region(), m_Dir.File("copy"));
    std::filesystem::rename(m_Dir.File("copy"), name);

    EXPECT_EQ(tool.ReadLine(), Line("a text"));
}

TEST_F(FollowCommandTest, QueueThatIsNotThereYetIsWaitedFor)
{
    m_Dir.Write("empty", "");
    const std::string name = m_Dir.File("empty");
    FollowedTool tool(name, "0.001");
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: " + name + ": no queue found, waiting for one");
    Image image;
    image.Write(L"a text");

    std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(QueueBlock::HEADER) << image.Bytes().substr(QueueBlock::HEADER) << std::flush;
    file.seekp(0) << image.Bytes().substr(0, QueueBlock::HEADER) << std::flush;

    EXPECT_EQ(tool.ReadLine(), Line("a text"));
}

TEST_F(FollowCommandTest, EndWhileItWaitsIsASuccess)
{
    FollowedTool tool(m_Dir.File("later"), "3600");
    tool.ReadLine();

    EXPECT_EQ(tool.Stop(SIGINT), 0);
    EXPECT_EQ(tool.ReadLine(), "");
}

TEST_F(FollowCommandTest, FileThatReplacesTheFollowedOneIsFollowed)
{
    Write(L"of the old file");
    FollowedTool tool(Region(), "0.001");
    EXPECT_EQ(tool.ReadLine(), Line("of the old file"));
    Image image;
    image.Write(L"of the new file");
    m_Dir.Write("new", image.Bytes());

    std::filesystem::rename(m_Dir.File("new"), Region());

    EXPECT_THAT(tool.ReadLine(), testing::StartsWith("quarn-log follow: end of the run: 1 records read, "));
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: " + Region() + ": is another file now");
    EXPECT_EQ(tool.ReadLine(), "quarn-log follow: the queue was started anew");
    EXPECT_EQ(tool.ReadLine(), Line("of the new file"));
}

TEST_F(FollowCommandTest, FileThatIsRemovedIsFollowedOn)
{
    Write(L"first");
    FollowedTool tool(Region(), "0.001");
    tool.ReadLine();
    std::filesystem::remove(Region());

    Write(L"second");

    EXPECT_EQ(tool.ReadLine(), Line("second"));
}

/// A text of one number again and again, so that no part of another text fits into it.
std::wstring NumberText(int number)
{
    std::wstring text;
    for (int i = 0; i < 100; ++i) {
        text += std::to_wstring(number) + L' ';
    }
    return text;
}

/// The number of a NumberText(); -1 if it is none, or torn.
int NumberOf(const std::string& line)
{
    const std::size_t text = line.rfind("tid=0x1a2b: ");
    if (text == std::string::npos) {
        return -1;
    }
    const int number = std::atoi(line.c_str() + text + 12);
    const std::wstring expected = NumberText(number);
    return line.substr(text + 12) == std::string(expected.begin(), expected.end()) ? number : -1;
}

TEST_F(FollowCommandTest, NoRecordIsTornWhileAWriterGoesRoundTheRing)
{
    constexpr int LAST = 20000; // 40 MB and more: about twenty laps
    Write(NumberText(0));
    FollowedTool tool(Region(), "0");
    ASSERT_EQ(NumberOf(tool.ReadLine()), 0);

    for (int number = 1; number <= LAST; ++number) {
        Write(NumberText(number));
        Deliver();
    }

    int previous = 0;
    while (previous < LAST) {
        const std::string line = tool.ReadLine();
        if (line.find("were overwritten before they could be read") != std::string::npos) {
            continue;
        }
        const int number = NumberOf(line);
        ASSERT_GT(number, previous) << line;
        previous = number;
    }
}

TEST(FollowCommandStartTest, FolderCannotBeFollowed)
{
    const TempDir dir;

    EXPECT_EQ(RunTool("follow " + Quoted(dir.Path().string())).exitCode, 3);
}

} // namespace
