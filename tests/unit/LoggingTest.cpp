#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cwchar>
#include <string>
#include <type_traits>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

static_assert(sizeof(SLevelDef) == 8);
static_assert(std::is_abstract_v<IQLogger> && std::has_virtual_destructor_v<IQLogger>);

/// Logs as an application does, without the guard in front.
void CallBuiltInLogging(int level, int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    BuiltInLogging(level, category, "app.cpp", 3, format, args);
    va_end(args);
}

/// Logs as the library does, with the guard in front.
void GuardedLog(int level, int category, const wchar_t* text)
{
    if (MustLog(category, level)) {
        LogHelperFunc(level, category, "app.cpp", 3, L"%ls", text);
    }
}

class LoggingTest : public testing::Test
{
protected:
    ~LoggingTest() override
    {
        UnRegisterLogger(&m_Logger);
        ResetBuiltInLogger();
    }
    void Listen(int level)
    {
        const SLevelDef all = {-1, level};
        RegisterLogger(&m_Logger, 1, &all);
    }

    RecordingLogger m_Logger;
};

TEST_F(LoggingTest, LoadedLibraryPublishesItsTableAndItsFunction)
{
    EXPECT_EQ(g_MaxLogLevels, 1000);
    ASSERT_NE(g_pLogLevels, nullptr);
    EXPECT_EQ(g_pLogLevels[0], 9999);
    EXPECT_EQ(g_pLogLevels[999], 9999);
    EXPECT_EQ(g_pLogFunc, BuiltInLogging);
}

TEST_F(LoggingTest, GuardStopsEveryNamedLevelWithoutALogger)
{
    EXPECT_FALSE(MustLog(0, 4000));
    EXPECT_FALSE(MustLog(999, 9998));
    EXPECT_TRUE(MustLog(0, 9999));
}

TEST_F(LoggingTest, GuardPassesCategoriesOutsideTheTableOn)
{
    EXPECT_TRUE(MustLog(-1, 0));
    EXPECT_TRUE(MustLog(1000, 0));
    EXPECT_TRUE(MustLog(-2147483647, -5));
    EXPECT_TRUE(MustLog(2147483647, -5));
}

TEST_F(LoggingTest, GuardFollowsTheRegisteredFilters)
{
    Listen(3000);

    EXPECT_FALSE(MustLog(0, 2999));
    EXPECT_TRUE(MustLog(0, 3000));
}

TEST_F(LoggingTest, MessageWithoutAnyLoggerIsConsumedByTheDispatch)
{
    CallBuiltInLogging(9999, 5, L"nobody listens");
    Listen(1000);

    DispatchQueuedLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

TEST_F(LoggingTest, LogCallDispatchesBeforeItReturns)
{
    Listen(1000);

    CallBuiltInLogging(4000, 5, L"%d", 12);

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"12"));
}

TEST_F(LoggingTest, LogCallDoesNotLookAtTheThresholdOfACategoryInTheTable)
{
    Listen(4000);
    EnableAutologging(false);
    CallBuiltInLogging(1000, 5, L"queued all the same");
    const SLevelDef all = {-1, 1000};
    ModifyFilter(&m_Logger, 1, &all);

    DispatchQueuedLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"queued all the same"));
}

TEST_F(LoggingTest, WithoutAutomaticLoggingMessagesWaitForADispatch)
{
    Listen(1000);
    EnableAutologging(false);
    CallBuiltInLogging(4000, 5, L"first");
    CallBuiltInLogging(4000, 5, L"second");
    const std::vector<std::wstring> deliveredByLogging = m_Logger.Texts();

    DispatchQueuedLogMessages();

    EXPECT_THAT(deliveredByLogging, IsEmpty());
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"first", L"second"));
}

TEST_F(LoggingTest, AutomaticLoggingSwitchedOnDeliversWhatWaitsWithTheNextMessage)
{
    Listen(1000);
    EnableAutologging(false);
    CallBuiltInLogging(4000, 5, L"waits");
    EnableAutologging(true);
    const std::vector<std::wstring> deliveredBySwitching = m_Logger.Texts();

    CallBuiltInLogging(4000, 5, L"next");

    EXPECT_THAT(deliveredBySwitching, IsEmpty());
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"waits", L"next"));
}

TEST_F(LoggingTest, LoggerThatLogsContinuesTheDispatchOnItsThread)
{
    Listen(1000);
    m_Logger.m_Hook = [](const SMessage& message) {
        if (message.text.size() < 4) {
            CallBuiltInLogging(4000, 5, L"%ls+", message.text.c_str());
        }
    };

    CallBuiltInLogging(4000, 5, L"a");

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"a", L"a+", L"a++", L"a+++"));
}

TEST_F(LoggingTest, LogCallPreservesErrno)
{
    Listen(1000);
    m_Logger.m_Hook = [](const SMessage&) { errno = EIO; };
    errno = EDOM;

    CallBuiltInLogging(4000, 5, L"text");

    EXPECT_EQ(errno, EDOM);
}

TEST_F(LoggingTest, LogCallWhoseTextDoesNotFitPreservesErrno)
{
    Listen(1000);
    errno = EDOM;

    CallBuiltInLogging(4000, 2000, L"%ls", std::wstring(1500, L'x').c_str());

    EXPECT_EQ(errno, EDOM);
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(std::wstring(999, L'x')));
}

