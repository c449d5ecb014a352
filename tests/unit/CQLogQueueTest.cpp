#include "CQLogQueue.h"

#include "QueueFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

class CQLogQueueTest : public QueueFixture
{
};

TEST_F(CQLogQueueTest, FreshHeaderHasItsExactBytes)
{
    Start();

    const std::array<unsigned char, 48> expected = {
        0xEF, 0xBE, 0xAD, 0xDE, 0x17, 0x08, 0x11, 0x47, 0x00, 0x00, 0x20, 0x00, 0xB0, 0xFF, 0x1F, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xB0, 0xFF, 0x1F, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    };
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), m_Block.Bytes() + 32));
}

TEST_F(CQLogQueueTest, FreshQueueZeroesTheWholeBuffer)
{
    std::memset(m_Block.Bytes(), 0xAA, QueueBlock::SIZE);

    Start();

    const unsigned char* const buffer = m_Block.Bytes() + 80;
    EXPECT_EQ(std::count(buffer, buffer + 0x1FFFB0, 0), 0x1FFFB0);
}

TEST_F(CQLogQueueTest, BytesReservedForALockAreNeverTouched)
{
    std::memset(m_Block.Bytes(), 0xAA, 32);

    Start();
    Write(L"text");
    Read();
    m_pQueue->ClearAll();
    Stop();

    EXPECT_EQ(std::count(m_Block.Bytes(), m_Block.Bytes() + 32, 0xAA), 32);
}

TEST_F(CQLogQueueTest, RecordHasItsExactBytes)
{
    Start();
    SetHeader(QueueBlock::Sequence, 0x01020304);

    m_pQueue->WriteMessage(3000, -2, 1.5, 0x12345678, "a.c", 42, L"H\x1F600");

    const std::array<unsigned char, 68> expected = {
        '{',  '{',  '{',  '{',  0x04, 0x03, 0x02, 0x01, '}',  '}',  '}',  '}',  // markers around the sequence
        0xB8, 0x0B, 0x00, 0x00, 0xFE, 0xFF, 0xFF, 0xFF,                         // level, category
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0x3F,                         // time
        0x78, 0x56, 0x34, 0x12, 0x2A, 0x00, 0x00, 0x00,                         // thread id, line
        0x03, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,                         // lengths of file and text
        0x44, 0x00, 0x00, 0x00, 0x44, 0x00, 0x00, 0x00,                         // size, next
        'H',  0x00, 0x00, 0x00, 0x00, 0xF6, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, // text
        'a',  '.',  'c',  0x00,                                                 // file
    };
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), m_Block.Bytes() + 80));
}

TEST_F(CQLogQueueTest, WriteMovesThePositionsInTheHeader)
{
    Start();

    m_pQueue->WriteMessage(1000, 1, 0.5, 7, "a.c", 3, L"Hi");

    EXPECT_EQ(Header(QueueBlock::WritePos), 68u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 0x1FFFB0u);
    EXPECT_EQ(Header(QueueBlock::Count), 1u);
    EXPECT_EQ(Header(QueueBlock::Dropped), 0u);
    EXPECT_EQ(Header(QueueBlock::Sequence), 1u);
}

TEST_F(CQLogQueueTest, SizeIsRoundedUpAndPaddingIsLeftAsItWas)
{
    StartSmall(100);
    std::memset(m_Block.Bytes() + 80, 0xAA, 100);

    m_pQueue->WriteMessage(1000, 1, 0.5, 7, "", 3, L""); // 57 bytes

    EXPECT_EQ(Record(0, RecordSize), 60u);
    const unsigned char* const buffer = m_Block.Bytes() + 80;
    EXPECT_EQ(buffer[56], 0x00) << "terminator of the file name";
    EXPECT_EQ(std::count(buffer + 57, buffer + 100, 0xAA), 43);
}

TEST_F(CQLogQueueTest, SequenceNumbersWrapToZero)
{
    Start();
    SetHeader(QueueBlock::Sequence, 0xFFFFFFFF);

    Write(L"");

    EXPECT_EQ(Record(0, RecordSequence), 0xFFFFFFFFu);
    EXPECT_EQ(Header(QueueBlock::Sequence), 0u);
}

TEST_F(CQLogQueueTest, ReadGivesBackWhatWasWritten)
{
    Start();
    m_pQueue->WriteMessage(-4000, -1, -2.25, 0xFFFFFFFF, "dir/file.cpp", -9, L"\x10FFFF text");

    const std::optional<SMessage> message = Read();

    ASSERT_TRUE(message);
    EXPECT_EQ(*message, (SMessage{-4000, -1, -2.25, 0xFFFFFFFF, "dir/file.cpp", -9, L"\x10FFFF text"}));
}

TEST_F(CQLogQueueTest, ReadHandsOutTheStringsInTheBlock)
{
    Start();
    m_pQueue->WriteMessage(1000, 1, 0.5, 7, "a.c", 3, L"Hi");
    SMessage message{};
    const char* file = nullptr;
    const wchar_t* text = nullptr;

    ASSERT_TRUE(m_pQueue->ReadMessage(message.level, message.category, message.time, message.threadId, file,
                                      message.line, text));

    const auto* const block = reinterpret_cast<const char*>(m_Block.Bytes());
    EXPECT_EQ(reinterpret_cast<const char*>(text), block + 80 + 52);
    EXPECT_EQ(file, block + 80 + 64);
}

