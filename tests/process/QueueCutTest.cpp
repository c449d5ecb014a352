#include "QueueFixture.h"
#include "QueueModel.h"
#include "SingleStep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUARN_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUARN_TEST_SANITIZED 1
#endif
#endif
#ifndef QUARN_TEST_SANITIZED
#define QUARN_TEST_SANITIZED 0
#endif

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

using Bytes = std::vector<unsigned char>;

/// 2 MiB that a child process shares.
class SharedBlock
{
public:
    SharedBlock()
        : m_pBytes(mmap(nullptr, QueueBlock::SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_pBytes == MAP_FAILED) {
            throw std::bad_alloc();
        }
    }
    ~SharedBlock() { munmap(m_pBytes, QueueBlock::SIZE); }
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;

    unsigned char* Bytes() { return static_cast<unsigned char*>(m_pBytes); }

private:
    void* m_pBytes;
};

/// Stops a writer at every instruction of one WriteMessage and looks at what a restart would make of the block then.
class QueueCutTest : public testing::Test
{
protected:
    /// A record that stands in the buffer, whole.
    struct SStored
    {
        std::uint32_t position;
        std::uint32_t bytes; ///< Without the padding.
        SMessage message;
    };

    /// Bytes that changed between two stops, as offsets from the start of the block.
    struct SChange
    {
        std::uint32_t begin;
        std::uint32_t end;
    };

    void SetUp() override
    {
        if (QUARN_TEST_SANITIZED != 0) {
            GTEST_SKIP() << "a sanitized write is thousands of instructions long and stores in other places meanwhile";
        }
    }
    ~QueueCutTest() override { m_pQueue->~CQLogQueue(); }

    static SMessage Message(int line, std::uint32_t fileLength, std::uint32_t textLength)
    {
        return {1000 + line,
                line,
                line / 8.0,
                7,
                std::string(fileLength, 'f'),
                line,
                std::wstring(textLength, static_cast<wchar_t>(L'A' + line % 26))};
    }

    void Write(const SMessage& message)
    {
        m_pQueue->WriteMessage(message.level, message.category, message.time, message.threadId, message.file.c_str(),
                               message.line, message.text.c_str());
    }

    /// Writes a record and delivers it, so that there is always room.
    void Store(const SMessage& message)
    {
        Write(message);
        ASSERT_TRUE(ReadFrom(*m_pQueue));
        const SStored stored = Locate(message, WritePos());
        m_Stored.erase(std::remove_if(m_Stored.begin(), m_Stored.end(),
                                      [&](const SStored& older) {
                                          return older.position < stored.position + stored.bytes &&
                                                 stored.position < older.position + older.bytes;
                                      }),
                       m_Stored.end());
        m_Stored.push_back(stored);
    }

    /// The record that was written last, found from where the next one will go.
    static SStored Locate(const SMessage& message, std::uint32_t next)
    {
        const auto bytes = static_cast<std::uint32_t>(message.file.size() + 4 * message.text.size() + 57);
        return {(next == 0 ? QueueBlock::CAPACITY : next) - (bytes + 3) / 4 * 4, bytes, message};
    }

    std::uint32_t WritePos()
    {
        std::uint32_t position = 0;
        std::memcpy(&position, m_Shared.Bytes() + QueueBlock::WritePos, sizeof position);
        return position;
    }

    /// One record that reaches exactly to a place.
    void FillUpTo(std::uint32_t position, int line) { Store(Message(line, position - WritePos() - 60, 0)); }

    static SMessage ShortMessage(int line, int index)
    {
        const auto i = static_cast<std::uint32_t>(index);
        return Message(line, 3 + i % 6, i % 20);
    }

    /// Leaves room up to a place, as a link may do, so that little has to be read again at every stop.
    void Hop(std::uint32_t position)
    {
        const std::uint32_t next = QueueBlock::HEADER + m_Stored.back().position + Next;
        std::memcpy(m_Shared.Bytes() + next, &position, sizeof position);
        std::memcpy(m_Shared.Bytes() + QueueBlock::WritePos, &position, sizeof position);
    }

    /// A first lap: 60 short records of different lengths, then, behind a hole, some up to a little before the end.
    void StoreFirstLap(std::uint32_t end = QueueBlock::CAPACITY - 40)
    {
        for (int i = 0; i < 60; ++i) {
            Store(ShortMessage(100 + i, i));
        }
        Hop(QueueBlock::CAPACITY - 2000);
        Store(Message(200, 700, 3));
        Store(Message(201, 3, 130));
        FillUpTo(end, 202);
    }

