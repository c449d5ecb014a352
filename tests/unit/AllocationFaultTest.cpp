#include "LoggingGlobals.h"

#include "AllocationInfoAccess.h"
#include "BuiltInLoggerReset.h"
#include "FailEachAllocation.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"
#include "TempDir.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/CQAllocationInfo.h>
#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>

#include <pthread.h>

#include <memory>
#include <string>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::EndsWith;

namespace {

void LogText(const wchar_t* text) { LogHelperFunc(4000, 5, "app.cpp", 3, L"%ls", text); }

/// What the exported calls do when each of their allocations fails in turn.
class AllocationFaultTest : public testing::Test
{
protected:
    AllocationFaultTest()
    {
        // When the map complains for the first time, ACE makes what it complains with.
        static_cast<void>(RunWithFailure(1, [] { const CQLogFilter filter; }));
        m_Clock.SetRealTime(1715953509); // 2024-05-17 13:45:09 UTC
        ResetBuiltInLogger();
    }
    ~AllocationFaultTest() override
    {
        UnRegisterLogger(&m_Logger);
        ResetBuiltInLogger();
    }

    std::wstring FileOptions(const wchar_t* others) const
    {
        return L"ldebug;L" + m_Dir.Wide("log/a-name-that-is-longer-%T-than-short.txt") + others;
    }
    std::string LoggedFile() const { return m_Dir.Read("log/a-name-that-is-longerthan-short.txt"); }

    /// Where the console was not selected away yet.
    static void LogWhereverItGoes()
    {
        testing::internal::CaptureStdout();
        LogText(L"anywhere");
        testing::internal::GetCapturedStdout();
    }
    static void ExpectDispatchMutexFree()
    {
        std::thread(DispatchQueuedLogMessages).join(); // would wait for ever
    }

    TempDir m_Dir;
    FakeClock m_Clock;
    RecordingLogger m_Logger;
};

TEST_F(AllocationFaultTest, LoggerIsRemovedAlsoWhenTheThresholdsCannotBeCombined)
{
    const SLevelDef ofBuiltIn[] = {{-2, 4000}, {7, 3000}, {8, 3000}};
    const SLevelDef all = {-1, 1000};
    RegisterLogger(&g_BuiltInLogger, 3, ofBuiltIn);
    g_LoggerRegistered = true;
    RegisterLogger(&m_Logger, 1, &all);

    const int failures = FailEachAllocation([&] { UnRegisterLogger(&m_Logger); },
                                            [&](long) {
                                                EXPECT_EQ(g_pLogLevels[5], 1000) << "left as it was";
                                                SetLogOptions(L"0");
                                                LogText(L"to nobody");
                                                RegisterLogger(&m_Logger, 1, &all);
                                                ModifyFilter(&g_BuiltInLogger, 3, ofBuiltIn);
                                            });

    EXPECT_GE(failures, 2) << "two categories of the combined filter";
    EXPECT_EQ(g_pLogLevels[5], 4000) << "the attempt with enough memory";
    EXPECT_TRUE(m_Logger.m_Messages.empty());
}

TEST_F(AllocationFaultTest, OptionsWithAFileLeaveALibraryThatLogs)
{
    const int failures = FailEachAllocation([&] { SetLogOptions(FileOptions(L";S1k;N2").c_str()); },
                                            [&](long) {
                                                LogWhereverItGoes();
                                                ExpectDispatchMutexFree();
                                                SetLogOptions(FileOptions(L"").c_str());
                                                LogText(L"alive");
                                                EXPECT_THAT(LoggedFile(), EndsWith(": alive\n"));
                                                ResetBuiltInLogger();
                                            });

    EXPECT_GE(failures, 10);
}

TEST_F(AllocationFaultTest, LogCallThatRotatesReportsAndTheNextOneWrites)
{
    SetLogOptions(FileOptions(L";S60;N1").c_str());

    const int failures = FailEachAllocation([] { LogText(L"fills the file"); },
                                            [&](long) {
                                                ExpectDispatchMutexFree();
                                                SetLogOptions(FileOptions(L"").c_str());
                                                LogText(L"alive");
                                                EXPECT_THAT(LoggedFile(), EndsWith(": alive\n"));
                                                SetLogOptions(FileOptions(L";S60;N1").c_str());
                                            });

    EXPECT_GE(failures, 5) << "names, and the list of old files";
}

TEST_F(AllocationFaultTest, DispatchThatRotatesKeepsWhatIsStillQueued)
{
    SetLogOptions(FileOptions(L";S60;N1").c_str());
    EnableAutologging(false);
    LogText(L"fills the file");
    LogText(L"still queued");

    const Outcome outcome = RunWithFailure(1, DispatchQueuedLogMessages);
    DispatchQueuedLogMessages();

    EXPECT_EQ(outcome, Outcome::Failed);
    EXPECT_EQ(m_Dir.Names("log").size(), 2U) << "the second line filled a file, too";
}

TEST_F(AllocationFaultTest, OptionsLeakNothing)
{
    const auto failEach = [&] {
        FailEachAllocation([&] { SetLogOptions(FileOptions(L";S1k;N2").c_str()); }, [](long) { ResetBuiltInLogger(); });
        ResetBuiltInLogger();
    };
    failEach(); // what is allocated once and kept, the traces of the tests included
    const long live = LiveAllocations();

    failEach();

    EXPECT_EQ(LiveAllocations(), live);
}

TEST_F(AllocationFaultTest, CallsThatNeedNoMemoryDoNotNoticeItsLack)
{
    InitApplicationTime();
    SetLogOptions(FileOptions(L"").c_str());

    const Outcome outcome = RunWithFailure(1, [] {
        LogText(L"a line without a rotation");
        DispatchQueuedLogMessages();
        EnableAutologging(true);
        SetLogFunc(BuiltInLogging);
        GetStartTime();
        GetClockTime();
        GetEepromDate();
        SetClockTime(1715953600.0);
    });

    EXPECT_EQ(outcome, Outcome::Completed);
    m_Clock.ReleaseSleepers();
    FiniApplicationTime();
}

// Longer than the characters that a wide string keeps inside itself.
constexpr wchar_t FILE_NAME[] = L"src/some/folder/with/a/name.cpp";

struct SRegistryCall
{
    const char* name;
    void (*act)(CQAllocationInfo& registry, void* object);
    int failures; ///< At least; none is exact.
};

void PrintTo(const SRegistryCall& call, std::ostream* out) { *out << call.name; }

/// The registry keeps its lock when an exception leaves it. Here it is taken back by force.
class AllocationFaultRegistryTest : public testing::TestWithParam<SRegistryCall>
{
protected:
    /// Asked from another thread, as the own one could take it twice. Not std::thread, whose memory that thread frees.
    bool IsLocked()
    {
        pthread_t thread{};
        pthread_create(&thread, nullptr, IsLockedElsewhere, &(*m_pRegistry.*MemberOf(MutexTag{})));
        void* locked = nullptr;
        pthread_join(thread, &locked);
        return locked != nullptr;
    }
    static void* IsLockedElsewhere(void* mutex)
    {
        auto& registryMutex = *static_cast<ACE_Thread_Mutex*>(mutex);
        if (registryMutex.tryacquire() != 0) {
            return mutex;
        }
        registryMutex.release();
        return nullptr;
    }

