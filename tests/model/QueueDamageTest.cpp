#include "CQLogQueue.h"
#include "GuardedMemory.h"
#include "QueueFixture.h"
#include "SeededRandom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// Blocks with anything in them, between pages that must not be touched. What is read does not matter here; that
/// nothing outside the block is touched, and that reading ends, does.
class QueueDamageTest : public testing::Test
{
protected:
    std::uint32_t Draw(std::uint32_t below) { return m_Random() % below; }

    /// A value that is likely to be wrong in an interesting way.
    std::uint32_t DrawWord(std::uint32_t old, std::uint32_t capacity)
    {
        const std::uint32_t limits[] = {
            0,
            4,
            60,
            capacity,
            capacity - 4,
            capacity - 60,
            BEGIN_WORD,
            END_WORD,
            0x3FFFFFFF,
            0x40000000,
            0x80000000,
            0xFFFFFFFF,
            0xFFFFFFC0 - Draw(capacity), // a length with which a sum in 32 bits comes out small
        };
        switch (Draw(4)) {
        case 0:
            return old ^ (1U << Draw(32));
        case 1:
            return limits[Draw(13)] + 4 * Draw(3) - 4;
        case 2:
            return Draw(capacity);
        default:
            return m_Random();
        }
    }

    static std::uint32_t Word(GuardedMemory& memory, std::uint32_t offset)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, memory.Bytes() + offset, sizeof word);
        return word;
    }
    static void SetWord(GuardedMemory& memory, std::uint32_t offset, std::uint32_t word)
    {
        std::memcpy(memory.Bytes() + offset, &word, sizeof word);
    }

    void DamageWord(GuardedMemory& memory, std::uint32_t offset, std::uint32_t capacity)
    {
        SetWord(memory, offset, DrawWord(Word(memory, offset), capacity));
    }

    /// One of the words that lengths, links and markers are in; of records at these places.
    void DamageRecord(GuardedMemory& memory, const std::vector<std::uint32_t>& positions, std::uint32_t capacity)
    {
        static constexpr std::uint32_t FIELDS[] = {Begin,      RecordSequence, End,  FileLength,
                                                   TextLength, RecordSize,     Next, Text};
        const std::uint32_t position = positions[Draw(static_cast<std::uint32_t>(positions.size()))];
        const std::uint32_t record = QueueBlock::HEADER + position;
        DamageWord(memory, record + FIELDS[Draw(8)], capacity);
        if (Draw(2) == 0) {
            MakeConsistent(memory, record);
        }
    }

    /// Gives a record the size that its damaged lengths ask for and a link that goes with it, so that only the limits
    /// of the buffer tell that it is wrong.
    void MakeConsistent(GuardedMemory& memory, std::uint32_t record)
    {
        const std::uint32_t length = Word(memory, record + FileLength) + 4 * Word(memory, record + TextLength);
        const std::uint32_t size = (length + 60) / 4 * 4;
        SetWord(memory, record + RecordSize, size);
        SetWord(memory, record + Next, Draw(2) == 0 ? 0 : record - QueueBlock::HEADER + size);
    }

    void FillWithNoise(GuardedMemory& memory, std::uint32_t offset, std::uint32_t bytes)
    {
        for (std::uint32_t i = 0; i < bytes; ++i) {
            memory.Bytes()[offset + i] = static_cast<unsigned char>(m_Random());
        }
    }

    /// Reads at most as many records as there are, using all that is handed out. Returns how many there were.
    static std::uint32_t ReadAll(CQLogQueue& queue, GuardedMemory& memory)
    {
        const std::uint32_t count = queue.GetCount();
        const auto begin = reinterpret_cast<std::uintptr_t>(memory.Bytes()) + QueueBlock::HEADER;
        const auto end = reinterpret_cast<std::uintptr_t>(memory.Bytes()) + memory.Size();
        std::uint32_t read = 0;
        SMessage message{};
        const char* file = nullptr;
        const wchar_t* text = nullptr;
        while (queue.ReadMessage(message.level, message.category, message.time, message.threadId, file, message.line,
                                 text)) {
            ++read;
            EXPECT_LE(read, count);
            EXPECT_GE(reinterpret_cast<std::uintptr_t>(text), begin);
            EXPECT_LT(reinterpret_cast<std::uintptr_t>(text + std::wcslen(text)), end);
            EXPECT_LT(reinterpret_cast<std::uintptr_t>(file + std::strlen(file)), end);
            if (testing::Test::HasFailure()) {
                break;
            }
        }
        return read;
    }

    static void WriteSome(CQLogQueue& queue)
    {
        queue.WriteMessage(1000, 1, 0.5, 7, "file.cpp", 3, L"text");
        queue.WriteMessage(1000, 1, 0.5, 7, "", 3, L"a text that is a good deal longer than the one before");
        queue.WriteMessage(1000, 1, 0.5, 7, "file.cpp", 3, L"text");
    }

    SeededRandom m_Random;
};