    /// The beginning of the second lap: the same lengths as in the first one, so that records begin at the same places.
    void StoreSomeOfTheSecondLap()
    {
        for (int i = 0; i < 5; ++i) {
            Store(ShortMessage(300 + i, i));
        }
    }

    /// What a restart offers from a block.
    std::vector<SMessage> Dump(const Bytes& image)
    {
        std::memcpy(m_Restarted.Bytes(), image.data(), image.size());
        auto* const queue = new (m_Restarted.Bytes()) CQLogQueue(true);
        std::vector<SMessage> messages;
        while (const std::optional<SMessage> message = ReadFrom(*queue)) {
            messages.push_back(*message);
        }
        queue->~CQLogQueue();
        return messages;
    }

    static std::vector<SMessage> DumpOfModel(const Bytes& image)
    {
        QueueModel model;
        model.bytes = image;
        model.Adopt();
        return model.ReadAll();
    }

    static std::uint32_t Word(const Bytes& image, std::uint32_t offset)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, &image[offset], sizeof word);
        return word;
    }

    static bool IsCompleteAt(const Bytes& image, std::uint32_t position)
    {
        return Word(image, QueueBlock::HEADER + position + Begin) == BEGIN_WORD &&
               Word(image, QueueBlock::HEADER + position + End) == END_WORD;
    }

    static std::vector<int> Lines(const std::vector<SMessage>& messages)
    {
        std::vector<int> lines;
        for (const SMessage& message : messages) {
            lines.push_back(message.line);
        }
        return lines;
    }

    /// The words that were changed, one per change.
    static std::vector<std::uint32_t> WordsOf(std::vector<SChange>::const_iterator begin,
                                              std::vector<SChange>::const_iterator end)
    {
        std::vector<std::uint32_t> words;
        for (; begin != end; ++begin) {
            words.push_back(begin->begin / 4 * 4);
        }
        return words;
    }

    static bool HasSameBytes(const Bytes& left, const Bytes& right, const SStored& record)
    {
        const std::uint32_t begin = QueueBlock::HEADER + record.position;
        return std::memcmp(&left[begin], &right[begin], record.bytes) == 0;
    }

    /// The older records that are still untouched, in the order of writing, and the new one if it is whole.
    std::vector<SMessage> WholeRecords(const Bytes& image) const
    {
        std::vector<SMessage> messages;
        for (const SStored& older : m_Stored) {
            if (HasSameBytes(image, m_Before, older)) {
                messages.push_back(older.message);
            }
        }
        if (HasSameBytes(image, m_After.bytes, m_New)) {
            messages.push_back(m_New.message);
        }
        return messages;
    }

    /// Cuts the writing of a message at every instruction, and calls check with the block wherever it has changed.
    template <class Check>
    void Cut(const SMessage& message, const Check& check)
    {
        m_Before = Bytes(m_Shared.Bytes(), m_Shared.Bytes() + QueueBlock::SIZE);
        m_After.bytes = m_Before;
        m_After.Write(message);
        m_New = Locate(message, m_After.WritePos());
        Bytes last = m_Before;
        const int stops = SingleStep([&] { Write(message); },
                                     [&] {
                                         if (!HasFailure() && NoteChange(last)) {
                                             check(last);
                                         }
                                     });
        if (stops < 0) {
            GTEST_SKIP() << "the system does not let this process trace a child";
        }
        EXPECT_EQ(last, m_After.bytes) << "the child did not come to its end";
        std::cout << stops << " stops, " << m_Changes.size() << " changes of the block" << std::endl;
    }

    /// Whether the block has changed since the last time; then the change is kept.
    bool NoteChange(Bytes& last)
    {
        const unsigned char* const now = m_Shared.Bytes();
        if (std::memcmp(last.data(), now, last.size()) == 0) {
            return false;
        }
        const auto begin = std::mismatch(last.begin(), last.end(), now).first - last.begin();
        auto end = std::min<std::ptrdiff_t>(begin + 64, QueueBlock::SIZE); // no instruction stores more
        while (last[static_cast<std::size_t>(end) - 1] == now[end - 1]) {
            --end;
        }
        m_Changes.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)});
        last.assign(now, now + last.size());
        return true;
    }

    /// Every record is offered if it is whole, in the order of writing, and nothing else is.
    void CutAndExpectAllWholeRecords(const SMessage& message)
    {
        Cut(message, [this](const Bytes& image) {
            ASSERT_EQ(Dump(image), WholeRecords(image)) << "after change " << m_Changes.size();
        });
    }

    SharedBlock m_Shared;
    CQLogQueue* m_pQueue = new (m_Shared.Bytes()) CQLogQueue(false);
    QueueBlock m_Restarted;
    std::vector<SStored> m_Stored;
    Bytes m_Before;
    QueueModel m_After;
    SStored m_New{};
    std::vector<SChange> m_Changes;
};