    void MakeRegistry()
    {
        m_pRegistry = std::make_unique<CQAllocationInfo>();
        m_pRegistry->EnableAddInfo(true);
        m_pRegistry->AddInfo(FILE_NAME, 10, m_Objects, 8);
        m_pRegistry->AddLineNumberUsedForMemoryDump(10);
    }

    char m_Objects[100] = {};
    std::unique_ptr<CQAllocationInfo> m_pRegistry;
};

TEST_P(AllocationFaultRegistryTest, FailureIsReportedWithTheRegistryLockedAndNothingLeaks)
{
    Outcome outcome = Outcome::Failed;
    int nth = 0;
    while (outcome != Outcome::Completed) {
        SCOPED_TRACE(++nth);
        const long live = LiveAllocations();
        MakeRegistry();

        outcome = RunWithFailure(nth, [this] { GetParam().act(*m_pRegistry, m_Objects + 50); });

        const bool locked = IsLocked();
        if (locked) {
            (*m_pRegistry.*MemberOf(MutexTag{})).release();
        }
        m_pRegistry.reset();
        EXPECT_EQ(LiveAllocations(), live);
        ASSERT_EQ(locked, outcome == Outcome::Failed);
    }
    EXPECT_GE(nth - 1, GetParam().failures);
    EXPECT_EQ(nth == 1, GetParam().failures == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, AllocationFaultRegistryTest,
    testing::Values(
        SRegistryCall{"AddInfo",
                      [](CQAllocationInfo& r, void* o) { r.AddInfo(L"src/another/folder/other.cpp", 1, o, 8); }, 5},
        SRegistryCall{"AddInfoOfAKnownSite", [](CQAllocationInfo& r, void* o) { r.AddInfo(FILE_NAME, 10, o, 8); }, 2},
        SRegistryCall{"TryRemoveInfo",
                      [](CQAllocationInfo& r, void* o) { r.TryRemoveInfo(static_cast<char*>(o) - 50); }, 1},
        SRegistryCall{"ClearInfo", [](CQAllocationInfo& r, void*) { r.ClearInfo(); }, 0},
        SRegistryCall{"AddLineNumber", [](CQAllocationInfo& r, void*) { r.AddLineNumberUsedForMemoryDump(11); }, 1},
        SRegistryCall{"AddObjectSize", [](CQAllocationInfo& r, void*) { r.AddObjectSizeUsedForMemoryDump(8); }, 1},
        SRegistryCall{"ClearSelections", [](CQAllocationInfo& r, void*) { r.ClearMemoryDumpSelections(); }, 0},
        SRegistryCall{"IsAddInfoEnabled", [](CQAllocationInfo& r, void*) { r.IsAddInfoEnabled(); }, 0},
        SRegistryCall{"EnableAddInfo", [](CQAllocationInfo& r, void*) { r.EnableAddInfo(false); }, 0},
        SRegistryCall{"DumpInfo", [](CQAllocationInfo& r, void*) { r.DumpInfo(5); }, 3}),
    [](const testing::TestParamInfo<SRegistryCall>& call) { return std::string(call.param.name); });

} // namespace
