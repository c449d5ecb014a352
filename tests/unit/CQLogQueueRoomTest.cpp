#include "QueueFixture.h"

#include <gtest/gtest.h>

#include <string>

using namespace QuarnTest;

namespace {

/// Where records go. Sizes are such that every position can be added up in the head.
class CQLogQueueRoomTest : public QueueFixture
{
};

TEST_F(CQLogQueueRoomTest, EmptyQueueKeepsFillingFromWhereItIs)
{
    StartSmall(300);
    WriteSized(100);
    Read();

    WriteSized(60);

    EXPECT_EQ(Record(100, Begin), BEGIN_WORD);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 100u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 160u);
}

TEST_F(CQLogQueueRoomTest, RecordEndingAtCapacityHasNextZero)
{
    StartSmall(300);
    WriteSized(200);

    WriteSized(100);

    EXPECT_EQ(Record(200, Next), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 0u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 300u) << "that is no wrap";
    EXPECT_EQ(Header(QueueBlock::Count), 2u);
}

TEST_F(CQLogQueueRoomTest, WriterContinuesAtZeroBehindARecordThatEndsAtCapacity)
{
    StartSmall(300);
    WriteSized(200, 1);
    WriteSized(100, 2);
    Read();

    WriteSized(60, 3);

    EXPECT_EQ(Record(0, Line), 3u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 300u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{2, 3}));
}

TEST_F(CQLogQueueRoomTest, RecordEndingAtTheFullCapacityHasNextZero)
{
    Start();
    WriteSized(0x1FFFB0 - 60);

    WriteSized(60);

    EXPECT_EQ(Record(0x1FFF74, Next), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 0u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
}

TEST_F(CQLogQueueRoomTest, EmptyQueueWrapsWhenTheRecordDoesNotFitBeforeTheEnd)
{
    StartSmall(300);
    WriteSized(244);
    Read();

    WriteSized(60, 5);

    EXPECT_EQ(Record(0, Line), 5u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 244u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 60u);
    EXPECT_EQ(ReadLines(), std::vector<int>{5});
}

TEST_F(CQLogQueueRoomTest, EmptyQueueWrapsForARecordAsLargeAsItsCapacity)
{
    StartSmall(300);
    WriteSized(60);
    Read();

    WriteSized(300, 5);

    EXPECT_EQ(Header(QueueBlock::EndPos), 60u);
    EXPECT_EQ(Record(0, Next), 0u);
    EXPECT_EQ(ReadLines(), std::vector<int>{5});
}

TEST_F(CQLogQueueRoomTest, RecordLargerThanTheCapacityIsDroppedByAnEmptyQueue)
{
    StartSmall(300);
    WriteSized(100);
    Read();

    WriteSized(304);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 100u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 300u);
    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_EQ(Header(QueueBlock::Sequence), 1u) << "a drop takes no number";
}

TEST_F(CQLogQueueRoomTest, EnormousFileNameIsAlwaysDropped)
{
    Start();

    m_pQueue->WriteMessage(1000, 1, 0.5, 7, std::string(0x1FFFB0, 'f').c_str(), 3, L"");
    Write(L"small");
    m_pQueue->WriteMessage(1000, 1, 0.5, 7, std::string(0x1FFFB0, 'f').c_str(), 3, L"");

    EXPECT_EQ(m_pQueue->GetDropped(), 2u);
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"small"});
}

TEST_F(CQLogQueueRoomTest, RecordAsLargeAsTheFullCapacityFits)
{
    Start();

    m_pQueue->WriteMessage(1000, 1, 0.5, 7, std::string(0x1FFFB0 - 57, 'f').c_str(), 3, L"");

    EXPECT_EQ(m_pQueue->GetDropped(), 0u);
    EXPECT_EQ(Record(0, RecordSize), 0x1FFFB0u);
    EXPECT_EQ(Record(0, Next), 0u);
}

TEST_F(CQLogQueueRoomTest, WriterBehindTheReaderFillsTheGapExactly)
{
    StartSmall(300);
    WriteSized(100, 1);
    WriteSized(200, 2);
    Read();

    WriteSized(100, 3);

    EXPECT_EQ(Header(QueueBlock::Dropped), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 100u) << "full: the positions are equal";
    EXPECT_EQ(ReadLines(), (std::vector<int>{2, 3}));
}

