#include "AllocationInfoAccess.h"
#include "TempDir.h"

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/CQAllocationInfo.h>
#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sched.h>
#include <time.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::EndsWith;

namespace {

thread_local int t_Countdown; // at 1 the next allocation fails, at 0 and below none does

bool MustFail()
{
    if (t_Countdown <= 0 || --t_Countdown != 0) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

// The program's own definitions come before the C library's, for every library and for the C library itself: streams,
// folders and numbers, too, run out of memory here, not only what is allocated by new.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) noexcept { return MustFail() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) noexcept { return MustFail() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) noexcept { return MustFail() ? nullptr : __libc_realloc(memory, size); }
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void LogText(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_ERROR, 5, "app.cpp", 3, format, args);
    va_end(args);
}

class CountingLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override { ++m_Messages; }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}

    int m_Messages = 0;
};

/// Every allocation of a call fails in turn, those inside the C library included.
class MallocFaultTest : public testing::Test
{
protected:
    ~MallocFaultTest() override { SetLogOptions(L"l0"); }

    std::wstring Options(const wchar_t* others) const { return L"ldebug;L" + m_Dir.Wide("log/app-%T.txt") + others; }

    static long OpenDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

    /// After each failure the library has to log into a file, on another thread, and to keep no descriptor. The number
    /// of failures.
    int FailEach(const std::function<void()>& prepare, const std::function<void()>& act)
    {
        SetLogOptions(L"l0");
        const long descriptors = OpenDescriptors();
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(nth);
            prepare();
            t_Countdown = nth;
            try {
                act();
            } catch (const std::bad_alloc&) { // the documented way
            }
            const bool hit = std::exchange(t_Countdown, 0) == 0;
            SetLogOptions(Options(L"").c_str());
            std::thread([] { LogText(L"alive"); }).join(); // would wait for ever for a lock that was kept
            EXPECT_THAT(m_Dir.Read("log/app.txt"), EndsWith(": alive\n"));
            SetLogOptions(L"l0");
            std::filesystem::remove_all(m_Dir.Path() / "log");
            EXPECT_EQ(OpenDescriptors(), descriptors);
            if (!hit) {
                return nth - 1;
            }
        }
    }

    TempDir m_Dir;
};

TEST_F(MallocFaultTest, SelectionOfAFileLeavesALibraryThatLogs)
{
    const std::wstring options = Options(L";S1M;N2");

    const int failures = FailEach([] {}, [&] { SetLogOptions(options.c_str()); });

    EXPECT_GE(failures, 10);
}

TEST_F(MallocFaultTest, EndOfAFileLeavesALibraryThatLogs)
{
    const int failures = FailEach([&] { SetLogOptions(Options(L";N1").c_str()); }, [] { SetLogOptions(L"l0"); });

    EXPECT_GE(failures, 10) << "names, and the reading of the folder";
}

TEST_F(MallocFaultTest, LogCallThatFillsAFileLeavesALibraryThatLogs)
{
    const int failures =
        FailEach([&] { SetLogOptions(Options(L";S10;N1").c_str()); }, [] { LogText(L"%ls", L"fills the file"); });

    EXPECT_GE(failures, 5);
}

TEST_F(MallocFaultTest, LogCallWithALongNumberLeavesALibraryThatLogs)
{
    const int failures = FailEach([&] { SetLogOptions(Options(L"").c_str()); }, [] { LogText(L"%.50000f", 1e300); });

    EXPECT_GE(failures, 1) << "the digits of the C library";
}

TEST_F(MallocFaultTest, RegistrationLeavesALibraryThatLogs)
{
    CountingLogger logger;
    const SLevelDef levels[] = {{CATEGORY_ALL, 1000}, {7, 3000}, {1000, 3000}};

    const int failures = FailEach([&] { UnRegisterLogger(&logger); }, [&] { RegisterLogger(&logger, 3, levels); });

    EXPECT_GE(failures, 5);
    UnRegisterLogger(&logger);
}

