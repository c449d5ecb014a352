#include "AceLoggerTest.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;
using Quarn::Logging::CQAceLogger;

constexpr int EVERY = 1000; // more calls than any test makes

/// The file system refuses; the logger neither crashes nor stops for good.
class CQAceLoggerFaultTest : public AceLoggerTest
{
protected:
    void Select(unsigned int size = 0) { Logger().SetOutputStream(L"log/app-%T.txt", size, 1); }
    void WriteBytes(std::size_t bytes) { Write(TextForLineOf(bytes)); }

    /// The descriptor of the file log/app.txt, or -1.
    static int DescriptorOfFile()
    {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code closedMeanwhile;
            if (std::filesystem::read_symlink(entry, closedMeanwhile) ==
                std::filesystem::current_path() / "log/app.txt") {
                return std::stoi(entry.path().filename());
            }
        }
        return -1;
    }
    static long OpenDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

    FaultPlan m_Plan;
};

TEST_F(CQAceLoggerFaultTest, LinesAreSkippedWhileTheFileCannotBeOpened)
{
    m_Plan.Fail(Service::Fopen, EACCES, 1, 3);
    testing::internal::CaptureStdout();

    Select();
    Write(L"lost");
    Write(L"lost");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "not even on the console";
    EXPECT_EQ(m_Dir.Names("log"), Names{});
}

TEST_F(CQAceLoggerFaultTest, FirstLineAfterTheFaultOpensTheFile)
{
    m_Plan.Fail(Service::Fopen, EMFILE, 1, 2);
    Select();
    Write(L"lost");

    Write(L"seen");

    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, FileThatAppearedMeanwhileIsContinuedByTheLateOpen)
{
    m_Plan.Fail(Service::Fopen, EACCES);
    Select();
    m_Dir.Write("log/app.txt", "an earlier run's\n");

    Write(L"seen");

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), "an earlier run's\n" + Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, ContinuedFileCountsTheBytesOfItsNewLinesOnly)
{
    m_Plan.Fail(Service::Fopen, EACCES);
    Select(150);
    m_Dir.Write("log/app.txt", std::string(1000, 'x'));

    WriteBytes(100);
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});

    WriteBytes(100);
    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
}

TEST_F(CQAceLoggerFaultTest, FolderThatAppearsLateBringsItsFilesAlong)
{
    Logger().SetOutputStream(L"disk/log/app-%T.txt", 0, 1);
    Write(L"lost");
    std::filesystem::create_directories("disk/log"); // a disk is mounted, on which an earlier run ended abruptly
    m_Dir.Write("disk/log/app-20240101-000000.txt", "old");
    m_Dir.Write("disk/log/app-20240102-000000.txt", "old");
    m_Dir.Write("disk/log/app.txt", "an earlier run's\n");

    Write(L"seen");

    EXPECT_EQ(m_Dir.Names("disk/log"), (Names{"app-20240101-000000.txt", "app-20240102-000000.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("disk/log/app.txt"), "an earlier run's\n" + Line("seen"));
}

/// Names under which no file can be opened, and what a line tries for each.
struct SImpossibleName
{
    const wchar_t* pattern;
    int mkdirs;
    int opens;
};

TEST_F(CQAceLoggerFaultTest, LineWithoutAFileMakesTheFolderAndOpensTheFileAndNoMore)
{
    for (const SImpossibleName& name : {SImpossibleName{L"log/", 1, 1},
                                        {L"log/%T/", 1, 1},
                                        {L"log/-%T-/", 1, 1},
                                        {L"no/log/app-%T.txt", 1, 1},
                                        {L"log/app-%T\u0100.txt", 0, 0}}) {
        SCOPED_TRACE(testing::Message() << name.pattern);
        std::filesystem::remove_all("log");
        Logger().SetOutputStream(name.pattern, 100, 1);
        const Names names = m_Dir.Names();
        const FaultPlan plan;
        const int sleeps = m_Clock.Sleeps();

        for (int line = 0; line < 6; ++line) {
            WriteBytes(100);
        }

        EXPECT_EQ(m_Clock.Sleeps(), sleeps);
        EXPECT_EQ(plan.Calls(Service::Mkdir), 6 * name.mkdirs);
        EXPECT_EQ(plan.Calls(Service::Fopen), 6 * name.opens);
        for (const Service service : {Service::Rename, Service::Unlink, Service::Stat, Service::Nanosleep,
                                      Service::Fclose, Service::ClockGettime}) {
            EXPECT_EQ(plan.Calls(service), 0) << "service " << static_cast<int>(service);
        }
        EXPECT_EQ(m_Dir.Names(), names);
    }
}

TEST_F(CQAceLoggerFaultTest, FileOpenedLateIsRotatedLikeAnyOther)
{
    m_Plan.Fail(Service::Fopen, EACCES);
    Select(100);

    WriteBytes(100);
    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134510.txt"}) << "the second of two files, one is kept";
}

TEST_F(CQAceLoggerFaultTest, DroppedNoticeIsPrintedWithoutAFile)
{
    m_Plan.Fail(Service::Fopen, EACCES);
    Select();
    testing::internal::CaptureStdout();

    Logger().MessagesDropped(7);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "7 Messages dropped (internal queue full)\n");
}

TEST_F(CQAceLoggerFaultTest, ConsoleCanBeSelectedAfterAFailedOpen)
{
    m_Plan.Fail(Service::Fopen, EACCES);
    Select();
    testing::internal::CaptureStdout();

    Logger().SetOutputStream(L"", 0, 0);
    Write(L"console");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), Line("console"));
    EXPECT_EQ(m_Plan.Calls(Service::Rename), 0);
}

