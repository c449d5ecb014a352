#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"
#include "RefusedThreads.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;

namespace {

using Texts = std::vector<std::wstring>;

constexpr int EVERY = 1000; // more locks than any call takes
const SLevelDef ALL = {CATEGORY_ALL, 1000};

void LogText(const wchar_t* text) { LogHelperFunc(4000, 5, "app.cpp", 3, L"%ls", text); }

/// What the exported calls do when each of the locks that they take fails in turn.
class LockFaultTest : public testing::Test
{
protected:
    LockFaultTest()
    {
        ResetBuiltInLogger();
        RegisterLogger(&m_Logger, 1, &ALL);
    }
    ~LockFaultTest() override
    {
        UnRegisterLogger(&m_Logger);
        UnRegisterLogger(&m_Other);
        ResetBuiltInLogger();
    }

    /// Lets each lock of a call fail, one after the other. After each failure no lock may be held, and the library must
    /// work: what the logger has got then, a message logged after the failure included, is one entry of the result. In
    /// front of each call all locks can be taken for preparations.
    template <class Call, class Prepare = void (*)()>
    std::vector<Texts> AfterEachFailure(
        Call call, Prepare prepare = [] {})
    {
        std::vector<Texts> results;
        for (int nth = 1;; ++nth) {
            prepare();
            m_Logger.m_Messages.clear();
            bool hit = false;
            {
                FaultPlan plan;
                plan.Fail(Service::MutexLock, EINVAL, nth);
                call();
                hit = plan.Calls(Service::MutexLock) >= nth;
            }
            if (!hit) {
                return results;
            }
            std::thread([] { LogText(L"after"); }).join(); // would wait for ever
            std::thread([this] { UnRegisterLogger(&m_Other); }).join();
            results.push_back(m_Logger.Texts());
        }
    }

    RecordingLogger m_Logger;
    RecordingLogger m_Other;
};

TEST_F(LockFaultTest, LogCallLosesItsMessageToTheQueuesLockAndDelaysItToAnyOther)
{
    const std::vector<Texts> results = AfterEachFailure([] { LogText(L"text"); });

    const Texts delivered = {L"text", L"after"};
    EXPECT_THAT(results, ElementsAre(Texts{L"after"}, delivered, delivered, delivered, delivered, delivered))
        << "storing; dispatching, reading, releasing, filtering, looking for more";
}

TEST_F(LockFaultTest, LogCallWithoutDispatchTakesOneLock)
{
    EnableAutologging(false);

    const std::vector<Texts> results = AfterEachFailure([] { LogText(L"text"); });

    EXPECT_EQ(results.size(), 1U);
}

TEST_F(LockFaultTest, LoggerIsNotRegisteredWithoutTheLock)
{
    {
        FaultPlan plan;
        plan.Fail(Service::MutexLock, EINVAL, 1, EVERY);
        RegisterLogger(&m_Other, 1, &ALL);
    }

    LogText(L"text");
    EXPECT_THAT(m_Other.Texts(), ElementsAre());
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"text"));
}

TEST_F(LockFaultTest, RegistrationLeavesALibraryThatLogsWhicheverLockFails)
{
    const std::vector<Texts> results = AfterEachFailure([this] { RegisterLogger(&m_Other, 1, &ALL); });

    for (const Texts& texts : results) {
        EXPECT_THAT(texts, ElementsAre(L"after"));
    }
    EXPECT_GE(results.size(), 1000U) << "a threshold for each category";
    EXPECT_EQ(m_Other.m_Messages.size(), results.size() - 3)
        << "nothing without the lock of the registrations, or with one of the two that a filter for all takes";
}

TEST_F(LockFaultTest, LoggerStaysRegisteredWithoutTheLock)
{
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    UnRegisterLogger(&m_Logger);

    LogText(L"text");
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"text"));
}

