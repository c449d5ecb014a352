#include "CQLogFilter.h"
#include "CQLoggerFacade.h"
#include "CQOptionParser.h"
#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "FailEachAllocation.h"
#include "LogTo.h"
#include "RecordingLogger.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class MemoryExhaustionTest : public testing::Test
{
protected:
    MemoryExhaustionTest()
    {
        // When the map complains for the first time, ACE makes what it complains with.
        static_cast<void>(RunWithFailure(1, [] { const CQLogFilter filter; }));
        ResetBuiltInLogger();
    }
    ~MemoryExhaustionTest() override { ResetBuiltInLogger(); }

    static std::string Printed(int level, int category)
    {
        testing::internal::CaptureStdout();
        if (MustLog(category, level)) {
            LogHelperFunc(level, category, "app.cpp", 3, L"text");
        }
        return testing::internal::GetCapturedStdout();
    }
};

/// A facade with one logger that hears category 5 from 2000 on, category 1000 from 3000 on and all else from 4000 on.
class MemoryExhaustionFacadeTest : public MemoryExhaustionTest
{
protected:
    MemoryExhaustionFacadeTest()
    {
        const SLevelDef levels[] = {{-2, 4000}, {5, 2000}, {1000, 3000}};
        m_Facade.RegisterLogger(&m_Earlier, 3, levels);
    }

    void ExpectAsBefore()
    {
        EXPECT_EQ(g_pLogLevels[4], 4000);
        EXPECT_EQ(g_pLogLevels[5], 2000);
        EXPECT_EQ(g_pLogLevels[7], 4000);
        m_Earlier.m_Messages.clear();
        LogTo(m_Facade, 4000, 4, L"for both, if there are two");
        LogTo(m_Facade, 3000, 1000, L"outside the table");
        LogTo(m_Facade, 2999, 1000, L"stopped");
        LogTo(m_Facade, 3999, 1001, L"stopped");
        m_Facade.DispatchLogMessages();
        EXPECT_THAT(m_Earlier.Texts(), ElementsAre(L"for both, if there are two", L"outside the table"));
        EXPECT_THAT(m_Later.Texts(), IsEmpty());
    }
    void ExpectRegistrationMutexFree()
    {
        std::thread([this] { m_Facade.UnRegisterLogger(&m_Later); }).join(); // would wait for ever
    }

    CQLoggerFacade m_Facade;
    RecordingLogger m_Earlier;
    RecordingLogger m_Later;
};

TEST_F(MemoryExhaustionFacadeTest, LoggerThatCannotBeRegisteredLeavesNoTrace)
{
    const SLevelDef levels[] = {{-2, 1000}, {7, 3000}, {1000, 1000}, {2000, 3000}};

    const int failures = FailEachAllocation([&] { m_Facade.RegisterLogger(&m_Later, 4, levels); },
                                            [&](long kept) {
                                                EXPECT_EQ(kept, 0);
                                                ExpectAsBefore();
                                                ExpectRegistrationMutexFree();
                                            });

    EXPECT_GE(failures, 9) << "the entry, its map and three categories, and five categories of the combined filter";
    EXPECT_EQ(g_pLogLevels[4], 1000) << "the attempt with enough memory";
}

TEST_F(MemoryExhaustionFacadeTest, LoggerRegisteredAfterAFailureGetsEachMessageOnce)
{
    const SLevelDef all = {-1, 1000};
    FailEachAllocation([&] { m_Facade.RegisterLogger(&m_Later, 1, &all); }, [](long) {});

    LogTo(m_Facade, 4000, 4, L"text");
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Later.Texts(), ElementsAre(L"text"));
}

TEST_F(MemoryExhaustionFacadeTest, FilterThatCannotBeModifiedCanBeLater)
{
    const SLevelDef levels[] = {{7, 3000}, {8, 3000}, {2000, 1000}};
    m_Facade.RegisterLogger(&m_Later, 0, nullptr);

    const int failures = FailEachAllocation([&] { m_Facade.ModifyFilter(&m_Later, 3, levels); },
                                            [&](long) {
                                                EXPECT_EQ(g_pLogLevels[5], 2000) << "the other logger's";
                                                const SLevelDef none = {-1, 9999};
                                                m_Facade.ModifyFilter(&m_Later, 1, &none);
                                                ExpectAsBefore();
                                            });

    EXPECT_GE(failures, 8) << "three categories, and five of the combined filter";
    EXPECT_EQ(g_pLogLevels[7], 3000);
    EXPECT_EQ(g_pLogLevels[8], 3000);
}

TEST_F(MemoryExhaustionFacadeTest, FilterThatCannotBeModifiedLeaksNothing)
{
    const SLevelDef levels[] = {{7, 3000}, {8, 3000}, {2000, 1000}};
    const SLevelDef none = {-1, 9999};
    m_Facade.RegisterLogger(&m_Later, 1, &none);

    FailEachAllocation([&] { m_Facade.ModifyFilter(&m_Later, 3, levels); },
                       [&](long kept) {
                           const long live = LiveAllocations();
                           m_Facade.ModifyFilter(&m_Later, 1, &none); // gives back what was applied
                           EXPECT_EQ(kept + LiveAllocations() - live, 0);
                       });
}

