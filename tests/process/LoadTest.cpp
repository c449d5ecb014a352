#include "HeapCount.h"
#include "TestDepth.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cwchar>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

// Every message of this program makes a record of 57 + 4 x 8 + 8 = 97 bytes, rounded up to 100. 20,970 of them fit into
// the 2,097,072 bytes of the ring, and the rest of 72 bytes takes none: each lap wraps at 2,097,000. No lap reaches
// beyond the wrap point of the one before, so the reader never leaves its way, and the account is exact whatever the
// threads do. What happens to records of different sizes is predicted in tests/model/OverloadModelTest.cpp.
constexpr int RECORDS_IN_RING = 20970;

constexpr int THREADS = 8;

/// Of each thread.
int Messages() { return ByDepth(15000, 600000); }

/// The number is also the line of the source position.
void LogNumber(int thread, const wchar_t* format, int number, ...)
{
    va_list args;
    va_start(args, number);
    g_pLogFunc(LEVEL_INFO, thread, "load.cpp", number, format, args);
    va_end(args);
}

/// Counts what it gets. Its numbers are the dispatching thread's; the facade's lock passes them on to the next one.
class CountingLogger : public IQLogger
{
public:
    void Log(int, int category, double, unsigned int, const char*, int line, const wchar_t* text) override
    {
        int& last = m_Last.at(static_cast<std::size_t>(category));
        m_OutOfOrder += static_cast<int>(line <= last);
        last = line;
        if (m_ReadsTexts) {
            m_WrongTexts += static_cast<int>(std::wcstol(text, nullptr, 10) != line);
        }
        m_Delivered.fetch_add(1, std::memory_order_release);
    }
    void MessagesDropped(unsigned int count) override { m_Dropped += count; }
    void SetErrorHandler(IQErrorHandler*) override {}

    /// Off where the ring is full: the room of a record is free once it was handed over, so its strings may then be
    /// overwritten while a logger reads them. Its numbers are safe.
    bool m_ReadsTexts = true;
    std::atomic<long> m_Delivered{0};
    unsigned long m_Dropped = 0;
    int m_OutOfOrder = 0;
    int m_WrongTexts = 0;
    std::array<int, THREADS> m_Last{};
};

/// Eight threads log as fast as they can.
class LoadTest : public testing::Test
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

    /// Runs the threads to their end. Each waits in front of a message as long as it has to.
    template <class MustWait>
    void RunThreads(const MustWait& mustWait)
    {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([this, thread, &mustWait] {
                const int messages = Messages();
                const unsigned long before = HeapCalls();
                for (int number = 1; number <= messages; ++number) {
                    while (mustWait()) {
                        std::this_thread::yield();
                    }
                    LogNumber(thread, L"%08d", number, number);
                    m_Sent.fetch_add(1, std::memory_order_relaxed);
                }
                m_HeapCalls += HeapCalls() - before;
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    /// Dispatches whenever it is time, until the threads are done.
    template <class IsTime, class MustWait>
    void RunThreadsAndDispatcher(const IsTime& isTime, const MustWait& mustWait)
    {
        EnableAutologging(false);
        std::atomic<bool> done{false};
        std::thread dispatcher([&] {
            const unsigned long before = HeapCalls();
            while (!done) {
                if (isTime()) {
                    DispatchQueuedLogMessages();
                }
                std::this_thread::yield();
            }
            DispatchQueuedLogMessages();
            m_HeapCalls += HeapCalls() - before;
        });
        RunThreads(mustWait);
        done = true;
        dispatcher.join();
    }

    CountingLogger m_Logger;
    std::atomic<long> m_Sent{0};
    std::atomic<unsigned long> m_HeapCalls{0}; ///< Of the threads and the dispatcher.
};

TEST_F(LoadTest, AutomaticLoggingDeliversEveryMessageOnceInOrderAndIntact)
{
    RunThreads([] { return false; });

    EXPECT_EQ(m_Logger.m_Delivered, long{THREADS} * Messages());
    EXPECT_EQ(m_Logger.m_Dropped, 0U);
    EXPECT_EQ(m_Logger.m_OutOfOrder, 0);
    EXPECT_EQ(m_Logger.m_WrongTexts, 0);
    EXPECT_EQ(m_HeapCalls, 0U);
}

TEST_F(LoadTest, DispatcherThatKeepsUpDeliversEveryMessageOnceInOrderAndIntact)
{
    RunThreadsAndDispatcher([] { return true; },
                            [this] { return m_Sent - m_Logger.m_Delivered > RECORDS_IN_RING / 2; });

    EXPECT_EQ(m_Logger.m_Delivered, long{THREADS} * Messages());
    EXPECT_EQ(m_Logger.m_Dropped, 0U);
    EXPECT_EQ(m_Logger.m_OutOfOrder, 0);
    EXPECT_EQ(m_Logger.m_WrongTexts, 0);
    EXPECT_EQ(m_HeapCalls, 0U);
}

TEST_F(LoadTest, DispatcherThatComesTooLateDeliversInOrderAndReportsExactlyTheRest)
{
    m_Logger.m_ReadsTexts = false;
    long next = 0;

    RunThreadsAndDispatcher(
        [this, &next] {
            const bool isTime = m_Sent >= next + RECORDS_IN_RING * 3 / 2;
            next = isTime ? m_Sent.load() : next;
            return isTime;
        },
        [] { return false; });

    EXPECT_EQ(m_Logger.m_Delivered + static_cast<long>(m_Logger.m_Dropped), long{THREADS} * Messages());
    EXPECT_GE(m_Logger.m_Delivered, long{RECORDS_IN_RING});
    EXPECT_GE(m_Logger.m_Dropped, static_cast<unsigned long>(RECORDS_IN_RING / 2)) << "before the first dispatch";
    EXPECT_EQ(m_Logger.m_OutOfOrder, 0) << "a thread's messages in another order, or one of them twice";
    EXPECT_EQ(m_HeapCalls, 0U);
}

} // namespace
