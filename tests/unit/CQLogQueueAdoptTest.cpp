#include "QueueFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>

using namespace QuarnTest;

namespace {

/// Restarts over a block that a previous run left. Records that a test puts by hand are 60 bytes long and carry their
/// sequence number as line number.
class CQLogQueueAdoptTest : public QueueFixture
{
protected:
    CQLogQueueAdoptTest()
    {
        Start();
        Stop();
    }

    /// Records with these sequence numbers side by side from a position on.
    void PutRecords(std::initializer_list<std::uint32_t> sequences, std::uint32_t position = 0)
    {
        for (const std::uint32_t sequence : sequences) {
            PutRecord(position, sequence);
            position += 60;
        }
    }

    void SetPositions(std::uint32_t writePos, std::uint32_t endPos)
    {
        SetHeader(QueueBlock::WritePos, writePos);
        SetHeader(QueueBlock::EndPos, endPos);
    }
};

TEST_F(CQLogQueueAdoptTest, ReadingStartsWhereTheSequenceNumbersBreak)
{
    PutRecords({7, 8, 9, 3, 4, 5});
    SetPositions(180, 360);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 180u);
    EXPECT_EQ(Header(QueueBlock::Count), 6u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 4, 5, 7, 8, 9}));
}

TEST_F(CQLogQueueAdoptTest, ReadingStartsAtTheFrontWithoutABreak)
{
    PutRecords({3, 4, 5});
    SetPositions(180, 0x1FFFB0);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 4, 5}));
}

TEST_F(CQLogQueueAdoptTest, LastOfSeveralBreaksCounts)
{
    PutRecords({9, 6, 3, 4});

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 120u);
    EXPECT_EQ(Header(QueueBlock::Count), 4u);
}

TEST_F(CQLogQueueAdoptTest, MissingNumbersAreNoBreak)
{
    PutRecords({3, 7, 1000});

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
}

TEST_F(CQLogQueueAdoptTest, EqualNumbersAreNoBreak)
{
    PutRecords({3, 3});

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::Count), 2u);
}

TEST_F(CQLogQueueAdoptTest, ZeroBehindASmallNumberIsABreak)
{
    PutRecords({5, 6, 0, 1});

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 120u);
}

TEST_F(CQLogQueueAdoptTest, WrapOfTheSequenceNumbersToZeroIsNoBreak)
{
    PutRecords({0xFFFFFFFF, 0, 1}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 60u) << "the break at the first record, whose number lies far behind 0";
    EXPECT_EQ(Header(QueueBlock::Count), 3u);
}

TEST_F(CQLogQueueAdoptTest, WrapOfTheSequenceNumbersBeyondZeroIsNoBreak)
{
    PutRecords({0xFFFFFFFF, 1}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 60u);
}

TEST_F(CQLogQueueAdoptTest, WrapThatMissesBothTheLastNumberAndZeroIsABreak)
{
    PutRecords({0xFFFFFFFE, 1}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 120u);
}

TEST_F(CQLogQueueAdoptTest, WrapFromTheLastButOneNumberToZeroIsNoBreak)
{
    PutRecords({0xFFFFFFFE, 0}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 60u);
}

TEST_F(CQLogQueueAdoptTest, OldestRecordsAreFoundWhenTheNumbersWrappedInTheMiddle)
{
    PutRecords({0, 1, 2, 0xFFFFFFFE, 0xFFFFFFFF});
    SetPositions(180, 300);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 180u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{-2, -1, 0, 1, 2}));
}

TEST_F(CQLogQueueAdoptTest, StepOfHalfTheNumbersIsNoBreak)
{
    PutRecords({0x80000000}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::Count), 1u);
}

TEST_F(CQLogQueueAdoptTest, StepOfMoreThanHalfTheNumbersIsABreak)
{
    PutRecords({0x80000001}, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 60u);
}

TEST_F(CQLogQueueAdoptTest, RecordWithoutBeginMarkerIsNotCounted)
{
    PutRecords({3, 4, 5});
    SetRecord(60, Begin, 0);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 2u);
}

TEST_F(CQLogQueueAdoptTest, RecordWithoutEndMarkerIsNotCounted)
{
    PutRecords({3, 4, 5});
    SetRecord(60, End, 0);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 2u);
}

TEST_F(CQLogQueueAdoptTest, InterruptedRecordIsNeitherCountedNorRead)
{
    PutRecords({7, 8, 9, 3, 4, 5});
    SetPositions(120, 360);
    for (const std::uint32_t field : {Begin, RecordSequence, End}) {
        SetRecord(120, field, 0);
    }
    SetRecord(120, Next, 0xFFFFFFFF);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 5u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 4, 5, 7, 8}));
}

