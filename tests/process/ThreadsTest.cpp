#include "RecordingLogger.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <map>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

constexpr int THREADS = 8;
constexpr int MESSAGES = 400; // of each thread: together less than the queue holds

void LogText(int category, const wchar_t* format, ...)
{
    if (!MustLog(category, LEVEL_INFO)) {
        return;
    }
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_INFO, category, "ThreadsTest.cpp", 7, format, args);
    va_end(args);
}

void RunThreads(int messages, int firstCategory)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([=] {
            for (int i = 0; i < messages; ++i) {
                LogText(firstCategory + thread, L"message %d of thread %d", i, thread);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Eight threads log numbered messages, each in a category of its own, to a logger that keeps them.
class ThreadsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
        RegisterLogger(&m_Logger, 1, &all);
    }
    void TearDown() override
    {
        UnRegisterLogger(&m_Logger);
        EnableAutologging(true);
    }

    /// Expects each thread's first messages, as many as arrived, in order and intact; returns how many arrived.
    std::size_t ExpectOrderPerThread(int firstCategory)
    {
        std::map<int, int> next;
        for (const SMessage& message : m_Logger.m_Messages) {
            const int thread = message.category - firstCategory;
            EXPECT_EQ(message.text,
                      L"message " + std::to_wstring(next[thread]++) + L" of thread " + std::to_wstring(thread));
        }
        return m_Logger.m_Messages.size();
    }

    RecordingLogger m_Logger;
};

TEST_F(ThreadsTest, EachMessageIsDeliveredOnceAndInOrderWithAutomaticLogging)
{
    RunThreads(MESSAGES, 0);

    EXPECT_EQ(ExpectOrderPerThread(0), std::size_t{THREADS * MESSAGES});
    EXPECT_TRUE(m_Logger.m_Dropped.empty());
}

TEST_F(ThreadsTest, CategoriesOutsideTheTableAreDeliveredToo)
{
    RunThreads(MESSAGES, 1000);

    EXPECT_EQ(ExpectOrderPerThread(1000), std::size_t{THREADS * MESSAGES});
}

TEST_F(ThreadsTest, EachMessageIsDeliveredOnceAndInOrderByADispatcher)
{
    EnableAutologging(false);
    std::atomic<bool> done{false};
    std::thread dispatcher([&done] {
        while (!done) {
            DispatchQueuedLogMessages();
            std::this_thread::yield();
        }
    });

    RunThreads(MESSAGES, 0);
    done = true;
    dispatcher.join();
    DispatchQueuedLogMessages();

    EXPECT_EQ(ExpectOrderPerThread(0), std::size_t{THREADS * MESSAGES});
}

TEST_F(ThreadsTest, DeliveredAndReportedDroppedMakeUpWhatWasSent)
{
    EnableAutologging(false);
    DispatchQueuedLogMessages();
    constexpr int MANY = 4000; // together more than the queue holds

    RunThreads(MANY, 0);
    DispatchQueuedLogMessages();

    const std::size_t delivered = ExpectOrderPerThread(0);
    ASSERT_EQ(m_Logger.m_Dropped.size(), 1U) << "one report for one dispatch";
    EXPECT_EQ(delivered + m_Logger.m_Dropped[0], std::size_t{THREADS * MANY});
    EXPECT_GT(m_Logger.m_Dropped[0], 0U);
}

TEST_F(ThreadsTest, ThresholdsMayBeReadWhileAFilterChanges)
{
    std::atomic<bool> done{false};
    std::thread reader([&done] {
        while (!done) {
            EXPECT_FALSE(MustLog(7, LEVEL_DEBUG - 1));
        }
    });

    for (int i = 0; i < 200; ++i) {
        const SLevelDef level = {7, i % 2 == 0 ? LEVEL_DEBUG : LEVEL_ERROR};
        ModifyFilter(&m_Logger, 1, &level);
    }
    done = true;
    reader.join();

    EXPECT_FALSE(MustLog(7, LEVEL_WARNING));
}

} // namespace
