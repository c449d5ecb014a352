#include "HeapCount.h"
#include "SystemCalls.h"
#include "TempDir.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/syscall.h>

#include <cstdarg>
#include <cstdlib>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

void LogText(int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_NONE, category, "LogPathTest.cpp", 7, format, args);
    va_end(args);
}

void LogOneOfEachKind()
{
    LogText(1, L"static text");
    LogText(1, L"%d and %d", 1, 2);
    LogText(1, L"mixed %d %ls %s %f %x", -5, L"wide", "narrow", 2.5, 255);
    LogText(-5, L"judged inside %d", 1);
    LogText(1000, L"judged inside %d", 2);
}

/// What a time-critical thread relies on: with automatic logging off, a log call stays in user space and off the heap.
class LogPathTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!CountsHeapCalls()) {
            GTEST_SKIP() << "a sanitizer allocates and makes system calls of its own";
        }
        EnableAutologging(false);
    }
    void TearDown() override
    {
        DispatchQueuedLogMessages();
        EnableAutologging(true);
    }
};

TEST_F(LogPathTest, AcceptedMessageAllocatesNothing)
{
    const unsigned long before = HeapCalls();
    for (int i = 0; i < 100; ++i) {
        LogOneOfEachKind();
    }
    EXPECT_EQ(HeapCalls() - before, 0U);
}

TEST_F(LogPathTest, DroppedMessageAllocatesNothing)
{
    for (int i = 0; i < 30000; ++i) {
        LogText(1, L"to fill the queue %d", i);
    }
    const unsigned long before = HeapCalls();
    LogOneOfEachKind();
    EXPECT_EQ(HeapCalls() - before, 0U);
}

TEST_F(LogPathTest, AcceptedMessageMakesNoSystemCall)
{
    const std::vector<long> calls = SystemCallsOf([] { LogOneOfEachKind(); },
                                                  [] {
                                                      for (int i = 0; i < 10; ++i) {
                                                          LogOneOfEachKind();
                                                      }
                                                  });
    EXPECT_THAT(calls, testing::IsEmpty());
}

TEST_F(LogPathTest, LineIsWrittenToTheConsoleWithOneSystemCall)
{
    const std::vector<long> calls = SystemCallsOf(
        [] {
            SetLogOptions(L"ldebug");
            EnableAutologging(true);
            LogText(1, L"the first line makes the stream's buffer");
        },
        [] { LogText(1, L"a line"); });
    EXPECT_THAT(calls, testing::ElementsAre(SYS_write));
}

TEST_F(LogPathTest, LineIsWrittenToAFileWithOneSystemCall)
{
    const TempDir dir;
    const std::vector<long> calls = SystemCallsOf(
        [&dir] {
            SetLogOptions((L"ldebug;L" + dir.Wide("log.txt")).c_str());
            EnableAutologging(true);
            LogText(1, L"the first line reads the time zone");
        },
        [] { LogText(1, L"a line"); });
    EXPECT_THAT(calls, testing::ElementsAre(SYS_write));
}

TEST_F(LogPathTest, LineIsWrittenToTheConsoleWithoutTheHeap)
{
    SetLogOptions(L"ldebug");
    EnableAutologging(true);
    LogText(1, L"the first line makes the stream's buffer");
    const unsigned long before = HeapCalls();
    LogText(1, L"a line");
    EXPECT_EQ(HeapCalls() - before, 0U);
    SetLogOptions(L"0");
}

TEST_F(LogPathTest, HeapCallsAreCounted)
{
    const unsigned long before = HeapCalls();
    void* volatile memory = std::malloc(1); // volatile: the pair is not optimised away
    std::free(memory);
    EXPECT_EQ(HeapCalls() - before, 2U);
}

} // namespace