TEST_F(QueueCutTest, RecordInTheFirstLapCanBeCutAnywhere)
{
    for (int i = 0; i < 5; ++i) {
        Store(ShortMessage(100 + i, i));
    }

    CutAndExpectAllWholeRecords(ShortMessage(999, 5));
}

TEST_F(QueueCutTest, FirstRecordOfAllCanBeCutAnywhere) { CutAndExpectAllWholeRecords(ShortMessage(999, 5)); }

TEST_F(QueueCutTest, RecordThatReplacesOneOlderRecordCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();

    CutAndExpectAllWholeRecords(ShortMessage(999, 5));
}

TEST_F(QueueCutTest, RecordThatReplacesSeveralOlderRecordsAndAPartOfOneCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();

    CutAndExpectAllWholeRecords(Message(999, 37, 101));
}

TEST_F(QueueCutTest, RecordThatBeginsInsideAnOlderRecordCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();
    Store(Message(350, 1, 2));

    CutAndExpectAllWholeRecords(Message(999, 2, 40));
}

TEST_F(QueueCutTest, LongestTextOfALogCallCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();

    CutAndExpectAllWholeRecords(Message(999, 45, 999));
}

TEST_F(QueueCutTest, LongFileNameCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();

    CutAndExpectAllWholeRecords(Message(999, 1003, 0));
}

TEST_F(QueueCutTest, LastRecordBeforeTheEndOfTheBufferCanBeCutAnywhere)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();
    FillUpTo(QueueBlock::CAPACITY - 400, 400);

    CutAndExpectAllWholeRecords(Message(999, 400 - 60, 0));
}

// While a record is written at the front, no record there is whole and the numbers behind it never break, so a restart
// begins to read at the front nevertheless: at the torn record. Before and after that nothing is lost.
TEST_F(QueueCutTest, RecordThatWrapsToTheFrontHidesTheOlderOnesUntilItIsWhole)
{
    StoreFirstLap();
    int empty = 0;

    Cut(ShortMessage(999, 5), [&](const Bytes& image) {
        const std::vector<SMessage> dump = Dump(image);
        ASSERT_EQ(dump, DumpOfModel(image));
        if (IsCompleteAt(image, 0)) {
            ASSERT_EQ(dump, WholeRecords(image));
        } else if (Word(image, QueueBlock::HEADER + Next) == 0xFFFFFFFF) {
            ASSERT_EQ(dump, std::vector<SMessage>());
            ++empty;
        }
    });

    EXPECT_GT(empty, 0);
}

// The same for the reader's jump at the wrap point of the lap before, which a restart makes as well.
TEST_F(QueueCutTest, RecordBeyondTheLastWrapPointIsReplacedByTheOldestOneWhenItIsWhole)
{
    StoreFirstLap(QueueBlock::CAPACITY - 100);
    Store(Message(300, 60, 0)); // too long for the last 100 bytes
    FillUpTo(QueueBlock::CAPACITY - 140, 400);
    Store(Message(401, 5, 2)); // 72 bytes, ends beyond the wrap point
    int whole = 0;

    Cut(Message(999, 3, 0), [&](const Bytes& image) {
        const std::vector<SMessage> dump = Dump(image);
        ASSERT_EQ(dump, DumpOfModel(image));
        if (IsCompleteAt(image, QueueBlock::CAPACITY - 68)) {
            ASSERT_EQ(Lines(dump), (std::vector<int>{300, 400, 401, 300}));
            ++whole;
        } else {
            ASSERT_EQ(dump, WholeRecords(image));
        }
    });

    EXPECT_GT(whole, 0);
}

// What makes all of the above hold: no older record that begins further up keeps its marker longer than its contents.
TEST_F(QueueCutTest, StoresGoUpwardsUntilTheCommit)
{
    StoreFirstLap();
    StoreSomeOfTheSecondLap();

    Cut(Message(999, 37, 101), [](const Bytes&) {});

    ASSERT_GT(m_Changes.size(), 7u);
    const auto commit = m_Changes.end() - 7;
    std::uint32_t end = QueueBlock::HEADER + m_New.position;
    for (auto change = m_Changes.begin(); change != commit; ++change) {
        EXPECT_GE(change->begin, end);
        end = change->end;
    }
    const std::uint32_t record = QueueBlock::HEADER + m_New.position;
    EXPECT_EQ(WordsOf(commit, m_Changes.end()),
              (std::vector<std::uint32_t>{record + 48, record + 4, record, record + 8, 60, 68, 48}));
}

} // namespace
