#include "QueueFixture.h"

#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

/// A queue of two records of 60 bytes, at 0 and at 60, of which a test breaks the first one.
class CQLogQueueValidationTest : public QueueFixture
{
protected:
    CQLogQueueValidationTest()
    {
        StartSmall(300);
        WriteSized(60, 1);
        WriteSized(60, 2);
    }

    void ExpectGivenUp()
    {
        EXPECT_FALSE(Read());
        EXPECT_EQ(Header(QueueBlock::Count), 0u);
        EXPECT_EQ(Header(QueueBlock::ReadPos), Header(QueueBlock::WritePos));
    }
};

TEST_F(CQLogQueueValidationTest, NextBeyondTheCapacityGivesUpTheQueue)
{
    SetRecord(0, Next, 304);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, UnfinishedNextGivesUpTheQueue)
{
    SetRecord(0, Next, 0xFFFFFFFF);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, NextAtTheCapacityIsAllowedAndLeadsToTheFront)
{
    SetRecord(0, Next, 300);

    ASSERT_TRUE(Read());

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::Count), 1u);
}

TEST_F(CQLogQueueValidationTest, SizeLargerThanItsLengthsGivesUpTheQueue)
{
    SetRecord(0, RecordSize, 64);
    SetRecord(0, Next, 64);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, SizeSmallerThanItsLengthsGivesUpTheQueue)
{
    SetRecord(0, RecordSize, 56);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, SizeThatIsNotRoundedUpGivesUpTheQueue)
{
    SetRecord(0, RecordSize, 57);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, LongerFileLengthGivesUpTheQueue)
{
    SetRecord(0, FileLength, 4);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, LongerTextLengthGivesUpTheQueue)
{
    SetRecord(0, TextLength, 1);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, RecordReachingBeyondTheCapacityGivesUpTheQueue)
{
    SetRecord(0, FileLength, 244);
    SetRecord(0, RecordSize, 304);
    SetRecord(0, Next, 0);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, RecordEndingAtTheCapacityIsRead)
{
    SetRecord(0, FileLength, 243);
    SetRecord(0, RecordSize, 300);
    SetRecord(0, Next, 0);
    m_Block.Bytes()[80 + 299] = 0;

    EXPECT_TRUE(Read());
}

TEST_F(CQLogQueueValidationTest, NextInsideTheRecordGivesUpTheQueue)
{
    SetRecord(0, Next, 56);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, NextBehindAGapIsFollowed)
{
    PutRecord(120, 3);
    SetRecord(0, Next, 120);

    EXPECT_EQ(ReadLines(), (std::vector<int>{1, 3}));
}

TEST_F(CQLogQueueValidationTest, NextZeroLeadsToTheFront)
{
    SetRecord(60, Next, 0);
    ASSERT_TRUE(Read());

    ASSERT_TRUE(Read());

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
}

TEST_F(CQLogQueueValidationTest, TextWithoutTerminatorGivesUpTheQueue)
{
    SetRecord(0, Text, 0x01000000);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, FileNameWithoutTerminatorGivesUpTheQueue)
{
    m_Block.Bytes()[80 + 56] = 'x';

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, MarkersAndSequenceAreNotChecked)
{
    SetRecord(0, Begin, 0);
    SetRecord(0, RecordSequence, 77);
    SetRecord(0, End, 0);

    EXPECT_EQ(ReadLines(), (std::vector<int>{1, 2}));
}

TEST_F(CQLogQueueValidationTest, PaddingIsNotChecked)
{
    m_Block.Bytes()[80 + 57] = 0xAA;
    m_Block.Bytes()[80 + 59] = 0xAA;

    EXPECT_EQ(ReadLines(), (std::vector<int>{1, 2}));
}

TEST_F(CQLogQueueValidationTest, BrokenRecordBehindAGoodOneEndsTheReadingThere)
{
    SetRecord(60, RecordSize, 64);

    EXPECT_EQ(ReadLines(), std::vector<int>{1});
    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 120u);
}

TEST_F(CQLogQueueValidationTest, QueueThatWasGivenUpTakesNewRecords)
{
    SetRecord(0, Next, 304);
    Read();

    WriteSized(60, 3);

    EXPECT_EQ(ReadLines(), std::vector<int>{3});
}

TEST_F(CQLogQueueValidationTest, TextLengthThatOverflowsInThirtyTwoBitsGivesUpTheQueue)
{
    SetRecord(0, TextLength, 0x40000000); // times 4 is 2^32, so that the size would again be 60

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, FileLengthThatOverflowsInThirtyTwoBitsGivesUpTheQueue)
{
    SetRecord(0, FileLength, 0xFFFFFFFF); // plus 57 is 2^32 + 56
    SetRecord(0, RecordSize, 56);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, BothLengthsThatOverflowTogetherGiveUpTheQueue)
{
    SetRecord(0, FileLength, 0x80000000);
    SetRecord(0, TextLength, 0x20000000);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, EndThatOverflowsInThirtyTwoBitsGivesUpTheQueue)
{
    Read();
    SetRecord(60, FileLength, 0xFFFFFFC3);
    SetRecord(60, RecordSize, 0xFFFFFFFC); // right for its lengths; 60 + size is 2^32 + 56
    SetRecord(60, Next, 120);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, ReadPositionAtTheVeryEndGivesUpTheQueue)
{
    SetHeader(QueueBlock::ReadPos, 300);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, ReadPositionTooCloseToTheEndGivesUpTheQueue)
{
    PutRecord(244, 3); // whole, but for its last 4 bytes
    SetRecord(244, Next, 0);
    SetHeader(QueueBlock::ReadPos, 244);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, ReadPositionBeyondTheBlockGivesUpTheQueue)
{
    SetHeader(QueueBlock::ReadPos, 0xFFFFFFFC);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, UnalignedReadPositionGivesUpTheQueue)
{
    PutRecord(122, 3); // well-formed, at a place where no record begins
    SetHeader(QueueBlock::ReadPos, 122);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, UnalignedNextEndsTheReadingThere)
{
    PutRecord(122, 3);
    SetRecord(0, Next, 122);

    EXPECT_EQ(ReadLines(), std::vector<int>{1});
}

TEST_F(CQLogQueueValidationTest, CapacityBeyondTheBlockIsNotBelieved)
{
    Start();
    WriteSized(60);
    SetHeader(QueueBlock::Capacity, 0xFFFFFFFF);
    SetHeader(QueueBlock::ReadPos, 0x1FFFB0);

    ExpectGivenUp();
}

TEST_F(CQLogQueueValidationTest, WriterStaysInTheBlockWithACapacityBeyondIt)
{
    Start();
    WriteSized(0x1FFFB0 - 60);
    SetHeader(QueueBlock::Capacity, 0xFFFFFFFF);

    WriteSized(64);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
}

TEST_F(CQLogQueueValidationTest, WriterStaysInTheBlockWithAWritePositionBeyondIt)
{
    Start();
    SetHeader(QueueBlock::WritePos, 0xFFFFFFFC);

    WriteSized(60, 5);

    EXPECT_EQ(Record(0, Line), 5u) << "taken for a record that does not fit before the end";
}

} // namespace
