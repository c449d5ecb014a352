#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

using namespace QuarnTest;

namespace {

std::string ImageWith(const wchar_t* text)
{
    Image image;
    image.Write(text);
    return image.Bytes();
}

TEST(ShowImageTest, QueuesAreFoundAtEveryMultipleOfFour)
{
    const std::string bytes =
        std::string(4, 'x') + ImageWith(L"first") + std::string(1020, 'y') + ImageWith(L"second") + "rest";

    const SFinishedProcess run = ShowBytes(bytes);

    EXPECT_EQ(run.output, InfoLine("first") + InfoLine("second"));
    EXPECT_THAT(run.errors, testing::EndsWith(": another queue, at offset 2098176:\n"));
    EXPECT_EQ(run.exitCode, 0);
}

TEST(ShowImageTest, QueueInTheRemainsOfAnotherIsFound)
{
    std::string bytes = ImageWith(L"older");
    bytes.replace(1000, 500, ImageWith(L"younger"), 0, 500);

    EXPECT_EQ(ShowBytes(bytes).output, InfoLine("older") + InfoLine("younger"));
}

TEST(ShowImageTest, QueueAtAnOddOffsetIsNone) { EXPECT_EQ(ShowBytes("xx" + ImageWith(L"moved")).exitCode, 1); }

TEST(ShowImageTest, WhatTruncationLeftIsPrinted)
{
    Image image;
    image.Write(L"7 chars");
    image.Write(L"is cut off");

    const SFinishedProcess run = ShowBytes(image.Bytes().substr(0, 200)); // 24 bytes into the second record

    EXPECT_EQ(run.output, InfoLine("7 chars"));
    EXPECT_THAT(run.errors, testing::HasSubstr(": ends after 200 of the 2097152 bytes of the queue at offset 0\n"));
    EXPECT_EQ(run.exitCode, 0);
}

/// The second record begins at 176: its text at 228, its file name at 272, padding at 281.
TEST(ShowImageTest, RecordThatTheImageCutsOffIsMarked)
{
    constexpr const char* MARK = " [cut off by the end of the image]\n";
    constexpr const char* FRONT = ":7: info: m=1 t=2024.05.17-13:45:09.000 tid=0x1a2b: ";
    Image image;
    image.Write(L"7 chars");
    image.Write(L"is cut off");
    const std::string bytes = image.Bytes();
    const std::string first = InfoLine("7 chars");

    EXPECT_EQ(ShowBytes(bytes.substr(0, 228)).output, first + FRONT + MARK);
    EXPECT_EQ(ShowBytes(bytes.substr(0, 252)).output, first + FRONT + "is cut" + MARK);
    EXPECT_EQ(ShowBytes(bytes.substr(0, 276)).output, first + "axis" + FRONT + "is cut off" + MARK);
    EXPECT_EQ(ShowBytes(bytes.substr(0, 280)).output, first + "axis.cpp" + FRONT + "is cut off" + MARK);
    EXPECT_EQ(ShowBytes(bytes.substr(0, 281)).output, first + InfoLine("is cut off"));
    EXPECT_THAT(ShowBytes(bytes.substr(0, 252), "--json").output,
                testing::AllOf(testing::HasSubstr("\"cut_off\":false"), testing::HasSubstr("\"cut_off\":true")));
}

TEST(ShowImageTest, CharacterThatTheImageCutsOffIsLeftOut)
{
    Image image;
    image.Write(L"a\u20AC");
    const std::string bytes = image.Bytes(); // the text is at 132

    EXPECT_THAT(ShowBytes(bytes.substr(0, 137)).output, testing::EndsWith(": a [cut off by the end of the image]\n"));
}

TEST(ShowImageTest, SignatureAtTheVeryEndIsEnough)
{
    const std::string bytes = ImageWith(L"gone");

    EXPECT_EQ(ShowBytes(bytes.substr(0, 48)).exitCode, 0);
    EXPECT_EQ(ShowBytes(bytes.substr(0, 47)).exitCode, 1);
}

TEST(ShowImageTest, StandardInputIsAnImageToo)
{
    const TempDir dir;
    dir.Write("image", std::string(12, 'x') + ImageWith(L"piped"));

    const SFinishedProcess file = RunTool("show - <" + Quoted(dir.File("image")));
    const SFinishedProcess pipe =
        RunCommand("cat " + Quoted(dir.File("image")) + " | TZ=UTC " + Quoted(QUARN_LOG) + " show -");

    EXPECT_EQ(file.output, InfoLine("piped"));
    EXPECT_EQ(pipe.output, InfoLine("piped"));
}

TEST(ShowImageTest, ImageIsLeftAsItIs)
{
    Image image;
    image.Write(L"delivered");
    image.Write(L"undelivered");
    image.m_Block.Set(QueueBlock::Count, 1);
    const TempDir dir;
    dir.Write("image", image.Bytes());
    std::filesystem::permissions(dir.File("image"), std::filesystem::perms::owner_read);

    RunTool("show --all " + Quoted(dir.File("image")));

    EXPECT_TRUE(dir.Read("image") == image.Bytes());
    EXPECT_EQ(dir.Names().size(), 1U);
}

TEST(ShowImageTest, QueueBehindFiveGigabytesOfHolesIsFound)
{
    const TempDir dir;
    dir.Write("image", "some data in front");
    {
        std::ofstream file(dir.File("image"), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(5'000'000'004);
        file << ImageWith(L"far away");
    }

    const SFinishedProcess run = RunTool("show --json " + Quoted(dir.File("image")));

    EXPECT_THAT(run.output, testing::StartsWith("{\"queue\":5000000004,"));
    EXPECT_THAT(run.output, testing::HasSubstr("far away"));
}

/// Three records of 96 bytes, the lengths of the middle one damaged.
std::string BrokenImage()
{
    Image image;
    image.Write(L"1 fine.");
    image.Write(L"2 torn.");
    image.Write(L"3 good.");
    image.m_Block.SetRecord(96, 44, 12345);
    return image.Bytes();
}

TEST(ShowImageTest, BrokenChainEndsTheLogAsAtTheNextStart)
{
    const SFinishedProcess run = ShowBytes(BrokenImage());

    EXPECT_EQ(run.output, InfoLine("1 fine."));
    EXPECT_THAT(run.errors, testing::EndsWith(": 1 complete records are out of reach, --all shows them\n"));
}

TEST(ShowImageTest, AllShowsWhatABrokenChainHides)
{
    const SFinishedProcess run = ShowBytes(BrokenImage(), "--all");

    EXPECT_EQ(run.output, InfoLine("1 fine.") + InfoLine("3 good."));
    EXPECT_EQ(run.errors, "");
}

TEST(ShowImageTest, OldestRecordComesFirst)
{
    Image image;
    for (const wchar_t* text : {L"seven 7", L"eight 8", L"nine  9", L"three 3", L"four  4", L"five  5"}) {
        image.Write(text);
    }
    const std::uint32_t sequences[] = {7, 8, 9, 3, 4, 5};
    for (std::uint32_t i = 0; i < 6; ++i) {
        image.m_Block.SetRecord(96 * i, 4, sequences[i]);
    }
    image.m_Block.SetRecord(96 * 5, 48, 0); // the last one reaches the end, as it were
    const std::string lines = InfoLine("three 3") + InfoLine("four  4") + InfoLine("five  5") + InfoLine("seven 7") +
                              InfoLine("eight 8") + InfoLine("nine  9");

    EXPECT_EQ(ShowBytes(image.Bytes()).output, lines);
    EXPECT_EQ(ShowBytes(image.Bytes(), "--all").output, lines);
}

/// The lap of 7 and 8 has overwritten most of 3, and 2 is left over from a lap before, behind the wrap point.
std::string ImageWithStaleRecord()
{
    Image image;
    for (const wchar_t* text : {L"seven 7", L"eight 8", L"three 3", L"four  4", L"five  5", L"six   6", L"two   2"}) {
        image.Write(text);
    }
    const std::uint32_t sequences[] = {7, 8, 0, 4, 5, 6, 2};
    for (std::uint32_t i = 0; i < 7; ++i) {
        image.m_Block.SetRecord(96 * i, 4, sequences[i]);
    }
    image.m_Block.SetRecord(96 * 2, 0, 0);
    image.m_Block.SetRecord(96 * 2, 44, 12345);
    image.m_Block.Set(QueueBlock::EndPos, 96 * 6);
    return image.Bytes();
}

TEST(ShowImageTest, StaleRecordBehindTheWrapPointComesFirstAndHidesTheLapBefore)
{
    const SFinishedProcess run = ShowBytes(ImageWithStaleRecord());

    EXPECT_EQ(run.output, InfoLine("two   2") + InfoLine("seven 7") + InfoLine("eight 8"));
    EXPECT_THAT(run.errors, testing::EndsWith(": 3 complete records are out of reach, --all shows them\n"));
}

TEST(ShowImageTest, AllShowsInOrderOfSequenceWhatAStaleRecordHides)
{
    const SFinishedProcess run = ShowBytes(ImageWithStaleRecord(), "--all");

    EXPECT_EQ(run.output, InfoLine("two   2") + InfoLine("four  4") + InfoLine("five  5") + InfoLine("six   6") +
                              InfoLine("seven 7") + InfoLine("eight 8"));
    EXPECT_EQ(run.errors, "");
}

TEST(ShowImageTest, SequenceNumbersMayGoRound)
{
    Image image;
    image.m_Block.Set(QueueBlock::Sequence, 0xFFFFFFFE);
    for (const wchar_t* text : {L"FFFFFFFE", L"FFFFFFFF", L"00000000", L"00000001"}) {
        image.Write(text);
    }
    const std::string lines = InfoLine("FFFFFFFE") + InfoLine("FFFFFFFF") + InfoLine("00000000") + InfoLine("00000001");

    EXPECT_EQ(ShowBytes(image.Bytes()).output, lines);
    EXPECT_EQ(ShowBytes(image.Bytes(), "--all").output, lines);
}

TEST(ShowImageTest, RecordWithoutItsMarkersIsNotShown)
{
    Image image;
    image.Write(L"whole..");
    image.Write(L"unfinished");
    image.m_Block.SetRecord(96, 8, 0);

    EXPECT_EQ(ShowBytes(image.Bytes()).output, InfoLine("whole.."));
    EXPECT_EQ(ShowBytes(image.Bytes(), "--all").output, InfoLine("whole.."));
}

TEST(ShowImageTest, ImageOfAnotherWordSizeIsReadByteForByte)
{
    // As a 32-bit program leaves it: a live mutex of 28 bytes and its attributes in front.
    const char bytes[] = "\1\0\0\0\x39\5\0\0\1\0\0\0\x21\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x20\0\0\0"
                         "\xEF\xBE\xAD\xDE\x17\x08\x11\x47\0\0\x20\0\xB0\xFF\x1F\0"
                         "\x4C\0\0\0\0\0\0\0\xB0\xFF\x1F\0\1\0\0\0\0\0\0\0\1\0\0\0"
                         "\0\0\0\xD7\xD7\x91\xD9\x41" // 1715953500
                         "{{{{\0\0\0\0}}}}\xD0\7\0\0\1\0\0\0\0\0\0\0\0\0\x22\x40\x2B\x1A\0\0\7\0\0\0"
                         "\x08\0\0\0\2\0\0\0\x4C\0\0\0\x4C\0\0\0"
                         "h\0\0\0i\0\0\0\0\0\0\0axis.cpp";

    const SFinishedProcess run = ShowBytes(std::string(bytes, sizeof bytes));

    EXPECT_EQ(run.output, InfoLine("hi"));
}

TEST(ShowImageTest, ImageMadeOfHeadersIsReadToItsEnd)
{
    const std::string signature = ImageWith(L"").substr(32, 16);
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        bytes += signature;
    }

    const SFinishedProcess run = ShowBytes(bytes);

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.errors, testing::EndsWith(": 982 headers left out, too many lie on top of each other\n"));
}

} // namespace
