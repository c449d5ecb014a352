#include <QuarnLogging/CQAllocationInfo.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

int g_Allocations = 0;
std::size_t g_LargestAllocation = 0; // bytes

} // namespace

// The operators of this program; the tests run on one thread. Inlined, they would look like mismatched pairs to g++.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++g_Allocations;
    g_LargestAllocation = size > g_LargestAllocation ? size : g_LargestAllocation;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

// A sanitizer's run-time has a form of its own that would not fit our delete.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size == 0 ? 1 : size);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

// Longer than the characters that a wide string keeps inside itself, on either word size.
constexpr wchar_t FILE_NAME[] = L"src/some/folder/with/a/name.cpp";

class CQAllocationInfoHeapTest : public ::testing::Test
{
protected:
    template <class Act>
    static int AllocationsOf(Act act)
    {
        g_Allocations = 0;
        g_LargestAllocation = 0;
        act();
        return g_Allocations;
    }

    CQAllocationInfo m_Registry;
    char m_Objects[4000] = {};
};

TEST_F(CQAllocationInfoHeapTest, RecordingThatIsOffAllocatesNothing)
{
    const int allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16); });

    EXPECT_EQ(allocations, 0);
}

TEST_F(CQAllocationInfoHeapTest, NewObjectOfAKnownSiteCostsItsTwoMapNodes)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const int allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects + 1, 16); });

    EXPECT_EQ(allocations, 2);
}

TEST_F(CQAllocationInfoHeapTest, KnownObjectOfAKnownSiteAllocatesNothing)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const int allocations = AllocationsOf([&] { m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 24); });

    EXPECT_EQ(allocations, 0);
}

TEST_F(CQAllocationInfoHeapTest, UnknownAddressAllocatesNothing)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(FILE_NAME, 10, m_Objects, 16);

    const int allocations = AllocationsOf([&] { m_Registry.TryRemoveInfo(m_Objects + 1); });

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

    AllocationsOf([&] { m_Registry.DumpInfo(0); });

    EXPECT_TRUE(capture.m_Messages.empty());
    EXPECT_GE(g_LargestAllocation, 12000u * sizeof(wchar_t)) << "3 wide characters at least for each byte";
}

} // namespace