/// A small queue, since most of the damage is independent of the size and 2 MiB take long to look through.
class SmallQueueDamageTest : public QueueDamageTest
{
protected:
    static constexpr std::uint32_t CAPACITY = 4096 - QueueBlock::HEADER;
    static constexpr int ROUNDS = 90000;

    /// A ring that has wrapped, with unread records before and behind the wrap.
    SmallQueueDamageTest()
    {
        for (int i = 0; i < 60; ++i) {
            m_Positions.push_back(Word(m_Memory, QueueBlock::WritePos) % (CAPACITY - 124));
            m_pQueue->WriteMessage(1000, 1, 0.5, 7, "file.cpp", i, L"the usual text");
            if (i >= 25) {
                ReadFrom(*m_pQueue);
            }
        }
        m_Positions.erase(m_Positions.begin(), m_Positions.end() - 25);
        m_Pristine.assign(m_Memory.Bytes(), m_Memory.Bytes() + m_Memory.Size());
    }
    ~SmallQueueDamageTest() override { m_pQueue->~CQLogQueue(); }

    /// Takes the damage, then goes on writing and reading as if nothing were.
    void UseAndRestore()
    {
        m_Read += ReadAll(*m_pQueue, m_Memory);
        WriteSome(*m_pQueue);
        ReadAll(*m_pQueue, m_Memory);
        std::memcpy(m_Memory.Bytes(), m_Pristine.data(), m_Pristine.size());
    }

    GuardedMemory m_Memory{4096};
    CQLogQueue* m_pQueue = new (m_Memory.Bytes()) CQLogQueue(CAPACITY);
    std::vector<std::uint32_t> m_Positions;
    std::vector<unsigned char> m_Pristine;
    std::uint64_t m_Read = 0;
};

TEST_F(SmallQueueDamageTest, DamagedRecordsAreReadWithoutLeavingTheBlock)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        for (std::uint32_t damages = 1 + Draw(3); damages != 0; --damages) {
            DamageRecord(m_Memory, m_Positions, CAPACITY);
        }
        UseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
    EXPECT_LT(m_Read, 25u * ROUNDS) << "no damage was ever noticed";
}

TEST_F(SmallQueueDamageTest, FlippedBitsAnywhereInTheBufferAreReadWithoutLeavingTheBlock)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        for (std::uint32_t flips = 1 + Draw(20); flips != 0; --flips) {
            m_Memory.Bytes()[QueueBlock::HEADER + Draw(CAPACITY)] ^= static_cast<unsigned char>(1U << Draw(8));
        }
        UseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
    EXPECT_LT(m_Read, 25u * ROUNDS) << "no damage was ever noticed";
}

TEST_F(SmallQueueDamageTest, NoiseInTheMiddleOfTheBufferIsReadWithoutLeavingTheBlock)
{
    for (int i = 0; i < ROUNDS / 10 && !HasFailure(); ++i) {
        const std::uint32_t bytes = 4 + Draw(400);
        FillWithNoise(m_Memory, QueueBlock::HEADER + Draw(CAPACITY - bytes), bytes);
        UseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
}

TEST_F(SmallQueueDamageTest, DamagedHeaderIsUsedWithoutLeavingTheBlock)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        DamageWord(m_Memory, QueueBlock::ReadPos, CAPACITY);
        if (Draw(2) == 0) {
            DamageWord(m_Memory, QueueBlock::EndPos, CAPACITY);
        }
        if (Draw(2) == 0) {
            DamageWord(m_Memory, QueueBlock::WritePos, CAPACITY);
        }
        // Now and then any number, of which a reader takes a thousand rounds at most.
        SetWord(m_Memory, QueueBlock::Count, Draw(50) == 0 ? DrawWord(0, CAPACITY) : Draw(100));
        DamageRecord(m_Memory, m_Positions, CAPACITY);
        UseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
}

/// The whole way: damage to a block of full size, a restart over it, the dump, and the run after it.
class RestartDamageTest : public QueueDamageTest
{
protected:
    static constexpr std::uint32_t CAPACITY = QueueBlock::CAPACITY;
    static constexpr int ROUNDS = 200;

