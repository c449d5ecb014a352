#include "QueueModel.h"
#include "QueueFixture.h"
#include "SeededRandom.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// Does the same things to a queue and to its model.
class QueueModelTest : public QueueFixture
{
protected:
    static constexpr std::uint32_t FULL = QueueModel::FULL_CAPACITY;

    struct SRun
    {
        std::uint32_t capacity;
        std::uint32_t usualSize; ///< Bytes; most records are up to twice as large.
        int operations;
    };

    std::uint32_t Draw(std::uint32_t below) { return below == 0 ? 0 : m_Random() % below; }

    /// A size that leads to one of the special cases, as the queue stands.
    std::uint32_t DrawSize(const SRun& run)
    {
        const std::uint32_t toEnd = run.capacity - m_Model.WritePos();
        const std::uint32_t gap = m_Model.ReadPos() - m_Model.WritePos();
        const std::uint32_t targets[] = {toEnd, gap, m_Model.ReadPos(), run.capacity, m_Model.EndPos()};
        std::uint32_t size = 60 + Draw(2 * run.usualSize);
        if (Draw(4) == 0) {
            size = targets[Draw(5)] + 4 * Draw(3) - 4; // the same, a word less or a word more
        }
        return size < 60 || size > run.capacity + 8 ? 60 : size / 4 * 4;
    }

    SMessage DrawMessage(std::uint32_t size)
    {
        SMessage message{};
        message.level = static_cast<int>(m_Random());
        message.category = static_cast<int>(m_Random());
        message.time = static_cast<double>(Draw(1000000)) / 64;
        message.threadId = m_Random();
        message.line = static_cast<int>(Draw(100000));
        const std::uint32_t payload = size - 57 - Draw(4); // rounded up, this is size again
        const std::uint32_t textLength = Draw(payload / 4 + 1);
        const auto letter = m_Random();
        for (std::uint32_t i = 0; i < textLength; ++i) {
            message.text += static_cast<wchar_t>(1 + (letter + i) % 0x10FFFF);
        }
        for (std::uint32_t i = 4 * textLength; i < payload; ++i) {
            message.file += static_cast<char>(1 + (letter + i) % 255);
        }
        return message;
    }

    void WriteBoth(const SMessage& message)
    {
        m_Model.Write(message);
        m_pQueue->WriteMessage(message.level, message.category, message.time, message.threadId, message.file.c_str(),
                               message.line, message.text.c_str());
    }

    void SetHeaderOfBoth(std::uint32_t field, std::uint32_t value)
    {
        SetHeader(field, value);
        m_Model.SetHeader(field, value);
    }

    void ReadBoth()
    {
        const std::optional<SMessage> expected = m_Model.Read();
        const std::optional<SMessage> read = Read();
        ASSERT_EQ(read.has_value(), expected.has_value());
        if (expected) {
            ASSERT_EQ(*read, *expected);
        }
    }

    /// Flips a bit in the oldest record's lengths, size, link or first character.
    void DamageBoth(const SRun& run)
    {
        const std::uint32_t position = m_Model.ReadPos() + 36 + Draw(20);
        if (position < run.capacity) {
            const auto flipped = static_cast<unsigned char>(1U << Draw(8));
            m_Model.bytes[QueueBlock::HEADER + position] ^= flipped;
            m_Block.Bytes()[QueueBlock::HEADER + position] ^= flipped;
        }
    }

    /// Any number in any of the fields that a restart finds or makes.
    void DamageHeaderOfBoth(const SRun& run)
    {
        static constexpr std::uint32_t FIELDS[] = {QueueBlock::WritePos, QueueBlock::ReadPos, QueueBlock::EndPos,
                                                   QueueBlock::Count,    QueueBlock::Dropped, QueueBlock::Sequence};
        const std::uint32_t numbers[] = {0,
                                         Draw(60),
                                         Draw(run.capacity),
                                         Draw(run.capacity) / 4 * 4,
                                         run.capacity,
                                         run.capacity + 1 + Draw(100),
                                         0x80000000 + Draw(1000),
                                         0xFFFFFFFF - Draw(100),
                                         m_Random()};
        SetHeaderOfBoth(FIELDS[Draw(6)], numbers[Draw(9)]);
    }

    void Operate(const SRun& run)
    {
        const std::uint32_t kind = Draw(1000);
        if (kind == 0) {
            m_Model.Clear();
            m_pQueue->ClearAll();
        } else if (kind < 8 && run.capacity == FULL) {
            if (Draw(2) == 0) {
                DamageHeaderOfBoth(run);
            }
            m_Model.Adopt();
            Restart();
        } else if (kind < 16) {
            DamageBoth(run);
        } else if (kind < 24) {
            DamageHeaderOfBoth(run);
        } else if (kind < (m_Filling ? 700U : 350U)) {
            WriteBoth(DrawMessage(DrawSize(run)));
        } else {
            ReadBoth();
        }
        if (Draw(30) == 0) {
            m_Filling = !m_Filling;
        }
    }