/// A client has written to the exported number of categories in the table.
class LoggingWithoutTableTest : public LoggingTest, public testing::WithParamInterface<int>
{
protected:
    LoggingWithoutTableTest() { g_MaxLogLevels = GetParam(); }
    ~LoggingWithoutTableTest() override { g_MaxLogLevels = 1000; }
};

TEST_P(LoggingWithoutTableTest, CombinedFilterJudgesEveryMessage)
{
    const SLevelDef levels[] = {{-2, 3000}, {5, 4000}};
    RegisterLogger(&m_Logger, 2, levels);

    GuardedLog(2999, 6, L"below the default");
    GuardedLog(3000, 6, L"default");
    GuardedLog(3999, 5, L"below the category's");
    GuardedLog(4000, 5, L"category's");

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"default", L"category's"));
}

TEST_P(LoggingWithoutTableTest, MessageThatTheFilterStopsIsNotQueued)
{
    Listen(4000);
    EnableAutologging(false);
    CallBuiltInLogging(1000, 5, L"stopped");
    const SLevelDef all = {-1, 1000};
    ModifyFilter(&m_Logger, 1, &all);

    DispatchQueuedLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

TEST_P(LoggingWithoutTableTest, OtherFunctionsWorkAsEver)
{
    Listen(4000);
    EnableAutologging(false);
    const SLevelDef all = {-1, 1000};
    ModifyFilter(&m_Logger, 1, &all);
    CallBuiltInLogging(1000, 5, L"queued");
    DispatchQueuedLogMessages();
    UnRegisterLogger(&m_Logger);
    CallBuiltInLogging(9999, 5, L"for nobody");
    DispatchQueuedLogMessages();
    SetLogOptions(L"5");

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"queued"));
    EXPECT_EQ(g_pLogLevels[0], 1000);
    EXPECT_NE(GetStartTime(), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Numbers, LoggingWithoutTableTest, testing::Values(-1, -1000, -2147483647 - 1, 0));

TEST_F(LoggingTest, HelperPassesEverythingOn)
{
    Listen(1000);

    LogHelperFunc(3000, 17, "lib.cpp", 88, L"%ls=%d", L"n", 5);

    ASSERT_EQ(m_Logger.m_Messages.size(), 1u);
    EXPECT_EQ(m_Logger.m_Messages[0].level, 3000);
    EXPECT_EQ(m_Logger.m_Messages[0].category, 17);
    EXPECT_EQ(m_Logger.m_Messages[0].file, "lib.cpp");
    EXPECT_EQ(m_Logger.m_Messages[0].line, 88);
    EXPECT_EQ(m_Logger.m_Messages[0].text, L"n=5");
}

TEST_F(LoggingTest, HelperDoesNothingWithoutALogFunction)
{
    Listen(1000);

    SetLogFunc(nullptr);
    LogHelperFunc(4000, 5, "lib.cpp", 88, L"text");

    EXPECT_EQ(g_pLogFunc, nullptr);
    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

std::wstring g_ReplacementSaw;

void ReplacementLogFunc(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    wchar_t text[100];
    std::vswprintf(text, 100, format, args);
    g_ReplacementSaw = std::to_wstring(level) + L"," + std::to_wstring(category) + L"," + std::wstring(file, file + 7) +
                       L"," + std::to_wstring(line) + L"," + text;
}

TEST_F(LoggingTest, ReplacedLogFunctionGetsTheCallsInsteadOfTheQueue)
{
    Listen(1000);
    SetLogFunc(ReplacementLogFunc);

    LogHelperFunc(4000, 5, "lib.cpp", 88, L"%d", 6);

    EXPECT_EQ(g_ReplacementSaw, L"4000,5,lib.cpp,88,6");
    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

TEST_F(LoggingTest, ReplacingTheLogFunctionLeavesTheBuiltInOneWorking)
{
    Listen(1000);
    SetLogFunc(nullptr);

    CallBuiltInLogging(4000, 5, L"direct");

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"direct"));
}

TEST_F(LoggingTest, ModifyingThroughTheExportedFunctionChangesTheFilter)
{
    Listen(4000);
    const SLevelDef levels[] = {{-2, 3000}, {5, 1000}};

    ModifyFilter(&m_Logger, 2, levels);
    GuardedLog(1000, 5, L"named");
    GuardedLog(3000, 6, L"default");
    GuardedLog(2000, 6, L"stopped");

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"named", L"default"));
}

TEST_F(LoggingTest, UnregisteredLoggerGetsNothingMore)
{
    Listen(1000);

    UnRegisterLogger(&m_Logger);
    GuardedLog(4000, 5, L"too late");

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
    EXPECT_FALSE(MustLog(5, 4000));
}

TEST_F(LoggingTest, MessageTimesPlusTheStartTimeAreWallClockTimes)
{
    EXPECT_EQ(GetStartTime(), g_Logger.GetStartTime());
    EXPECT_GT(GetStartTime() + CQLoggerFacade::GetTime(), 1500000000.0);
}

} // namespace
