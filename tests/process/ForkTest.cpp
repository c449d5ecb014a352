#include "Subprocess.h"
#include "TempDir.h"
#include "TestDepth.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <functional>
#include <string>
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

/// Counts what the forking thread logs. The hook runs inside of Log.
class CountingLogger : public IQLogger
{
public:
    void Log(int, int category, double, unsigned int, const char*, int, const wchar_t*) override
    {
        m_OfForker += static_cast<int>(category == CATEGORY_OF_FORKER || category == CATEGORY_OUTSIDE_TABLE);
        if (m_Hook && category == CATEGORY_OF_FORKER) {
            m_Hook();
        }
    }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}

    int m_OfForker = 0;
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
    int LogInChild()
    {
        const int before = m_Logger.m_OfForker;
        LogText(CATEGORY_OF_FORKER, L"of the child");
        LogText(CATEGORY_OUTSIDE_TABLE, L"of the child");
        DispatchQueuedLogMessages();
        const SLevelDef level = {7, LEVEL_ERROR};
        ModifyFilter(&m_Logger, 1, &level);
        return m_Logger.m_OfForker - before;
    }

    /// Runs four threads beside an operation. Each repeats the same thing.
    template <class Work, class Operation>
    static void Beside(const Work& work, const Operation& operation)
    {
        std::atomic<bool> done{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                while (!done) {
                    work();
                }
            });
        }
        operation();
        done = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    int ForkOften(int expected)
    {
        int failures = 0;
        for (int i = 0; i < ByDepth(100, 1000); ++i) {
            failures += static_cast<int>(Fork([this] { return LogInChild(); }) != expected);
        }
        return failures;
    }

    CountingLogger m_Logger;
};

TEST_F(ForkTest, ChildOfASingleThreadLogs)
{
    const int delivered = Fork([this] { return LogInChild(); });

    EXPECT_EQ(delivered, 2);
}

TEST_F(ForkTest, ParentLogsAfterAFork)
{
    Fork([] { return 0; });

    EXPECT_EQ(LogInChild(), 2);
}

TEST_F(ForkTest, ChildDeliversWhatWasQueuedAtTheForkAndSoDoesTheParent)
{
    EnableAutologging(false);
    LogText(CATEGORY_OF_FORKER, L"queued before the fork");

    const int delivered = Fork([this] { return LogInChild(); });
    DispatchQueuedLogMessages();

    EXPECT_EQ(delivered, 3);
    EXPECT_EQ(m_Logger.m_OfForker, 1);
}

TEST_F(ForkTest, ChildrenLogWhileOtherThreadsOfTheParentLogAndDispatch)
{
    int failures = 0;

    Beside([] { LogText(CATEGORY_OF_OTHERS, L"of another thread"); }, [&] { failures = ForkOften(2); });

    EXPECT_EQ(failures, 0);
    EXPECT_EQ(LogInChild(), 2) << "in the parent";
}

TEST_F(ForkTest, ChildrenLogWhileOtherThreadsOfTheParentReadTheirThresholds)
{
    int failures = 0;

    Beside([] { LogText(CATEGORY_OUTSIDE_TABLE + 1, L"looked up under the filter's lock"); },
           [&] { failures = ForkOften(2); });

    EXPECT_EQ(failures, 0);
}

TEST_F(ForkTest, ChildReadsTheClockThatOtherThreadsOfTheParentRead)
{
    InitApplicationTime();
    int failures = 0;

    Beside([] { GetClockTime(); },
           [&] {
               for (int i = 0; i < ByDepth(100, 1000); ++i) {
                   failures += Fork([] { return GetClockTime() > 0 ? 0 : 1; });
               }
           });
    FiniApplicationTime();

    EXPECT_EQ(failures, 0);
}

TEST_F(ForkTest, ChildOfALoggerLogsAndSoDoesTheParent)
{
    int delivered = 0;
    m_Logger.m_Hook = [&] {
        m_Logger.m_Hook = nullptr;
        delivered = Fork([this] { return LogInChild(); });
    };

    LogText(CATEGORY_OF_FORKER, L"delivered by a logger that forks");

    EXPECT_EQ(delivered, 2);
    EXPECT_EQ(m_Logger.m_OfForker, 1);
    EXPECT_EQ(LogInChild(), 2) << "in the parent";
}

} // namespace