TEST_F(CQLogQueueRoomTest, WriterBehindTheReaderDropsWhatTheGapDoesNotHold)
{
    StartSmall(300);
    WriteSized(100, 1);
    WriteSized(200, 2);
    Read();

    WriteSized(104, 3);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 0u);
    EXPECT_EQ(ReadLines(), std::vector<int>{2});
}

TEST_F(CQLogQueueRoomTest, FullQueueDropsEveryWriteUntilAReadFreesRoom)
{
    StartSmall(120);
    WriteSized(60, 1);
    WriteSized(60, 2);

    WriteSized(60, 3);
    WriteSized(60, 4);
    Read();
    WriteSized(60, 5);

    EXPECT_EQ(Header(QueueBlock::Dropped), 2u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{2, 5}));
}

TEST_F(CQLogQueueRoomTest, WriterAheadOfTheReaderWrapsIntoARoomOfExactlyTheSize)
{
    StartSmall(300);
    WriteSized(100, 1);
    WriteSized(150 + 2, 2);
    Read();

    WriteSized(100, 3);

    EXPECT_EQ(Header(QueueBlock::EndPos), 252u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 100u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{2, 3}));
}

TEST_F(CQLogQueueRoomTest, WriterAheadOfTheReaderDropsWhatFitsNeitherBehindNorInFront)
{
    StartSmall(300);
    WriteSized(100, 1);
    WriteSized(152, 2);
    Read();

    WriteSized(104, 3);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 300u) << "a drop is no wrap";
    EXPECT_EQ(Header(QueueBlock::WritePos), 252u);
    EXPECT_EQ(ReadLines(), std::vector<int>{2});
}

TEST_F(CQLogQueueRoomTest, WriterDoesNotWrapOverUnreadRecordsAtTheFront)
{
    StartSmall(300);
    WriteSized(252, 1);

    WriteSized(60, 2);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
    EXPECT_EQ(ReadLines(), std::vector<int>{1});
}

TEST_F(CQLogQueueRoomTest, ReaderWrapsWhereTheWriterDid)
{
    StartSmall(300);
    WriteSized(100, 1);
    WriteSized(152, 2);
    Read();
    WriteSized(60, 3);

    Read();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(ReadLines(), std::vector<int>{3});
}

TEST_F(CQLogQueueRoomTest, RecordsBeyondTheWrapPointOfTheLastLapMakeTheReaderJump)
{
    StartSmall(300);
    WriteSized(200, 1);
    Read();
    WriteSized(120, 2); // wraps, so the wrap point is 200
    Read();
    WriteSized(60, 3); // at 120
    WriteSized(60, 4); // at 180, ends beyond 200
    WriteSized(60, 5); // at 240, never reached

    EXPECT_EQ(Header(QueueBlock::EndPos), 200u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 4, 2}));
}

TEST_F(CQLogQueueRoomTest, RecordEndingAtTheWrapPointOfTheLastLapMakesTheReaderJump)
{
    StartSmall(300);
    WriteSized(200, 1);
    Read();
    WriteSized(120, 2);
    WriteSized(80, 3); // ends at 200
    Read();

    Read();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 200u);
}

TEST_F(CQLogQueueRoomTest, NextWriteIntoTheEmptyQueueMendsTheReadPosition)
{
    StartSmall(300);
    WriteSized(200, 1);
    Read();
    WriteSized(120, 2);
    WriteSized(80, 3);
    ReadLines(); // the reader is at 0 now, the writer at 200

    WriteSized(64, 4);

    EXPECT_EQ(Header(QueueBlock::ReadPos), 200u);
    EXPECT_EQ(ReadLines(), std::vector<int>{4});
}

TEST_F(CQLogQueueRoomTest, CapacityThatIsNoMultipleOfFourIsFilledAsFarAsRecordsFit)
{
    StartSmall(122);
    WriteSized(60, 1);
    WriteSized(60, 2);

    WriteSized(60, 3);

    EXPECT_EQ(Header(QueueBlock::WritePos), 120u);
    EXPECT_EQ(Header(QueueBlock::Dropped), 1u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{1, 2}));
}

} // namespace