TEST_F(CQAceLoggerFaultTest, FailedOpenOfTheFreshFileIsMadeUpByTheNextLine)
{
    Select(100);
    m_Plan.Fail(Service::Fopen, ENOSPC);

    WriteBytes(100);
    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});

    Write(L"seen");
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, FileThatCannotBeRenamedIsEmptied)
{
    Select(100);
    m_Plan.Fail(Service::Rename, EACCES);
    WriteBytes(100);

    Write(L"next");

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("next"));
}

TEST_F(CQAceLoggerFaultTest, FileThatCannotBeRenamedAtTheEndIsFoundByTheNextRun)
{
    Select();
    Write(L"first run");
    m_Plan.Fail(Service::Rename, EACCES);
    EndLogger();
    ASSERT_EQ(m_Dir.Read("log/app.txt"), Line("first run"));

    CQAceLogger nextRun;
    nextRun.SetOutputStream(L"log/app-%T.txt", 0, 1);

    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), Line("first run"));
}

TEST_F(CQAceLoggerFaultTest, FileThatCannotBeRemovedIsRemovedLater)
{
    MakeOld("app-20240101-000000.txt");
    Select();
    m_Plan.Fail(Service::Unlink, EBUSY);

    Select();
    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt", "app.txt"}));

    Select();
    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134510.txt", "app.txt"}));
}

TEST_F(CQAceLoggerFaultTest, OneFileThatCannotBeRemovedDoesNotSaveTheOthers)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("app-20240102-000000.txt");
    MakeOld("app-20240103-000000.txt");
    Select();
    m_Plan.Fail(Service::Unlink, EPERM);

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerFaultTest, FolderThatCannotBeMadeIsTriedAgainWithEachLine)
{
    m_Plan.Fail(Service::Mkdir, ENOSPC, 1, 2);
    Select();
    Write(L"lost");
    ASSERT_EQ(m_Dir.Names(), Names{});

    Write(L"seen");

    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, FileThatCannotBeSeenIsEmptied)
{
    MakeOld("app.txt");
    m_Plan.Fail(Service::Stat, EACCES);

    Select();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), "");
}

TEST_F(CQAceLoggerFaultTest, FolderThatCannotBeSeenIsNotTidied)
{
    MakeOld("app-20240101-000000.txt");
    Select();
    m_Plan.Fail(Service::Stat, EACCES, 2);

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerFaultTest, FailedCloseDoesNotHoldUpTheRotation)
{
    Select(100);
    m_Plan.Fail(Service::Fclose, EIO);

    WriteBytes(100);
    Write(L"next");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("next"));
}

TEST_F(CQAceLoggerFaultTest, InterruptedSleepIsRepeated)
{
    MakeOld("app-20240517-134509.txt");
    Select();
    m_Plan.Fail(Service::Nanosleep, EINTR, 1, 2);

    EndLogger();

    EXPECT_EQ(m_Plan.Calls(Service::Nanosleep), 3);
    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134510.txt"});
}

TEST_F(CQAceLoggerFaultTest, UnreadableClockStampsTheLastSecondBeforeTheEpoch)
{
    Select();
    m_Plan.Fail(Service::ClockGettime, EINVAL);

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-19691231-235959.txt"});
}

TEST_F(CQAceLoggerFaultTest, FolderRemovedInTheMeantimeIsMadeAgain)
{
    Select(100);
    std::filesystem::remove_all("log");

    WriteBytes(100);
    EXPECT_EQ(m_Dir.Names(), Names{});

    Write(L"seen");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, FileRemovedInTheMeantimeIsFollowedByAFreshOne)
{
    Select(100);
    std::filesystem::remove("log/app.txt");

    WriteBytes(100);
    Write(L"seen");

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, FileInThePlaceOfTheFolderStopsTheOutputOnly)
{
    m_Dir.Write("log", "no folder");

    Select(100);
    WriteBytes(100);
    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"log"});
    EXPECT_EQ(m_Dir.Read("log"), "no folder");
}

TEST_F(CQAceLoggerFaultTest, FileThatTookThePlaceOfTheFolderIsNotTidied)
{
    Select(100);
    std::filesystem::remove_all(m_Dir.Path() / "log");
    m_Dir.Write("log", "no folder");

    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"log"});
    EXPECT_EQ(m_Dir.Read("log"), "no folder");
}

