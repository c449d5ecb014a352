#include "Follower.h"
#include "OutputFormats.h"

#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/types.h>
#include <unistd.h>

#include <fstream>
#include <functional>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;
using namespace QuarnTest;

namespace {

/// Runs after each read at a place, with the number of such reads: a writer that works between the copies.
std::function<void(int)> g_AfterRead;
int g_Reads = 0;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
extern "C" {

ssize_t __real_pread64(int fd, void* target, size_t bytes, off64_t offset);

ssize_t __wrap_pread64(int fd, void* target, size_t bytes, off64_t offset)
{
    const ssize_t got = __real_pread64(fd, target, bytes, offset);
    ++g_Reads;
    if (g_AfterRead) {
        g_AfterRead(g_Reads);
    }
    return got;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/// A follower over a file that each test changes between two looks.
class FollowerTest : public testing::Test
{
protected:
    FollowerTest()
        : m_pStream(std::tmpfile())
        , m_Output(m_pStream, "program", MakeJsonWriter({}))
    {
    }
    ~FollowerTest() override
    {
        std::fclose(m_pStream);
        g_AfterRead = nullptr;
    }

    /// In place, so that an open file sees it.
    void Save(const Image& image)
    {
        std::ofstream(m_Dir.File("region"), std::ios::binary | std::ios::in | std::ios::out | std::ios::ate).seekp(0)
            << image.Bytes();
    }
    void Create(const Image& image) { m_Dir.Write("region", image.Bytes()); }

    /// What was printed since the last call.
    std::string Printed()
    {
        m_Output.Flush();
        std::string text;
        std::fseek(m_pStream, m_PrintedBefore, SEEK_SET);
        for (int byte = std::fgetc(m_pStream); byte != EOF; byte = std::fgetc(m_pStream)) {
            text += static_cast<char>(byte);
        }
        m_PrintedBefore = std::ftell(m_pStream);
        return text;
    }

    TempDir m_Dir;
    std::FILE* m_pStream;
    long m_PrintedBefore = 0;
    Output m_Output;
    RecordFilter m_Filter;
};

TEST_F(FollowerTest, NothingIsPrintedTwice)
{
    Image image;
    image.Write(L"a text");
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    follower.Poll();
    EXPECT_THAT(Printed(), testing::HasSubstr("a text"));

    EXPECT_TRUE(follower.Poll());

    EXPECT_EQ(Printed(), "");
}

TEST_F(FollowerTest, RecordThatTheHeaderDoesNotCountYetWaits)
{
    Image image;
    image.Write(L"counted");
    image.Write(L"in the making");
    image.m_Block.Set(QueueBlock::Sequence, 1);
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    follower.Poll();
    EXPECT_THAT(Printed(), testing::Not(testing::HasSubstr("in the making")));
    image.m_Block.Set(QueueBlock::Sequence, 2);
    Save(image);

    follower.Poll();

    EXPECT_THAT(Printed(), testing::HasSubstr("in the making"));
}

TEST_F(FollowerTest, RecordWhoseMarkersAreGoneIsCountedAsOverwritten)
{
    Image image;
    image.Write(L"7 chars");
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    follower.Poll();
    Printed();
    image.Write(L"run into");
    image.Write(L"intact");
    image.m_Block.SetRecord(96, 0, 0);
    Save(image);
    testing::internal::CaptureStderr();

    follower.Poll();

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "program: 1 records were overwritten before they could be read\n");
    EXPECT_THAT(Printed(), testing::AllOf(testing::HasSubstr("intact"), testing::Not(testing::HasSubstr("run into"))));
}

TEST_F(FollowerTest, RecordThatChangesBetweenTheTwoCopiesIsNotPrinted)
{
    Image image;
    image.Write(L"to be overwritten");
    image.Write(L"intact");
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    g_Reads = 0;
    g_AfterRead = [&](int reads) {
        if (reads == 2) { // the header and the first copy
            image.m_Block.SetRecord(0, 0, 0);
            Save(image);
        }
    };

    follower.Poll();

    EXPECT_EQ(g_Reads, 3);
    EXPECT_THAT(Printed(),
                testing::AllOf(testing::HasSubstr("\"intact\""), testing::Not(testing::HasSubstr("to be over"))));
}

TEST_F(FollowerTest, RecordThatIsWrittenDuringTheCopiesWaits)
{
    Image image;
    image.Write(L"before");
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    g_Reads = 0;
    g_AfterRead = [&](int reads) {
        if (reads == 1) { // the header
            image.Write(L"meanwhile");
            Save(image);
        }
    };
    follower.Poll();
    EXPECT_THAT(Printed(), testing::Not(testing::HasSubstr("meanwhile")));

    follower.Poll();

    EXPECT_THAT(Printed(), testing::HasSubstr("meanwhile"));
}

TEST_F(FollowerTest, FilterAppliesToWhatIsNew)
{
    Image image;
    image.Write(1000, 1, 9.0, L"unwanted");
    image.Write(4000, 1, 9.0, L"wanted");
    Create(image);
    InputFile input(m_Dir.File("region"));
    m_Filter.level = 4000;
    Follower follower(input, 0, m_Filter, m_Output);

    follower.Poll();

    EXPECT_THAT(Printed(),
                testing::AllOf(testing::HasSubstr("\"wanted\""), testing::Not(testing::HasSubstr("unwanted"))));
}

TEST_F(FollowerTest, RegionWithoutAHeaderIsWaitedFor)
{
    Image image;
    image.Write(L"a text");
    Create(image);
    InputFile input(m_Dir.File("region"));
    Follower follower(input, 0, m_Filter, m_Output);
    image.m_Block.Set(QueueBlock::Magic1, 0);
    Save(image);
    EXPECT_TRUE(follower.Poll());
    EXPECT_EQ(Printed(), "");
    image.m_Block.Set(QueueBlock::Magic1, 0xDEADBEEF);
    Save(image);

    EXPECT_TRUE(follower.Poll());

    EXPECT_THAT(Printed(), testing::HasSubstr("a text"));
}

TEST(QueueReaderTest, RecordThatDiffersInALaterCopyIsNotTheSame)
{
    Image image;
    image.Write(L"7 chars");
    image.Write(L"changed");
    const std::string first = image.Bytes();
    image.m_Block.SetRecord(96, 52, L'C');
    const QueueReader queue(reinterpret_cast<const unsigned char*>(first.data()), first.size());

    ASSERT_EQ(queue.All().size(), 2U);
    EXPECT_TRUE(queue.IsSameIn(image.m_Block.Bytes(), queue.All()[0]));
    EXPECT_FALSE(queue.IsSameIn(image.m_Block.Bytes(), queue.All()[1]));
}

} // namespace