TEST_F(MemoryExhaustionFacadeTest, FilterThatCannotBeModifiedReleasesTheRegistrationMutex)
{
    const SLevelDef levels[] = {{7, 3000}};
    m_Facade.RegisterLogger(&m_Later, 0, nullptr);

    const Outcome outcome = RunWithFailure(1, [&] { m_Facade.ModifyFilter(&m_Later, 1, levels); });

    EXPECT_EQ(outcome, Outcome::Failed);
    ExpectRegistrationMutexFree();
}

TEST_F(MemoryExhaustionFacadeTest, FacadeThatCannotBeMadePublishesNothing)
{
    int* const published = g_pLogLevels;

    const int failures = FailEachAllocation([] { CQLoggerFacade facade; },
                                            [&](long kept) {
                                                EXPECT_EQ(kept, 0);
                                                EXPECT_EQ(g_pLogLevels, published);
                                                EXPECT_EQ(g_MaxLogLevels, 1000);
                                            });

    EXPECT_GE(failures, 2) << "the combined filter's map and the queue";
    EXPECT_EQ(g_pLogLevels, published);
}

TEST_F(MemoryExhaustionFacadeTest, LoggingAllocatesNothing)
{
    m_Facade.DispatchLogMessages();

    const Outcome outcome = RunWithFailure(1, [&] { LogTo(m_Facade, 4000, 1000, L"%d %ls", 5, L"text"); });

    EXPECT_EQ(outcome, Outcome::Completed);
}

using MemoryExhaustionParserTest = MemoryExhaustionTest;

TEST_F(MemoryExhaustionParserTest, StringThatCannotBeKeptIsReportedNotShortened)
{

    const int failures = FailEachAllocation(
        [] {
            CQOptionParser parser;
            parser.ParseOptions(L"Llog;S10k;N5;Lfile-with-a-longer-name");
        },
        [&](long kept) { EXPECT_EQ(kept, 0); });

    EXPECT_GE(failures, 5) << "the level settings, two pieces of the name, two numbers";
}

TEST_F(MemoryExhaustionParserTest, LevelSettingsThatCannotGrowAreReported)
{
    std::wstring options = L"o";
    for (int i = 0; i < 33; ++i) {
        options += L"7E";
    }

    const int failures = FailEachAllocation(
        [&] {
            CQOptionParser parser;
            parser.ParseOptions(options.c_str());
        },
        [&](long kept) { EXPECT_EQ(kept, 0); });

    EXPECT_EQ(failures, 2) << "room for 32, then for 64";
}

using MemoryExhaustionOptionsTest = MemoryExhaustionTest;

TEST_F(MemoryExhaustionOptionsTest, FirstOptionsThatCannotBeAppliedLeaveTheLoggerUnregistered)
{

    const int failures = FailEachAllocation([] { SetLogOptions(L"ldebug;o7E12w;c"); },
                                            [&](long kept) {
                                                EXPECT_EQ(kept, 0);
                                                EXPECT_FALSE(g_LoggerRegistered);
                                                EXPECT_FALSE(g_BuiltInLogger.m_UseColor);
                                                EXPECT_EQ(Printed(4000, 5), "");
                                            });

    EXPECT_GE(failures, 8) << "settings, array, entry, map, and two categories in both filters";
}

TEST_F(MemoryExhaustionOptionsTest, OptionsAppliedAfterAFailurePrintEachMessageOnce)
{
    FailEachAllocation([] { SetLogOptions(L"ldebug;o7E12w"); }, [](long) {});

    const std::string printed = Printed(4000, 5);

    EXPECT_THAT(printed, testing::MatchesRegex("app\\.cpp:3: error: m=5 [^\n]*: text\n"));
}

TEST_F(MemoryExhaustionOptionsTest, LaterOptionsThatCannotBeReadLeaveTheLoggerAsItWas)
{
    SetLogOptions(L"lwarning");

    const int failures = FailEachAllocation([] { SetLogOptions(L"ldebug;c"); },
                                            [&](long kept) {
                                                EXPECT_EQ(kept, 0);
                                                EXPECT_FALSE(g_BuiltInLogger.m_UseColor);
                                                EXPECT_FALSE(MustLog(5, 2000));
                                                EXPECT_TRUE(MustLog(5, 3000));
                                            });

    EXPECT_GE(failures, 2) << "settings and array";
    EXPECT_TRUE(g_BuiltInLogger.m_UseColor) << "the attempt with enough memory";
}

TEST_F(MemoryExhaustionOptionsTest, ShortcutThatCannotBeRegisteredLeavesTheLoggerUnregistered)
{

    const int failures = FailEachAllocation([] { SetLogOptions(L"5"); },
                                            [&](long kept) {
                                                EXPECT_EQ(kept, 0);
                                                EXPECT_FALSE(g_LoggerRegistered);
                                                EXPECT_FALSE(MustLog(5, 4000));
                                            });

    EXPECT_GE(failures, 2) << "the entry and its map";
    EXPECT_TRUE(MustLog(5, 1000));
}

} // namespace
