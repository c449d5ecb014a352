#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"
#include "RecordingLogger.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool g_UnlocksFail = false;
std::vector<pthread_mutex_t*> g_Kept; // once for each release that failed

} // namespace

extern "C" {
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex); // NOLINT(bugprone-reserved-identifier)
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)  // NOLINT(bugprone-reserved-identifier)
{
    if (!g_UnlocksFail) {
        return __real_pthread_mutex_unlock(mutex);
    }
    g_Kept.push_back(mutex);
    return EPERM;
}
}

namespace {

const SLevelDef ALL = {CATEGORY_ALL, 1000};

void LogText(const wchar_t* text) { LogHelperFunc(4000, 5, "app.cpp", 3, L"%ls", text); }

/// What the exported calls do when no lock that they hold can be released: it stays locked.
class UnlockFaultTest : public testing::Test
{
protected:
    UnlockFaultTest()
    {
        ResetBuiltInLogger();
        RegisterLogger(&m_Logger, 1, &ALL);
    }
    ~UnlockFaultTest() override
    {
        UnRegisterLogger(&m_Logger);
        UnRegisterLogger(&m_Other);
        ResetBuiltInLogger();
    }

    /// What a call prints while no lock is released. Whether there was a lock to release is looked at.
    template <class Call>
    static std::string PrintedWhileUnlocksFail(Call call)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        g_UnlocksFail = true;
        call();
        g_UnlocksFail = false;
        EXPECT_FALSE(g_Kept.empty());
        for (pthread_mutex_t* const mutex : g_Kept) {
            __real_pthread_mutex_unlock(mutex);
        }
        g_Kept.clear();
        return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    }

    RecordingLogger m_Logger;
    RecordingLogger m_Other;
};

TEST_F(UnlockFaultTest, LogCallDeliversItsMessage)
{
    const std::string printed = PrintedWhileUnlocksFail([] {
        LogText(L"one");
        LogText(L"two");
    });

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"one", L"two")) << "the thread takes what it holds once more";
    EXPECT_EQ(printed, "");
}

TEST_F(UnlockFaultTest, DispatchDeliversWhatIsQueued)
{
    EnableAutologging(false);
    LogText(L"one");
    LogText(L"two");

    const std::string printed = PrintedWhileUnlocksFail([] { DispatchQueuedLogMessages(); });

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"one", L"two"));
    EXPECT_EQ(printed, "");
}

TEST_F(UnlockFaultTest, LoggerIsRegistered)
{
    const std::string printed = PrintedWhileUnlocksFail([this] { RegisterLogger(&m_Other, 1, &ALL); });

    LogText(L"text");
    EXPECT_THAT(m_Other.Texts(), ElementsAre(L"text"));
    EXPECT_EQ(printed, "");
}

TEST_F(UnlockFaultTest, FilterIsChanged)
{
    const SLevelDef none = {CATEGORY_ALL, LEVEL_NONE};

    const std::string printed = PrintedWhileUnlocksFail([&] { ModifyFilter(&m_Logger, 1, &none); });

    EXPECT_EQ(g_pLogLevels[5], LEVEL_NONE);
    EXPECT_EQ(printed, "");
}

TEST_F(UnlockFaultTest, LoggerIsRemoved)
{
    const std::string printed = PrintedWhileUnlocksFail([this] { UnRegisterLogger(&m_Logger); });

    LogText(L"to nobody");
    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
    EXPECT_EQ(printed, "");
}

} // namespace
