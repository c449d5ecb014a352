#include "FollowedTool.h"
#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/mman.h>

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
    m_pQueue->SetStartTime(Image::START_TIME + 1);
    Write(L"of the second run");

    std::string line = tool.ReadLine();
    EXPECT_EQ(line, "quarn-log follow: the queue was started anew");
    while (line == "quarn-log follow: the queue was started anew") { // it may look between the two steps of a start
        line = tool.ReadLine();
    }
    EXPECT_EQ(line, "axis.cpp:7: info: m=1 t=2024.05.17-13:45:10.000 tid=0x1a2b: of the second run");
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

TEST(FollowCommandStartTest, FileWithoutAQueueIsNotFollowed)
{
    const SFinishedProcess run = RunOnBytes("nothing", "follow");

    EXPECT_EQ(run.exitCode, 1);
}

} // namespace