TEST_F(CQLogQueueTest, ReadReleasesTheRecord)
{
    Start();
    WriteSized(60);
    WriteSized(64);

    ASSERT_TRUE(Read());

    EXPECT_EQ(Header(QueueBlock::Count), 1u);
    EXPECT_EQ(m_pQueue->GetCount(), 1u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 60u);
    EXPECT_EQ(Record(0, Begin), BEGIN_WORD) << "the record itself stays as it is";
}

TEST_F(CQLogQueueTest, EmptyQueueHasNothingToRead)
{
    Start();

    EXPECT_FALSE(Read());
}

TEST_F(CQLogQueueTest, RecordsAreReadInTheOrderOfWriting)
{
    Start();
    Write(L"first");
    Write(L"second");
    Write(L"third");

    EXPECT_EQ(ReadTexts(), (std::vector<std::wstring>{L"first", L"second", L"third"}));
}

TEST_F(CQLogQueueTest, NullFileIsStoredAsEmptyName)
{
    Start();

    m_pQueue->WriteMessage(1000, 1, 0.5, 7, nullptr, 3, L"text");

    EXPECT_EQ(Record(0, FileLength), 0u);
    const std::optional<SMessage> message = Read();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->file, "");
    EXPECT_EQ(message->text, L"text");
}

TEST_F(CQLogQueueTest, TextMayBeLongerThanItsProducersLimit)
{
    Start();
    const std::wstring text(50000, L'x');

    Write(text);

    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{text});
}

TEST_F(CQLogQueueTest, ClearAllResetsTheHeaderAndKeepsTheStartTime)
{
    StartSmall(200);
    m_pQueue->SetStartTime(1.5);
    for (int i = 0; i < 3; ++i) {
        WriteSized(80);
    }
    Read();
    WriteSized(80);

    m_pQueue->ClearAll();

    EXPECT_EQ(Header(QueueBlock::Count), 0u);
    EXPECT_EQ(Header(QueueBlock::Dropped), 0u);
    EXPECT_EQ(Header(QueueBlock::WritePos), 0u);
    EXPECT_EQ(Header(QueueBlock::ReadPos), 0u);
    EXPECT_EQ(Header(QueueBlock::EndPos), 200u);
    EXPECT_EQ(Header(QueueBlock::Sequence), 0u);
    EXPECT_EQ(Header(QueueBlock::StartTime), 0x00000000u);
    EXPECT_EQ(Header(QueueBlock::StartTime + 4), 0x3FF80000u);
}

TEST_F(CQLogQueueTest, ClearAllZeroesAsManyBytesAsTheCapacity)
{
    StartSmall(100);
    std::memset(m_Block.Bytes() + 80, 0xAA, 200);

    m_pQueue->ClearAll();

    const unsigned char* const buffer = m_Block.Bytes() + 80;
    EXPECT_EQ(std::count(buffer, buffer + 100, 0), 100);
    EXPECT_EQ(std::count(buffer + 100, buffer + 200, 0xAA), 100);
}

TEST_F(CQLogQueueTest, StartTimeStandsInTheHeader)
{
    Start();

    m_pQueue->SetStartTime(1.5);

    EXPECT_EQ(m_pQueue->GetStartTime(), 1.5);
    EXPECT_EQ(Header(QueueBlock::StartTime), 0x00000000u);
    EXPECT_EQ(Header(QueueBlock::StartTime + 4), 0x3FF80000u);
}

TEST_F(CQLogQueueTest, DestructionLeavesTheBlockAsItIs)
{
    Start();
    Write(L"text");
    const std::vector<unsigned char> before(m_Block.Bytes(), m_Block.Bytes() + QueueBlock::SIZE);

    Stop();

    EXPECT_TRUE(std::equal(before.begin(), before.end(), m_Block.Bytes()));
}

TEST_F(CQLogQueueTest, SmallQueueHasItsSizeAsCapacityAndWrapPoint)
{
    std::memset(m_Block.Bytes(), 0xAA, QueueBlock::SIZE);

    StartSmall(1000);

    const std::array<unsigned char, 48> expected = {
        0xEF, 0xBE, 0xAD, 0xDE, 0x17, 0x08, 0x11, 0x47, 0x00, 0x00, 0x20, 0x00, 0xE8, 0x03, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE8, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    };
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), m_Block.Bytes() + 32));
    const unsigned char* const buffer = m_Block.Bytes() + 80;
    EXPECT_EQ(std::count(buffer, buffer + 0x1FFFB0, 0xAA), 0x1FFFB0) << "the buffer is not touched";
}

TEST_F(CQLogQueueTest, SmallQueueMayHaveTheFullCapacity)
{
    StartSmall(0x1FFFB0);

    EXPECT_EQ(Header(QueueBlock::Capacity), 0x1FFFB0u);
}

TEST_F(CQLogQueueTest, QueueLargerThanTheBlockThrowsAndLeavesTheBlockAlone)
{
    std::memset(m_Block.Bytes(), 0xAA, QueueBlock::SIZE);
    int thrown = 0;

    try {
        StartSmall(0x1FFFB1);
    } catch (int code) {
        thrown = code;
    }

    EXPECT_EQ(thrown, -1);
    EXPECT_EQ(std::count(m_Block.Bytes(), m_Block.Bytes() + QueueBlock::SIZE, 0xAA), 0x200000);
}

TEST_F(CQLogQueueTest, QueueWithoutCapacityDropsEverything)
{
    StartSmall(0);

    Write(L"");

    EXPECT_EQ(m_pQueue->GetDropped(), 1u);
    EXPECT_FALSE(Read());
}

} // namespace