    /// The first differing offset, or the block's size.
    std::uint32_t FirstDifference(std::uint32_t end) const
    {
        if (std::memcmp(&m_Model.bytes[32], m_Block.Bytes() + 32, end - 32) == 0) {
            return end;
        }
        std::uint32_t offset = 32;
        while (m_Model.bytes[offset] == m_Block.Bytes()[offset]) {
            ++offset;
        }
        return offset;
    }

    void RunBoth(const SRun& run)
    {
        std::fill(m_Model.bytes.begin(), m_Model.bytes.end(), static_cast<unsigned char>(0xAA));
        std::memset(m_Block.Bytes(), 0xAA, QueueBlock::SIZE);
        if (run.capacity == FULL) {
            m_Model.MakeFull();
            Start();
        } else {
            m_Model.MakeSmall(run.capacity);
            StartSmall(run.capacity);
        }
        SetHeaderOfBoth(QueueBlock::Sequence, 0xFFFFFFFF - Draw(200)); // so that the numbers wrap on the way
        const std::uint32_t used = QueueBlock::HEADER + run.capacity;
        for (int i = 0; i < run.operations; ++i) {
            ASSERT_NO_FATAL_FAILURE(Operate(run)) << "operation " << i << " at capacity " << run.capacity;
            ASSERT_EQ(FirstDifference(used), used) << "operation " << i << " at capacity " << run.capacity;
        }
        ASSERT_EQ(FirstDifference(QueueBlock::SIZE), QueueBlock::SIZE) << "behind the capacity";
    }

    void RunSmallCapacities()
    {
        for (const std::uint32_t capacity : {0U, 59U, 60U, 61U, 64U, 120U, 122U, 180U, 256U, 600U, 1000U, 4099U}) {
            ASSERT_NO_FATAL_FAILURE(RunBoth({capacity, 60, 4000}));
        }
    }
    void RunFullCapacity() { ASSERT_NO_FATAL_FAILURE(RunBoth({FULL, 100000, 900})); }

    QueueModel m_Model;
    SeededRandom m_Random;
    bool m_Filling = true;
};

TEST_F(QueueModelTest, SmallQueuesHoldTheSameBytesAsTheModel) { RunSmallCapacities(); }

TEST_F(QueueModelTest, FullSizeQueueHoldsTheSameBytesAsTheModel) { RunFullCapacity(); }

TEST_F(QueueModelTest, FullSizeQueueWithRecordsOfUsualSizeHoldsTheSameBytesAsTheModel)
{
    RunBoth({FULL, 150, 100}); // moves both away from the front
    m_Model.Clear();
    m_pQueue->ClearAll();
    WriteBoth(DrawMessage(FULL - 3000));
    ReadBoth();

    for (int i = 0; i < 600; ++i) {
        ASSERT_NO_FATAL_FAILURE(Operate({FULL, 150, 0})) << "operation " << i;
        ASSERT_EQ(FirstDifference(QueueBlock::SIZE), QueueBlock::SIZE) << "operation " << i;
    }
}

/// The runs above are worth something only if they come through every case.
TEST_F(QueueModelTest, RunsReachEveryCase)
{
    RunSmallCapacities();
    RunFullCapacity();

    const QueueModel::SBranches& reached = m_Model.branches;
    EXPECT_GT(reached.emptyFits, 0);
    EXPECT_GT(reached.emptyWraps, 0);
    EXPECT_GT(reached.emptyTooLarge, 0);
    EXPECT_GT(reached.behindFits, 0);
    EXPECT_GT(reached.behindFitsExactly, 0);
    EXPECT_GT(reached.behindNoRoom, 0);
    EXPECT_GT(reached.full, 0);
    EXPECT_GT(reached.aheadFits, 0);
    EXPECT_GT(reached.aheadWraps, 0);
    EXPECT_GT(reached.aheadWrapsExactly, 0);
    EXPECT_GT(reached.aheadNoRoom, 0);
    EXPECT_GT(reached.endsAtCapacity, 0);
    EXPECT_GT(reached.followsNext, 0);
    EXPECT_GT(reached.followsNextToZero, 0);
    EXPECT_GT(reached.wrapsAtEndPos, 0);
    EXPECT_GT(reached.jumpsFromBeyondEndPos, 0);
    EXPECT_GT(reached.nothingToRead, 0);
    EXPECT_GT(reached.givesUp, 0);
    EXPECT_GT(reached.breaksFound, 0);
    EXPECT_GT(reached.beginsAtFront, 0);
    EXPECT_GT(reached.givesUpEndPos, 0);
    EXPECT_GT(reached.tooMany, 0);
}

} // namespace
