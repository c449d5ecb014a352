#include <QuarnLogging/CQAllocationInfo.h>

#include "FailingHeap.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

// Longer than the characters that a wide string keeps inside itself, on either word size.
constexpr wchar_t FILE_NAME[] = L"src/some/folder/with/a/name.cpp";

class CQAllocationInfoHeapTest : public ::testing::Test
{
protected:
    template <class Act>
    static long AllocationsOf(Act act)
    {
        const HeapUse use;
        act();
        return use.Allocations();
    }

    CQAllocationInfo m_Registry;
    char m_Objects[4000] = {};
};

TEST_F(CQAllocationInfoHeapTest, RecordingThatIsOffAllocatesNothing)
{
    const long allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16); });

    EXPECT_EQ(allocations, 0);
}

TEST_F(CQAllocationInfoHeapTest, NewObjectOfAKnownSiteCostsItsTwoMapNodes)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const long allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects + 1, 16); });

    EXPECT_EQ(allocations, 2);
}

TEST_F(CQAllocationInfoHeapTest, KnownObjectOfAKnownSiteAllocatesNothing)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const long allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 24); });

    EXPECT_EQ(allocations, 0);
}

TEST_F(CQAllocationInfoHeapTest, UnknownAddressAllocatesNothing)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const long allocations = AllocationsOf([&] { m_Registry.TryRemoveInfo(m_Objects + 1); });

    EXPECT_EQ(allocations, 0);
}

// Formatting reads the object, so a wrong selection shows in testing whether or not the category is logged that day.
TEST_F(CQAllocationInfoHeapTest, DumpIsFormattedAlsoWhenItsMessageIsSkipped)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, sizeof m_Objects);
    m_Registry.AddLineNumberUsedForMemoryDump(10);
    LogCapture capture;
    capture.UseLevels({9999});
    const HeapUse use;

    m_Registry.DumpInfo(0);

    EXPECT_TRUE(capture.m_Messages.empty());
    EXPECT_GE(use.LargestAllocation(), 12000u * sizeof(wchar_t)) << "3 wide characters at least for each byte";
}

} // namespace