TEST_F(CQAceLoggerFaultTest, NameThatIsTooLongStopsTheOutputOnly)
{
    for (const std::size_t length : {300U, 4095U, 4096U, 5000U, 100000U}) {
        Logger().SetOutputStream((L"log/" + std::wstring(length, L'x')).c_str(), 100, 1);
        WriteBytes(100);
    }
    Select();
    Write(L"seen");

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

// The symbolic link is followed because the query for a left-over file fails; else it would be renamed like a file.
TEST_F(CQAceLoggerFaultTest, FullDeviceDoesNotStopTheLogger)
{
    std::filesystem::create_directory("log");
    std::filesystem::create_symlink("/dev/full", "log/app.txt");
    m_Plan.Fail(Service::Stat, ENOENT);
    Select(200);
    WriteBytes(100);
    WriteBytes(100);

    Write(L"seen");

    EXPECT_TRUE(std::filesystem::is_symlink("log/app-20240517-134509.txt"));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, LinesAreWrittenAgainWhenThereIsRoomAgain)
{
    struct rlimit before
    {
    };
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handlerBefore = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = before;
    limit.rlim_cur = 150;
    Select();
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    WriteBytes(100);
    WriteBytes(100);
    WriteBytes(100);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handlerBefore);

    Write(L"seen");

    const std::string first = Line(std::string(44, 'x'));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), first + first.substr(0, 50) + Line("seen"));
}

TEST_F(CQAceLoggerFaultTest, LeftOverFileBeyondTwoGibibytesIsRenamed)
{
    MakeOld("app.txt");
    if (truncate64("log/app.txt", 3LL << 30) != 0) {
        GTEST_SKIP() << "no room for sparse files of 3 GiB";
    }

    Select();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    struct stat64 status
    {
    };
    ASSERT_EQ(stat64("log/app-20240517-134509.txt", &status), 0);
    EXPECT_EQ(status.st_size, 3LL << 30);
}

TEST_F(CQAceLoggerFaultTest, LinesGoOnBeyondTwoGibibytes)
{
    Select();
    const int file = DescriptorOfFile();
    ASSERT_NE(file, -1);
    if (ftruncate64(file, 3LL << 30) != 0) {
        GTEST_SKIP() << "no room for sparse files of 3 GiB";
    }
    ASSERT_EQ(lseek64(file, (1LL << 31) - 10, SEEK_SET), (1LL << 31) - 10);

    Write(L"across");
    Write(L"beyond");

    std::string bytes(62 + 62, '\0');
    ASSERT_EQ(pread64(file, bytes.data(), bytes.size(), (1LL << 31) - 10), 124);
    EXPECT_EQ(bytes, Line("across") + Line("beyond"));
}

/// Everything that touches files, on a logger of its own: a left-over file, two rotations by size within one second,
/// another pattern, the console.
void UseAllServices()
{
    std::filesystem::create_directory("log");
    std::ofstream("log/app.txt") << "left over";
    CQAceLogger logger;
    logger.SetOutputStream(L"log/app-%T.txt", 100, 1);
    Write(logger, TextForLineOf(100));
    Write(logger, TextForLineOf(100));
    logger.SetOutputStream(L"log/other.txt", 0, 1);
    Write(logger, L"other");
    logger.SetOutputStream(L"", 0, 0);
}

TEST_F(CQAceLoggerFaultTest, AnySingleFaultLeavesNothingBehind)
{
    const Service services[] = {Service::Fclose, Service::Fopen,  Service::Mkdir,     Service::Rename,
                                Service::Stat,   Service::Unlink, Service::Nanosleep, Service::ClockGettime};
    const long descriptors = OpenDescriptors();
    for (const Service service : services) {
        int nth = 0;
        int calls = 0;
        do {
            SCOPED_TRACE(testing::Message() << "service " << static_cast<int>(service) << ", call " << nth + 1);
            std::filesystem::remove_all("log");
            FaultPlan plan;
            plan.Fail(service, EIO, ++nth);
            UseAllServices();
            calls = plan.Calls(service);
            Select();
            Write(L"alive");
            ASSERT_EQ(m_Dir.Read("log/app.txt"), Line("alive"));
            Logger().SetOutputStream(L"", 0, 0);
            ASSERT_EQ(OpenDescriptors(), descriptors);
        } while (nth <= calls);
        EXPECT_GT(nth, 1) << "the service is used at all";
    }
}

TEST_F(CQAceLoggerFaultTest, LastingFaultEndsWithItsCause)
{
    for (const Service service :
         {Service::Fclose, Service::Fopen, Service::Mkdir, Service::Rename, Service::Stat, Service::Unlink}) {
        SCOPED_TRACE(static_cast<int>(service));
        std::filesystem::remove_all("log");
        {
            FaultPlan plan;
            plan.Fail(service, EROFS, 1, EVERY);
            UseAllServices();
        }
        Select();
        Write(L"alive");
        EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("alive"));
    }
}

} // namespace
