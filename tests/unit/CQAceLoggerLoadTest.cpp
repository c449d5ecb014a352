#include "AceLoggerTest.h"
#include "HeapInUse.h"

#include <filesystem>
#include <iterator>

using namespace QuarnTest;

namespace {

std::ptrdiff_t OpenDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

/// Each line fills the file. The clock moves by the sleeps for a name alone, one second each.
class CQAceLoggerLoadTest : public AceLoggerTest
{
protected:
    void SetUp() override { Logger().SetOutputStream(L"log/app-%T.txt", 60, 5); }

    void Rotate(int times)
    {
        for (int i = 0; i < times; ++i) {
            Write(L"fills");
        }
    }
};

TEST_F(CQAceLoggerLoadTest, ManyRotationsLeaveNoDescriptorOpen)
{
    const std::ptrdiff_t before = OpenDescriptors();

    Rotate(10000);

    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(CQAceLoggerLoadTest, ManyRotationsLeaveNothingOnTheHeap)
{
    if (!FreedMemoryIsNotInUse()) {
        GTEST_SKIP() << "the address sanitizer keeps for a while what was freed; its leak sanitizer looks, too";
    }
    Rotate(10); // from here on there are as many old files as are kept
    const std::size_t before = HeapInUse();

    Rotate(10000);

    EXPECT_EQ(HeapInUse(), before);
}

TEST_F(CQAceLoggerLoadTest, ManyRotationsLeaveAsManyFilesAsAreKept)
{
    Rotate(10000);

    EXPECT_EQ(m_Dir.Names("log").size(), 6U) << "five old files and the current one";
}

} // namespace