    /// A ring of about 50 records, most of them large, that has wrapped.
    RestartDamageTest()
    {
        auto* const queue = new (m_Memory.Bytes()) CQLogQueue(false);
        const std::string longName(65000, 'f');
        for (int i = 0; i < 80; ++i) {
            m_Positions.push_back(Word(m_Memory, QueueBlock::WritePos) % (CAPACITY - 65060));
            queue->WriteMessage(1000, 1, 0.5, 7, i % 3 == 0 ? "f" : longName.c_str(), i, L"text");
            ReadFrom(*queue);
        }
        queue->~CQLogQueue();
        m_Pristine.assign(m_Memory.Bytes(), m_Memory.Bytes() + m_Memory.Size());
    }

    void RestartUseAndRestore()
    {
        auto* const queue = new (m_Memory.Bytes()) CQLogQueue(true);
        DamageWord(m_Memory, QueueBlock::Dropped, CAPACITY);
        m_Read += ReadAll(*queue, m_Memory);
        WriteSome(*queue);
        ReadAll(*queue, m_Memory);
        queue->~CQLogQueue();
        std::memcpy(m_Memory.Bytes(), m_Pristine.data(), m_Pristine.size());
    }

    GuardedMemory m_Memory{QueueBlock::SIZE};
    std::vector<std::uint32_t> m_Positions;
    std::vector<unsigned char> m_Pristine;
    std::uint64_t m_Read = 0;
};

TEST_F(RestartDamageTest, DamagedRecordsAreAdopted)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        for (std::uint32_t damages = 1 + Draw(6); damages != 0; --damages) {
            DamageRecord(m_Memory, m_Positions, CAPACITY);
        }
        RestartUseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
}

TEST_F(RestartDamageTest, DamagedHeaderIsAdopted)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        for (std::uint32_t damages = 1 + Draw(4); damages != 0; --damages) {
            // Less often the fields by which a queue is known, since without them nothing is adopted.
            DamageWord(m_Memory, 4 * (Draw(8) == 0 ? 8 + Draw(12) : 12 + Draw(8)), CAPACITY);
        }
        DamageRecord(m_Memory, m_Positions, CAPACITY);
        RestartUseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
}

TEST_F(RestartDamageTest, MarkersWithoutRecordsAreAdopted)
{
    for (int i = 0; i < 30 && !HasFailure(); ++i) {
        const std::uint32_t words = 3 + Draw(3000);
        std::uint32_t offset = QueueBlock::HEADER + 4 * Draw(CAPACITY / 4 - words);
        for (std::uint32_t word = 0; word < words; ++word, offset += 4) {
            SetWord(m_Memory, offset, word % 4 < 2 ? BEGIN_WORD : END_WORD); // every second word begins a record
        }
        RestartUseAndRestore();
    }

    EXPECT_GT(m_Read, 0u);
}

TEST_F(RestartDamageTest, BlockOfNothingButMarkersEndsAtTheFirstRecord)
{
    for (std::uint32_t offset = QueueBlock::HEADER; offset < QueueBlock::SIZE; offset += 4) {
        SetWord(m_Memory, offset, offset % 16 < 8 ? BEGIN_WORD : END_WORD);
    }
    auto* const queue = new (m_Memory.Bytes()) CQLogQueue(true);
    EXPECT_EQ(queue->GetCount(), 262133u);

    EXPECT_FALSE(ReadFrom(*queue));

    EXPECT_EQ(queue->GetCount(), 0u);
    queue->~CQLogQueue();
}

/// Another process on the same device may write anything at any time.
TEST_F(RestartDamageTest, HeaderDamagedWhileInUseKeepsTheQueueInTheBlock)
{
    for (int i = 0; i < ROUNDS && !HasFailure(); ++i) {
        auto* const queue = new (m_Memory.Bytes()) CQLogQueue(true);
        DamageWord(m_Memory, QueueBlock::Capacity, CAPACITY);
        DamageWord(m_Memory, QueueBlock::WritePos, CAPACITY);
        DamageWord(m_Memory, QueueBlock::EndPos, CAPACITY);
        ReadAll(*queue, m_Memory);
        WriteSome(*queue);
        ReadAll(*queue, m_Memory);
        if (i % 10 == 0) {
            queue->ClearAll();
        }
        queue->~CQLogQueue();
        std::memcpy(m_Memory.Bytes(), m_Pristine.data(), m_Pristine.size());
    }
}

} // namespace