// The scan says nothing about the oldest record when the numbers never break, and 0 is where the interrupted one is.
TEST_F(CQLogQueueAdoptTest, RecordInterruptedAtTheFrontHidesTheLapBehindIt)
{
    PutRecords({3, 4, 5});
    SetPositions(0, 180);
    for (const std::uint32_t field : {Begin, RecordSequence, End}) {
        SetRecord(0, field, 0);
    }
    SetRecord(0, Next, 0xFFFFFFFF);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 2u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_FALSE(Read());
}

// Two laps ago the records reached further than in the last lap, and one of them still stands behind the wrap point.
TEST_F(CQLogQueueAdoptTest, RecordLeftBehindTheWrapPointIsTakenForTheOldest)
{
    PutRecords({20, 21, 22, 15, 16, 10});
    SetPositions(180, 300);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 300u);
    EXPECT_EQ(ReadLines(), (std::vector<int>{10, 20, 21, 22, 15, 16}));
}

TEST_F(CQLogQueueAdoptTest, DeliveredRecordsAreOfferedAgain)
{
    Restart();
    Write(L"delivered");
    Write(L"undelivered");
    Read();

    Restart();

    EXPECT_EQ(ReadTexts(), (std::vector<std::wstring>{L"delivered", L"undelivered"}));
}

TEST_F(CQLogQueueAdoptTest, UsedUpQueueIsOfferedAgainAtTheNextRestart)
{
    Restart();
    Write(L"text");
    Restart();
    ReadTexts();

    Restart();

    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"text"});
}

TEST_F(CQLogQueueAdoptTest, ClearedQueueOffersNothing)
{
    Restart();
    Write(L"text");
    m_pQueue->ClearAll();

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_FALSE(Read());
}

TEST_F(CQLogQueueAdoptTest, CountersAndStartTimeOfThePreviousRunAreKept)
{
    SetPositions(120, 240);
    SetHeader(QueueBlock::ReadPos, 60);
    SetHeader(QueueBlock::Count, 77);
    SetHeader(QueueBlock::Dropped, 5);
    SetHeader(QueueBlock::Sequence, 9);
    SetHeader(QueueBlock::StartTime + 4, 0x3FF80000);

    Restart();

    EXPECT_EQ(Header(QueueBlock::WritePos), 120u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 240u);
    EXPECT_EQ(m_pQueue->GetDropped(), 5u);
    EXPECT_EQ(Header(QueueBlock::Sequence), 9u);
    EXPECT_EQ(m_pQueue->GetStartTime(), 1.5);
    EXPECT_EQ(Header(QueueBlock::Count), 0u) << "counted anew";
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u) << "found anew";
}

TEST_F(CQLogQueueAdoptTest, LastPlaceThatTheScanLooksAtCounts)
{
    SetRecord(0x1FFFA0, Begin, BEGIN_WORD);
    SetRecord(0x1FFFA0, End, END_WORD);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 1u);
}

TEST_F(CQLogQueueAdoptTest, PlaceBehindTheLastOneDoesNotCount)
{
    SetRecord(0x1FFFA4, Begin, BEGIN_WORD);
    SetRecord(0x1FFFA4, End, END_WORD);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
}

TEST_F(CQLogQueueAdoptTest, UnalignedMarkersDoNotCount)
{
    PutRecord(62, 3);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
}

TEST_F(CQLogQueueAdoptTest, FileNameThatLooksLikeARecordIsCountedButNotRead)
{
    Restart();
    m_pQueue->WriteMessage(1000, 1, 0.5, 7, "{{{{abcd}}}}", 3, L""); // at 56

    Restart();

    EXPECT_EQ(Header(QueueBlock::Count), 2u);
    EXPECT_EQ(ReadLines(), std::vector<int>{3});
}

TEST_F(CQLogQueueAdoptTest, BreakAtTheEndOfTheBufferIsNoRecord)
{
    PutRecords({7});
    SetRecord(0x1FFFA0, Begin, BEGIN_WORD);
    SetRecord(0x1FFFA0, RecordSequence, 3);
    SetRecord(0x1FFFA0, End, END_WORD);

    Restart();

    EXPECT_EQ(Header(QueueBlock::ReadPos), 0x1FFFA0u);
    EXPECT_FALSE(Read());
}

