#include "ImageScanner.h"
#include "OutputFormats.h"
#include "QueueInfo.h"
#include "QueueReader.h"

#include "SeededRandom.h"
#include "ToolTest.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;
using namespace QuarnTest;

namespace {

/// Reads and formats a damaged image in every way. That it comes back is what matters, and that a sanitizer is content.
class ImageFuzzTest : public testing::Test
{
protected:
    std::uint32_t Below(std::uint32_t end) { return m_Random() % end; }

    /// A ring that has gone round, so that its chain begins in the middle.
    static std::string FullImage()
    {
        Image image;
        std::wstring text;
        for (int i = 0; image.m_Block.Get(QueueBlock::EndPos) == QueueBlock::CAPACITY; ++i) {
            image.Write(1000, i % 7, i, text.assign(static_cast<std::size_t>(i % 40), L'x').c_str());
            if (image.m_pQueue->GetDropped() != 0) {
                image.m_Block.Set(QueueBlock::Count, 0);
            }
        }
        return image.Bytes();
    }

    /// The number of queues that it was said to have.
    unsigned int ReadAll(const std::string& bytes)
    {
        const TempDir dir;
        dir.Write("image", bytes);
        InputFile input(dir.File("image"));
        ImageScanner scanner(input);
        unsigned int queues = 0;
        scanner.ForEachQueue([&](std::uint64_t offset, const unsigned char* block, std::size_t size) {
            ++queues;
            Print(QueueReader(block, size), offset, size);
            return true;
        });
        return queues;
    }

    void Print(const QueueReader& queue, std::uint64_t offset, std::size_t size)
    {
        EXPECT_FALSE(JsonOf({queue, offset, size}).empty());
        for (const SRecordView& record : queue.Chain()) {
            EXPECT_FALSE(m_Lines->Format(record, queue.Header(), offset).empty());
        }
        for (const SRecordView& record : queue.All()) {
            EXPECT_FALSE(m_Json->Format(record, queue.Header(), offset).empty());
        }
    }

    SeededRandom m_Random;
    std::unique_ptr<RecordWriter> m_Lines = MakeTextWriter({true, false});
    std::unique_ptr<RecordWriter> m_Json = MakeJsonWriter({});
};

TEST_F(ImageFuzzTest, BitsFlippedAnywhereDoNoHarm)
{
    const std::string whole = FullImage().substr(0, 65536); // truncated as well, which makes five hundred of them quick
    for (int image = 0; image < 400; ++image) {
        std::string bytes = whole;
        for (std::uint32_t flips = 1 + Below(50); flips != 0; --flips) {
            // Every other one in the header or the first records, where it matters most.
            const std::uint32_t place = Below(flips % 2 == 0 ? 600 : static_cast<std::uint32_t>(bytes.size()));
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << Below(8)));
        }
        const unsigned int queues = ReadAll(bytes);
        EXPECT_LE(queues, 1U) << "image " << image;
    }
}

TEST_F(ImageFuzzTest, RandomWordsBehindAHeaderDoNoHarm)
{
    for (int image = 0; image < 100; ++image) {
        std::string bytes = Image().Bytes();
        for (std::uint32_t place = 48; place < 65536; place += 4) {
            // Markers and small numbers often, as these are what lengths and links are made of.
            const std::uint32_t words[] = {0x7B7B7B7B, 0x7D7D7D7D, Below(300), Below(0x200000), m_Random(), 0};
            std::memcpy(&bytes[place], &words[Below(6)], 4);
        }
        EXPECT_EQ(ReadAll(bytes), 1U) << "image " << image;
    }
}

TEST_F(ImageFuzzTest, WholeRingsWithDamageDoNoHarm)
{
    const std::string whole = FullImage();
    for (int image = 0; image < 5; ++image) {
        std::string bytes = whole;
        for (int flips = 0; flips < 2000; ++flips) {
            const auto place = static_cast<std::size_t>(80 + Below(QueueBlock::CAPACITY));
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << Below(8)));
        }
        EXPECT_EQ(ReadAll(bytes), 1U) << "image " << image;
    }
}

/// Small whole records over the length of a ring, each with a length that reaches nearly to its end: read one by one
/// they would make a terabyte.
TEST_F(ImageFuzzTest, RecordsOnTopOfEachOtherAreGivenUp)
{
    Image image;
    constexpr std::uint32_t END = 0x1FFF00;
    for (std::uint32_t position = 0; position + 256 < END; position += 64) {
        const std::uint32_t textLength = (END - position - 60) / 4;
        const std::uint32_t words[] = {0x7B7B7B7B, position / 64, 0x7D7D7D7D,     1000, 1, 0, 0, 1, 1,
                                       0,          textLength,    END - position, 0};
        std::memcpy(image.m_Block.Bytes() + 80 + position, words, sizeof words);
    }
    const std::string bytes = image.Bytes();

    const QueueReader queue(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());

    EXPECT_TRUE(queue.GaveUp());
    EXPECT_LE(queue.Chain().size(), 2U);
    EXPECT_EQ(queue.All().size(), 2U);
}

/// A record whose next is 0 though it is not the last, and a count that lets the reader come back again and again.
TEST_F(ImageFuzzTest, ChainThatRunsInACircleEnds)
{
    Image image;
    for (int i = 0; i < 2000; ++i) {
        image.Write(L"7 chars");
    }
    image.m_Block.SetRecord(96, 48, 0);
    const std::string bytes = image.Bytes();

    const QueueReader queue(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());

    EXPECT_EQ(queue.Chain().size(), 2000U) << "as many as a start would print";
    EXPECT_EQ(queue.Chain()[2].sequence, 0U);
    EXPECT_EQ(queue.All().size(), 2000U) << "each once";
    EXPECT_EQ(queue.Hidden(), 1998U);
}

} // namespace
