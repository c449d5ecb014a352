#include "QueueFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace QuarnTest;

namespace {

/// Several writers and one reader on a ring that is too small for them. Each message carries its writer as category and
/// its number as line.
class CQLogQueueThreadsTest : public QueueFixture
{
protected:
    static constexpr int WRITERS = 4;
    static constexpr int MESSAGES = 3000;

    void WriteAll(int writer)
    {
        for (int number = 0; number < MESSAGES; ++number) {
            m_pQueue->WriteMessage(1000, writer, 0.5, 7, "file", number, L"text");
        }
        ++m_Finished;
    }

    /// Takes a message without looking at its strings, which writers may be replacing already.
    bool TakeOne()
    {
        SMessage message{};
        const char* file = nullptr;
        const wchar_t* text = nullptr;
        if (!m_pQueue->ReadMessage(message.level, message.category, message.time, message.threadId, file, message.line,
                                   text)) {
            return false;
        }
        m_Lines.at(static_cast<std::size_t>(message.category)).push_back(message.line);
        return true;
    }

    /// Reads until all writers are done and nothing is left.
    void ReadUntilTheEnd()
    {
        bool finished = false;
        while (!finished) {
            finished = m_Finished == WRITERS;
            while (TakeOne()) {
            }
        }
    }

    std::atomic<int> m_Finished{0};
    std::vector<std::vector<int>> m_Lines = std::vector<std::vector<int>>(WRITERS);
};

TEST_F(CQLogQueueThreadsTest, EveryMessageIsDeliveredInItsWritersOrderOrCountedAsDropped)
{
    StartSmall(15 * 80); // records of 80 bytes fill it exactly, so that the reader never jumps
    std::vector<std::thread> writers;
    for (int writer = 0; writer < WRITERS; ++writer) {
        writers.emplace_back([this, writer] { WriteAll(writer); });
    }

    ReadUntilTheEnd();

    for (std::thread& writer : writers) {
        writer.join();
    }
    std::size_t delivered = 0;
    for (const std::vector<int>& lines : m_Lines) {
        delivered += lines.size();
        EXPECT_EQ(std::adjacent_find(lines.begin(), lines.end(), std::greater_equal<>()), lines.end());
    }
    EXPECT_EQ(delivered + m_pQueue->GetDropped(), 12000u);
    EXPECT_EQ(Header(QueueBlock::Sequence), delivered);
}

} // namespace