TEST_F(CQLogQueueAdoptTest, ChainThatLoopsEndsWithTheCount)
{
    PutRecords({3, 4, 5});
    SetRecord(0, Next, 0);

    Restart();

    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 3, 3}));
}

TEST_F(CQLogQueueAdoptTest, NewRunContinuesTheNumbers)
{
    Restart();
    Write(L"first");
    Restart();

    Write(L"second");

    EXPECT_EQ(Record(80, RecordSequence), 1u);
    EXPECT_EQ(ReadTexts(), (std::vector<std::wstring>{L"first", L"second"}));
}

/// A header that is none in one field.
class CQLogQueueForeignHeaderTest : public CQLogQueueAdoptTest, public testing::WithParamInterface<QueueBlock::Field>
{
};

TEST_P(CQLogQueueForeignHeaderTest, BlockIsInitialisedFromScratch)
{
    PutRecords({3, 4, 5});
    SetHeader(QueueBlock::Dropped, 5);
    SetHeader(QueueBlock::StartTime + 4, 0x3FF80000);
    SetHeader(GetParam(), Header(GetParam()) ^ 0x00000004);

    Restart();

    EXPECT_EQ(Header(QueueBlock::Magic1), 0xDEADBEEFu);
    EXPECT_EQ(Header(QueueBlock::Magic2), 0x47110817u);
    EXPECT_EQ(Header(QueueBlock::TotalSize), 0x200000u);
    EXPECT_EQ(Header(QueueBlock::Capacity), 0x1FFFB0u);
    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_EQ(Header(QueueBlock::Dropped), 0u);
    EXPECT_EQ(m_pQueue->GetStartTime(), 0.0);
    const unsigned char* const buffer = m_Block.Bytes() + 80;
    EXPECT_EQ(std::count(buffer, buffer + 0x1FFFB0, 0), 0x1FFFB0);
}

INSTANTIATE_TEST_SUITE_P(Fields, CQLogQueueForeignHeaderTest,
                         testing::Values(QueueBlock::Magic1, QueueBlock::Magic2, QueueBlock::TotalSize,
                                         QueueBlock::Capacity));

TEST_F(CQLogQueueAdoptTest, BlockThatIsNotPersistentIsInitialisedFromScratch)
{
    PutRecords({3, 4, 5});

    Start();

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_EQ(Record(0, Begin), 0u);
}

struct SPosition
{
    std::uint32_t stored;
    const char* what;
};

void PrintTo(const SPosition& position, std::ostream* out) { *out << position.what; }

/// Positions that no queue could have written.
class CQLogQueueForeignPositionTest : public CQLogQueueAdoptTest, public testing::WithParamInterface<SPosition>
{
protected:
    /// Logging goes on: what is written together comes out together, and in order.
    void ExpectMessagesToComeThrough()
    {
        for (int burst = 0; burst < 3; ++burst) {
            for (const wchar_t* text : {L"first", L"second", L"third"}) {
                Write(text);
            }
            EXPECT_EQ(ReadTexts(), (std::vector<std::wstring>{L"first", L"second", L"third"})) << "burst " << burst;
        }
        EXPECT_EQ(Header(QueueBlock::Dropped), 0u);
    }
};

TEST_P(CQLogQueueForeignPositionTest, AdoptionKeepsItAsItIs)
{
    PutRecords({3});
    SetPositions(GetParam().stored, GetParam().stored);

    Restart();

    EXPECT_EQ(Header(QueueBlock::WritePos), GetParam().stored);
    EXPECT_EQ(Header(QueueBlock::EndPos), GetParam().stored);
    EXPECT_EQ(ReadLines(), std::vector<int>{3});
    EXPECT_EQ(Header(QueueBlock::WritePos), GetParam().stored);
    EXPECT_EQ(Header(QueueBlock::EndPos), GetParam().stored);
}

TEST_P(CQLogQueueForeignPositionTest, AsWritePositionItCountsAsZero)
{
    SetPositions(GetParam().stored, 240);
    Restart();

    Write(L"text");

    EXPECT_EQ(Record(0, Begin), BEGIN_WORD);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 76u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 240u);
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"text"});
}

TEST_P(CQLogQueueForeignPositionTest, AsWritePositionItLeavesUnreadRecordsAlone)
{
    PutRecords({3, 4}, 600);
    PutRecords({1}, 720);
    SetPositions(GetParam().stored, 0x1FFFB0);
    Restart();
    ASSERT_EQ(Header(QueueBlock::ReadPos), 720u);

    WriteSized(720, 5);
    WriteSized(60, 6);

    EXPECT_EQ(Header(QueueBlock::Dropped), 1u) << "the reader stands right behind the first one";
    EXPECT_EQ(Header(QueueBlock::WritePos), 720u);
    EXPECT_EQ(Read()->line, 1);
}

