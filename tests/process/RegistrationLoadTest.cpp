#include "HeapInUse.h"
#include "TestDepth.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <functional>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

constexpr int THREADS = 4;

int Cycles() { return ByDepth(2000, 100000); }

void LogText(int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_INFO, category, "load.cpp", 7, format, args);
    va_end(args);
}

/// Counts. Leaves the strings alone: the ring is full, and the room of what is delivered may be written again.
class CountingLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override
    {
        ++m_Delivered;
        if (m_OnLog) {
            m_OnLog();
        }
    }
    void MessagesDropped(unsigned int count) override { m_Dropped += static_cast<long>(count); }
    void SetErrorHandler(IQErrorHandler*) override {}

    long m_Delivered = 0;
    long m_Dropped = 0;
    std::function<void()> m_OnLog;
};

/// Four threads log as fast as they can, and the thread that dispatches changes the registrations.
class RegistrationLoadTest : public testing::Test
{
protected:
    void SetUp() override
    {
        EnableAutologging(false);
        const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
        RegisterLogger(&m_Logger, 1, &all);
        for (int thread = 0; thread < THREADS; ++thread) {
            m_Threads.emplace_back([this, thread] {
                while (!m_Done) {
                    LogText(thread, L"a text of always the same length");
                    ++m_Sent;
                }
            });
        }
    }
    void TearDown() override
    {
        UnRegisterLogger(&m_Logger);
        EnableAutologging(true);
    }

    /// One logger comes, gets another filter, and goes.
    void Cycle()
    {
        const SLevelDef levels[] = {{CATEGORY_DEFAULT, LEVEL_ERROR}, {3, LEVEL_DEBUG}, {2000, LEVEL_INFO}};
        RegisterLogger(&m_Guest, 3, levels);
        const SLevelDef more[] = {{4, LEVEL_WARNING}, {3, LEVEL_NONE}};
        ModifyFilter(&m_Guest, 2, more);
        UnRegisterLogger(&m_Guest);
    }

    void StopThreads()
    {
        m_Done = true;
        for (std::thread& thread : m_Threads) {
            thread.join();
        }
        DispatchQueuedLogMessages();
    }

    CountingLogger m_Logger;
    CountingLogger m_Guest;
    std::vector<std::thread> m_Threads;
    std::atomic<bool> m_Done{false};
    std::atomic<long> m_Sent{0};
};

TEST_F(RegistrationLoadTest, LoggerThatComesAndGoesBetweenDispatchesLeavesNothing)
{
    Cycle();
    const std::size_t before = HeapInUse();

    for (int i = 0; i < Cycles(); ++i) {
        Cycle();
    }
    const std::size_t after = HeapInUse();
    StopThreads();

    EXPECT_TRUE(after == before || !FreedMemoryIsNotInUse()) << before << " bytes, then " << after;
    EXPECT_EQ(m_Guest.m_Delivered, 0);
    EXPECT_EQ(m_Logger.m_Delivered + m_Logger.m_Dropped, m_Sent) << "of the logger that stays";
}

TEST_F(RegistrationLoadTest, LoggerThatComesAndGoesInsideALoggersLogLeavesNothing)
{
    std::size_t before = 0;
    std::size_t after = 0;
    int cycles = 0;
    m_Logger.m_OnLog = [&] {
        m_Done = cycles > Cycles(); // a dispatch goes on for as long as others log faster than it delivers
        if (!m_Done) {
            Cycle();
            ++cycles;
            std::size_t& measured = cycles == 1 ? before : after;
            measured = HeapInUse();
        }
    };

    while (!m_Done) {
        DispatchQueuedLogMessages();
    }
    StopThreads();

    EXPECT_TRUE(after == before || !FreedMemoryIsNotInUse()) << before << " bytes, then " << after;
    EXPECT_EQ(m_Guest.m_Delivered, 0) << "who comes in front of the list does not get the message under way";
    EXPECT_EQ(m_Logger.m_Delivered + m_Logger.m_Dropped, m_Sent);
}

} // namespace