TEST_F(LockFaultTest, FilterStaysAsItWasWithoutTheLock)
{
    const SLevelDef none = {CATEGORY_ALL, 9999};
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    ModifyFilter(&m_Logger, 1, &none);

    EXPECT_EQ(g_pLogLevels[5], 1000);
}

// Both filters pass the message that is logged afterwards. A filter in between would have to pass it, too.
TEST_F(LockFaultTest, ChangedFilterIsTheOldOneOrTheNewOneWhicheverLockFails)
{
    const SLevelDef errors = {CATEGORY_ALL, 4000};

    const std::vector<Texts> results =
        AfterEachFailure([this] { ModifyFilter(&m_Logger, 1, &ALL); }, [&] { ModifyFilter(&m_Logger, 1, &errors); });

    EXPECT_GE(results.size(), 1000U) << "a threshold for each category";
    for (const Texts& texts : results) {
        EXPECT_THAT(texts, ElementsAre(L"after"));
    }
    EXPECT_EQ(g_pLogLevels[5], 1000) << "of the call in which none failed";
}

TEST_F(LockFaultTest, ThresholdThatCouldNotBeCombinedIsRightAfterTheNextChange)
{
    std::vector<int> wrong;

    const std::vector<Texts> results = AfterEachFailure(
        [&] {
            ModifyFilter(&m_Logger, 1, &ALL);
            wrong.push_back(g_pLogLevels[5]);
        },
        [this] { ModifyFilter(&m_Logger, 1, &ALL); });

    EXPECT_EQ(results.size() + 1, wrong.size());
    EXPECT_THAT(wrong, Each(AnyOf(1000, LEVEL_NONE))) << "that of the logger, or that of none";
    EXPECT_THAT(wrong, Contains(LEVEL_NONE)) << "its filter did not get into the thresholds";
    EXPECT_EQ(g_pLogLevels[5], 1000);
}

TEST_F(LockFaultTest, LoggerIsRemovedWhicheverLockFailsButTheFirst)
{
    const std::vector<Texts> results =
        AfterEachFailure([this] { UnRegisterLogger(&m_Other); }, [this] { RegisterLogger(&m_Other, 1, &ALL); });

    EXPECT_GE(results.size(), 1000U) << "a threshold for each category";
    for (const Texts& texts : results) {
        EXPECT_THAT(texts, ElementsAre(L"after"));
    }
    EXPECT_THAT(m_Other.Texts(), ElementsAre(L"after")) << "without the lock of the registrations";
}

TEST_F(LockFaultTest, OptionsLeaveALibraryThatLogsWhicheverLockFails)
{
    const std::vector<Texts> results = AfterEachFailure([] { SetLogOptions(L"l0"); });

    for (const Texts& texts : results) {
        EXPECT_THAT(texts, ElementsAre(L"after"));
    }
    EXPECT_GE(results.size(), 1U);
}

TEST_F(LockFaultTest, DispatchDeliversTheRestLaterAndNothingTwice)
{
    const std::vector<Texts> results = AfterEachFailure([] {
        EnableAutologging(false);
        LogText(L"one");
        LogText(L"two");
        DispatchQueuedLogMessages();
        EnableAutologging(true);
    });

    const Texts delivered = {L"one", L"two", L"after"};
    ASSERT_GE(results.size(), 8U);
    for (std::size_t i = 2; i < results.size(); ++i) {
        EXPECT_EQ(results[i], delivered) << "lock " << i + 1;
    }
}

TEST_F(LockFaultTest, ClockIsReadWithoutItsLock)
{
    FakeClock clock;
    clock.SetRealTime(1000);
    const RefusedThreads noUpdates;
    InitApplicationTime();
    double time = 0;
    unsigned int date = 0;
    {
        FaultPlan plan;
        plan.Fail(Service::MutexLock, EINVAL, 1, EVERY);
        time = GetClockTime();
        date = GetEepromDate();
    }

    EXPECT_EQ(time, 1000.0);
    EXPECT_EQ(date, 0x010107B2u) << "1 January 1970";
    FiniApplicationTime();
}

} // namespace
