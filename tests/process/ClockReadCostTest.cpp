#include "HeapCount.h"
#include "SystemCalls.h"

#include <QuarnLogging/ApplicationTime.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

using namespace QuarnTest;

namespace {

constexpr int READS = 1000;

std::atomic<bool> g_Sleeping;
std::atomic<bool> g_Wake;

/// With the update thread in its sleep, after its first update: no reader has to wait for it.
void InitAndWaitForTheFirstUpdate()
{
    g_Sleeping = false;
    g_Wake = false;
    InitApplicationTime();
    while (!g_Sleeping) {
        sched_yield();
    }
}

void ReadManyTimes()
{
    for (int read = 0; read < READS; ++read) {
        GetClockTime();
    }
}

class ClockReadCostTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!CountsHeapCalls()) {
            GTEST_SKIP() << "a sanitizer allocates and makes system calls of its own";
        }
    }
};

} // namespace

// Comes before the C library's, for the library too.
extern "C" int nanosleep(const timespec* /*duration*/, timespec* /*rest*/)
{
    g_Sleeping = true;
    while (!g_Wake) {
        const timespec moment = {0, 1000000};
        syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &moment, nullptr);
    }
    return 0;
}

namespace {

TEST_F(ClockReadCostTest, ReadingAllocatesNothing)
{
    InitAndWaitForTheFirstUpdate();
    const unsigned long before = HeapCalls();

    ReadManyTimes();

    EXPECT_EQ(HeapCalls() - before, 0U);
    g_Wake = true;
    FiniApplicationTime();
}

TEST_F(ClockReadCostTest, UncontendedReadingMakesNoSystemCall)
{
    const std::vector<long> calls = SystemCallsOf(InitAndWaitForTheFirstUpdate, ReadManyTimes);

    EXPECT_THAT(calls, testing::IsEmpty());
}

TEST_F(ClockReadCostTest, SystemCallsAreSeen)
{
    const std::vector<long> calls = SystemCallsOf(InitAndWaitForTheFirstUpdate, [] {
        ReadManyTimes();
        sched_yield();
    });

    EXPECT_THAT(calls, testing::ElementsAre(SYS_sched_yield));
}

} // namespace