TEST_P(CQLogQueueForeignPositionTest, AsWritePositionItIsNoObstacle)
{
    PutRecords({3});
    SetPositions(GetParam().stored, 0x1FFFB0);
    Restart();
    ReadLines();

    ExpectMessagesToComeThrough();
}

TEST_P(CQLogQueueForeignPositionTest, AsWrapPointItIsNoObstacle)
{
    PutRecords({3});
    SetPositions(60, GetParam().stored);
    Restart();
    ReadLines();

    ExpectMessagesToComeThrough();

    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
}

TEST_P(CQLogQueueForeignPositionTest, AsWrapPointItStaysWhileThereAreRecords)
{
    PutRecords({3});
    SetPositions(60, GetParam().stored);
    Restart();

    Write(L"text");

    EXPECT_EQ(Header(QueueBlock::EndPos), GetParam().stored);
}

TEST_P(CQLogQueueForeignPositionTest, EverywhereItIsNoObstacle)
{
    SetPositions(GetParam().stored, GetParam().stored);
    SetHeader(QueueBlock::ReadPos, GetParam().stored);
    SetHeader(QueueBlock::Count, GetParam().stored);
    SetHeader(QueueBlock::Sequence, GetParam().stored);
    Restart();

    ExpectMessagesToComeThrough();
}

INSTANTIATE_TEST_SUITE_P(Positions, CQLogQueueForeignPositionTest,
                         testing::Values(SPosition{0x1FFFB4, "behind the buffer"},
                                         SPosition{0xFFFFFFFC, "far behind it"}, SPosition{62, "unaligned"},
                                         SPosition{0xFFFFFFFF, "the last number"}, SPosition{1, "the first one"},
                                         SPosition{56, "inside the first record"}));

TEST_F(CQLogQueueAdoptTest, WrapPointAtZeroSendsTheReaderBackAfterEachRecord)
{
    PutRecords({3, 4, 5});
    SetPositions(180, 0);

    Restart();

    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 3, 3}));
}

TEST_F(CQLogQueueAdoptTest, WrapPointAtZeroIsGivenUpWithTheFirstNewRecord)
{
    PutRecords({3, 4});
    SetPositions(120, 0);
    Restart();
    ReadLines();

    Write(L"first");
    Write(L"second");

    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
    EXPECT_EQ(ReadTexts(), (std::vector<std::wstring>{L"first", L"second"}));
}

TEST_F(CQLogQueueAdoptTest, WrapPointInTheMiddleOfARecordIsReachedWithTheNextOne)
{
    PutRecords({3, 4, 5});
    SetPositions(180, 62);

    Restart();

    EXPECT_EQ(ReadLines(), (std::vector<int>{3, 4, 3}));
}

TEST_F(CQLogQueueAdoptTest, WrapPointThatAQueueMayHaveLeftStays)
{
    SetPositions(120, 60);
    Restart();

    Write(L"text");

    EXPECT_EQ(Header(QueueBlock::EndPos), 60u);
}

TEST_F(CQLogQueueAdoptTest, WritePositionAtTheCapacityWraps)
{
    SetPositions(0x1FFFB0, 240);
    Restart();

    Write(L"text");

    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 76u);
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"text"});
}

TEST_F(CQLogQueueAdoptTest, MoreRecordsThanWordsAreGivenUp)
{
    PutRecords({3, 4});
    Restart();
    SetHeader(QueueBlock::Count, 0x1FFFB0 / 4 + 1);

    EXPECT_FALSE(Read());

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
}

TEST_F(CQLogQueueAdoptTest, AsManyRecordsAsWordsAreRead)
{
    PutRecords({3, 4});
    Restart();
    SetHeader(QueueBlock::Count, 0x1FFFB0 / 4);

    EXPECT_TRUE(Read());
}

TEST_F(CQLogQueueAdoptTest, SmallestPossiblePositionsAreKept)
{
    SetPositions(60, 60);

    Restart();

    EXPECT_EQ(Header(QueueBlock::WritePos), 60u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 60u);
}

TEST_F(CQLogQueueAdoptTest, LargestPossiblePositionsAreKept)
{
    SetPositions(0x1FFFB0, 0x1FFFB0);

    Restart();

    EXPECT_EQ(Header(QueueBlock::WritePos), 0x1FFFB0u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
}

} // namespace
