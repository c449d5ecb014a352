#include "CQApplicationTime.h"
#include "LoggingGlobals.h"

#include "PlatformDoubles.h"
#include "RefusedThreads.h"

#include <QuarnLogging/ApplicationTime.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// Of the thread that counts; other threads allocate as they like.
struct SHeap
{
    bool counting;
    int allocations;
    int live;
    int failing; ///< Number of the allocation that fails; 0: none.
};
thread_local SHeap t_Heap;

void* Allocate(std::size_t size)
{
    if (t_Heap.counting) {
        if (++t_Heap.allocations == t_Heap.failing) {
            return nullptr;
        }
        ++t_Heap.live;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void Free(void* memory)
{
    if (t_Heap.counting && memory != nullptr) {
        --t_Heap.live;
    }
    std::free(memory);
}

void CountFrom(int failing) { t_Heap = {true, 0, 0, failing}; }

} // namespace

void* operator new(std::size_t size)
{
    if (void* const memory = Allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return Allocate(size); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { Free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { Free(memory); }
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { Free(memory); }

namespace {

struct SOutcome
{
    bool thrown;
    bool clockThere;
    int live;
};

/// InitApplicationTime() with its nth allocation failing, from the state without a clock.
SOutcome InitWithFailingAllocation(int nth)
{
    bool thrown = false;
    CountFrom(nth);
    try {
        InitApplicationTime();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    t_Heap.counting = false;
    return {thrown, g_pApplicationTime != nullptr, t_Heap.live};
}

class ApplicationTimeMemoryTest : public testing::Test
{
protected:
    ApplicationTimeMemoryTest()
    {
        InitApplicationTime(); // so that ACE has what it allocates once
        m_Clock.ReleaseSleepers();
        FiniApplicationTime();
    }

    FakeClock m_Clock{FakeClock::Sleeping::BlocksThread};
};

TEST_F(ApplicationTimeMemoryTest, ConstructorThatRunsOutOfMemoryLeavesNothingBehind)
{
    // The clock, its mutex, its thread object. What ACE allocates to start a thread is its own affair: 7.0.8 does not
    // survive every failure there.
    for (int nth = 1; nth <= 3; ++nth) {
        const FaultPlan plan;

        const SOutcome outcome = InitWithFailingAllocation(nth);

        EXPECT_TRUE(outcome.thrown) << "allocation " << nth;
        EXPECT_FALSE(outcome.clockThere) << "allocation " << nth;
        EXPECT_EQ(outcome.live, 0) << "allocation " << nth;
        EXPECT_EQ(plan.Calls(Service::MutexattrInit), plan.Calls(Service::MutexattrDestroy)) << "allocation " << nth;
    }
}

TEST_F(ApplicationTimeMemoryTest, FailureKeepsTheClockThatIsThere)
{
    InitApplicationTime();
    CQApplicationTime* const before = g_pApplicationTime;

    const SOutcome outcome = InitWithFailingAllocation(2);

    EXPECT_TRUE(outcome.thrown);
    EXPECT_EQ(g_pApplicationTime, before);
    FiniApplicationTime();
}

TEST_F(ApplicationTimeMemoryTest, RefusedThreadLeavesAClockWithoutIt)
{
    const RefusedThreads threads;
    const int sleeps = m_Clock.Sleeps();

    InitApplicationTime();

    EXPECT_NE(g_pApplicationTime, nullptr);
    EXPECT_EQ(threads.Refused(), 1);
    EXPECT_EQ(m_Clock.Sleeps(), sleeps);
    FiniApplicationTime();
}

TEST_F(ApplicationTimeMemoryTest, ReadingTheClockAllocatesNothing)
{
    InitApplicationTime();
    CountFrom(0);

    GetClockTime();

    t_Heap.counting = false;
    EXPECT_EQ(t_Heap.allocations, 0);
    FiniApplicationTime();
}

} // namespace