TEST_F(MallocFaultTest, ChangeOfAFilterLeavesALibraryThatLogs)
{
    CountingLogger logger;
    const SLevelDef all = {CATEGORY_ALL, 1000};
    const SLevelDef levels[] = {{CATEGORY_ALL, 2000}, {7, 3000}, {1000, 3000}};
    RegisterLogger(&logger, 1, &all);

    const int failures = FailEach([&] { ModifyFilter(&logger, 1, &all); }, [&] { ModifyFilter(&logger, 3, levels); });

    EXPECT_GE(failures, 4) << "two categories, of the logger and of all";
    UnRegisterLogger(&logger);
}

TEST_F(MallocFaultTest, RemovalLeavesALibraryThatLogs)
{
    CountingLogger stays;
    CountingLogger goes;
    const SLevelDef levels[] = {{CATEGORY_ALL, 1000}, {7, 3000}, {1000, 3000}};
    RegisterLogger(&stays, 3, levels);

    const int failures = FailEach(
        [&] {
            UnRegisterLogger(&goes);
            RegisterLogger(&goes, 3, levels);
        },
        [&] { UnRegisterLogger(&goes); });

    EXPECT_GE(failures, 2) << "two categories of those that stay";
    UnRegisterLogger(&stays);
}

/// The registry stays locked when an exception leaves it, so that there is a new one each time.
TEST_F(MallocFaultTest, ReportOfTheAllocationsLeavesALibraryThatLogs)
{
    std::unique_ptr<CQAllocationInfo> registry;
    const auto makeRegistry = [&] {
        if (registry != nullptr) {
            (*registry.*MemberOf(MutexTag{})).tryacquire(); // whether it was locked or not
            (*registry.*MemberOf(MutexTag{})).release();
        }
        registry = std::make_unique<CQAllocationInfo>();
        registry->EnableAddInfo(true);
        registry->AddInfo(L"a.cpp", 10, this, 8);
        registry->AddLineNumberUsedForMemoryDump(10);
    };

    const int failures = FailEach(makeRegistry, [&] { registry->DumpInfo(5); });

    EXPECT_GE(failures, 3);
}

/// A file of a time zone that has been UTC for as long as can be told, under another name of three letters.
std::string ZoneFile(const std::string& name)
{
    const auto head = std::string("TZif2") + std::string(15, '\0') + std::string(15, '\0') + '\1' + // one transition
                      std::string(3, '\0') + '\1' +                                                 // to the one type
                      std::string(3, '\0') + '\4';                                                  // named "UTC"
    const std::string type = std::string(1 + 6, '\0') + "UTC" + '\0';
    // In 32 bits, in 64, and the rule for the time behind the last transition.
    return head + '\x80' + std::string(3, '\0') + type + head + '\x80' + std::string(7, '\0') + type + "\n" + name +
           "0\n";
}

/// The C library keeps each name of a zone that it has met, and needs memory for a new one.
TEST_F(MallocFaultTest, ReadingTheDateInANewTimeZoneLeavesALibraryThatLogs)
{
    InitApplicationTime();
    static char letter = 'A';
    const auto moveToNewZone = [&] {
        const std::string name = std::string("QZ") + letter++;
        m_Dir.Write(name, ZoneFile(name));
        setenv("TZ", m_Dir.File(name).c_str(), 1);
        tzset();
    };

    const int failures = FailEach(moveToNewZone, [] { GetEepromDate(); });

    EXPECT_EQ(failures, 1);
    FiniApplicationTime();
    setenv("TZ", "UTC", 1);
    tzset();
}

TEST_F(MallocFaultTest, EndOfTheApplicationClockWaitsForItsThread)
{
    const int failures = FailEach(InitApplicationTime, FiniApplicationTime);

    EXPECT_GE(failures, 1) << "libACE's, to wait";
    while (std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}) != 1) {
        sched_yield(); // one that has ended may be listed for a moment yet, one that has not for ever
    }
}

} // namespace
