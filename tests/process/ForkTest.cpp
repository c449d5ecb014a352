#include "TestDepth.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

void LogText(int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_INFO, category, "fork.cpp", 7, format, args);
    va_end(args);
}

constexpr int CATEGORY_OF_OTHERS = 1;
constexpr int CATEGORY_OF_FORKER = 2;
constexpr int CATEGORY_OUTSIDE_TABLE = 2000;
constexpr int THREADS = 4;

/// Counts what the forking thread and the others log. The hook runs inside of Log.
class CountingLogger : public IQLogger
{
public:
    void Log(int, int category, double, unsigned int, const char*, int, const wchar_t*) override
    {
        m_OfForker += static_cast<int>(category == CATEGORY_OF_FORKER || category == CATEGORY_OUTSIDE_TABLE);
        m_OfOthers += static_cast<long>(category == CATEGORY_OF_OTHERS);
        if (m_Hook && category == CATEGORY_OF_FORKER) {
            m_Hook();
        }
    }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}

    int m_OfForker = 0;
    long m_OfOthers = 0;
    std::function<void()> m_Hook;
};

/// A process that logs and forks. A child tells by its exit code; it ends with _exit, as the destructors and the output
/// of this program are the parent's.
class ForkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const SLevelDef levels[] = {{CATEGORY_ALL, LEVEL_DEBUG}, {CATEGORY_OUTSIDE_TABLE, LEVEL_DEBUG}};
        RegisterLogger(&m_Logger, 2, levels);
    }
    void TearDown() override
    {
        UnRegisterLogger(&m_Logger);
        EnableAutologging(true);
    }

    /// The child's exit code, -1 if it had none.
    template <class Child>
    static int Fork(const Child& child)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            _exit(child());
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// Uses every lock; the number of messages delivered.
    int UseEverything()
    {
        const int before = m_Logger.m_OfForker;
        LogText(CATEGORY_OF_FORKER, L"in the table");
        LogText(CATEGORY_OUTSIDE_TABLE, L"outside of it");
        DispatchQueuedLogMessages();
        const SLevelDef level = {7, LEVEL_ERROR};
        ModifyFilter(&m_Logger, 1, &level);
        return m_Logger.m_OfForker - before;
    }

    CountingLogger m_Logger;
};

TEST_F(ForkTest, ChildOfASingleThreadLogs)
{
    const int delivered = Fork([this] { return UseEverything(); });

    EXPECT_EQ(delivered, 2);
}

TEST_F(ForkTest, ParentLogsAfterAFork)
{
    Fork([] { return 0; });

    EXPECT_EQ(UseEverything(), 2);
}

TEST_F(ForkTest, ChildDeliversWhatWasQueuedAtTheForkAndSoDoesTheParent)
{
    EnableAutologging(false);
    LogText(CATEGORY_OF_FORKER, L"queued before the fork");

    const int delivered = Fork([this] { return UseEverything(); });
    DispatchQueuedLogMessages();

    EXPECT_EQ(delivered, 3);
    EXPECT_EQ(m_Logger.m_OfForker, 1);
}

TEST_F(ForkTest, ChildLogsWhileTheOtherThreadsOfTheParentAreElsewhere)
{
    std::mutex elsewhere;
    std::unique_lock<std::mutex> hold(elsewhere);
    std::atomic<int> arrived{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            LogText(CATEGORY_OF_OTHERS, L"before the fork");
            ++arrived;
            const std::lock_guard<std::mutex> wait(elsewhere);
        });
    }
    while (arrived != THREADS) {
        std::this_thread::yield();
    }

    const int delivered = Fork([this] { return UseEverything(); });
    hold.unlock();
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(delivered, 2);
}

TEST_F(ForkTest, ForksDoNotDisturbTheThreadsThatLogMeanwhile)
{
    std::atomic<bool> done{false};
    std::atomic<long> sent{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                LogText(CATEGORY_OF_OTHERS, L"of another thread");
                ++sent;
            }
        });
    }

    int failures = 0;
    for (int i = 0; i < ByDepth(100, 1000); ++i) {
        failures += Fork([] { return 0; }); // all that a child may do whose parent's threads are anywhere
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(failures, 0);
    EXPECT_EQ(m_Logger.m_OfOthers, sent);
    EXPECT_EQ(UseEverything(), 2);
}

TEST_F(ForkTest, ParentLogsAfterALoggerHasForked)
{
    int exitCode = -1;
    m_Logger.m_Hook = [&] {
        m_Logger.m_Hook = nullptr;
        exitCode = Fork([] { return 5; });
    };

    LogText(CATEGORY_OF_FORKER, L"delivered by a logger that forks");

    EXPECT_EQ(exitCode, 5);
    EXPECT_EQ(UseEverything(), 2);
}

} // namespace
