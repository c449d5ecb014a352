#include "AceLoggerTest.h"

#include <clocale>
#include <filesystem>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

/// Names of files, and what becomes of a file when the output changes.
class CQAceLoggerFileTest : public AceLoggerTest
{
protected:
    ~CQAceLoggerFileTest() override { umask(022); }

    void Select(const wchar_t* name) { Logger().SetOutputStream(name, 0, 9); }
};

TEST_F(CQAceLoggerFileTest, LinesGoToTheFileAlone)
{
    Select(L"log/app-%T.txt");
    testing::internal::CaptureStdout();

    Write(L"one");
    Write(L"two");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("one") + Line("two"));
}

TEST_F(CQAceLoggerFileTest, ColourGoesToFilesToo)
{
    Select(L"log/app-%T.txt");
    Logger().m_UseColor = true;

    Write(L"one");

    EXPECT_EQ(m_Dir.Read("log/app.txt"), "\x1b[32m" + HEAD + "one\x1b[0m\n");
}

TEST_F(CQAceLoggerFileTest, SelectingAnOutputLeavesTheColourAlone)
{
    Logger().m_UseColor = true;

    Select(L"app.txt");
    Select(L"");

    EXPECT_TRUE(Logger().m_UseColor);
}

TEST_F(CQAceLoggerFileTest, FileIsOpenForReadingAndWriting)
{
    Select(L"log/app-%T.txt");

    int flags = -1;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        if (std::filesystem::read_symlink(entry, closedMeanwhile) == std::filesystem::current_path() / "log/app.txt") {
            flags = fcntl(std::stoi(entry.path().filename()), F_GETFL);
        }
    }

    ASSERT_NE(flags, -1);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_APPEND, 0);
}

TEST_F(CQAceLoggerFileTest, StampBehindADashReplacesMarkerAndKeepsTheDash)
{
    Select(L"log/app-%T.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerFileTest, StampBeforeADashReplacesMarkerAndKeepsTheDash)
{
    Select(L"log/%T-app.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"20240517-134509-app.txt"});
}

TEST_F(CQAceLoggerFileTest, StampWithoutMarkerStandsAtTheEnd)
{
    Select(L"log/app.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt20240517-134509"});
}

TEST_F(CQAceLoggerFileTest, NameWithoutFolderIsInTheWorkingDirectory)
{
    Select(L"app.txt");
    EXPECT_EQ(m_Dir.Names(), Names{"app.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"app.txt20240517-134509"});
}

TEST_F(CQAceLoggerFileTest, DashesOnBothSidesOfTheMarkerBothGo)
{
    Select(L"log/left-%T-right.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"leftright.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"left-20240517-134509-right.txt"});
}

TEST_F(CQAceLoggerFileTest, OnlyOneDashGoesOnEachSide)
{
    Select(L"log/left--%T--right.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"left--right.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"left--20240517-134509--right.txt"});
}

TEST_F(CQAceLoggerFileTest, MarkerWithoutDashesLeavesTheRestTogether)
{
    Select(L"log/app_%T.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app_.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app_20240517-134509.txt"});
}

TEST_F(CQAceLoggerFileTest, SecondMarkerIsText)
{
    Select(L"log/app-%T-%T.txt");
    EXPECT_EQ(m_Dir.Names("log"), Names{"app%T.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509-%T.txt"});
}

TEST_F(CQAceLoggerFileTest, MarkerInLowerCaseIsText)
{
    Select(L"app-%t.txt");
    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"app-%t.txt20240517-134509"});
}

TEST_F(CQAceLoggerFileTest, MarkerBehindAPercentSignIsAMarker)
{
    Select(L"app%%T");
    EXPECT_EQ(m_Dir.Names(), Names{"app%"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"app%20240517-134509"});
}

TEST_F(CQAceLoggerFileTest, NameWithoutMarkerKeepsTheSuffixOfAnEarlierPattern)
{
    Select(L"a%T-x.txt");
    Select(L"b.txt");
    EndLogger();

    EXPECT_EQ(m_Dir.Names(), (Names{"a20240517-134509-x.txt", "b.txt20240517-134509-x.txt"}));
}

TEST_F(CQAceLoggerFileTest, ConsoleForgetsTheSuffixOfAnEarlierPattern)
{
    Select(L"a%T-x.txt");
    Select(L"");
    Select(L"b.txt");
    EndLogger();

    EXPECT_EQ(m_Dir.Names(), (Names{"a20240517-134509-x.txt", "b.txt20240517-134509"}));
}

TEST_F(CQAceLoggerFileTest, TextOutsideTheLocaleInTheFirst256BytesLosesItsLineAndNoOther)
{
    Select(L"app.txt");

    Write(L"before");
    Write(std::wstring(200, L'x') + L"\u00e9"); // byte 256 of the line
    Write(L"after");

    EXPECT_EQ(m_Dir.Read("app.txt"), Line("before") + Line("after"));
}

TEST_F(CQAceLoggerFileTest, TextOutsideTheLocaleFurtherBackLeaves256BytesAndNoLineEnd)
{
    Select(L"app.txt");

    Write(std::wstring(201, L'x') + L"\u00e9");
    Write(L"after");

    EXPECT_EQ(m_Dir.Read("app.txt"), HEAD + std::string(201, 'x') + Line("after"));
}

TEST_F(CQAceLoggerFileTest, CharactersOfEightBitsAreSingleBytes)
{
    std::setlocale(LC_ALL, "C.UTF-8");
    Select(L"log/caf\u00e9-%T\u00ff.txt");
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(m_Dir.Names("log"), Names{"caf\xE9\xFF.txt"});

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"caf\xE9-20240517-134509\xFF.txt"});
}

TEST_F(CQAceLoggerFileTest, CharactersOfMoreThanEightBitsKeepTheLowEight)
{
    Select(L"log/\u0141pp-%T.\u2074xt"); // 0x41 is A, 0x74 is t

    EXPECT_EQ(m_Dir.Names("log"), Names{"App.txt"});
}

TEST_F(CQAceLoggerFileTest, StampIsLocalTime)
{
    SetTimeZone("NZST-12NZDT,M9.5.0,M4.1.0/3");
    Select(L"app-%T.txt");

    EndLogger();
    SetTimeZone("UTC");

    EXPECT_EQ(m_Dir.Names(), Names{"app-20240518-014509.txt"});
}

TEST_F(CQAceLoggerFileTest, StampIsTheTimeOfTheRenameWithLeadingZeros)
{
    Select(L"app-%T.txt");
    m_Clock.SetRealTime(1704164645, 999999999);

    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"app-20240102-030405.txt"});
}

TEST_F(CQAceLoggerFileTest, MissingFolderIsMadeForTheOwnerToWriteAndAllToRead)
{
    umask(0);

    Select(L"log/app-%T.txt");

    struct stat status
    {
    };
    ASSERT_EQ(stat("log", &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFDIR | 0755));
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt"});
}

TEST_F(CQAceLoggerFileTest, OnlyTheLastFolderIsMade)
{
    Select(L"a/b/app.txt");
    Write(L"lost");

    EXPECT_EQ(m_Dir.Names(), Names{});
}

TEST_F(CQAceLoggerFileTest, FolderInAnExistingFolderIsMade)
{
    std::filesystem::create_directory("a");

    Select(L"a/b/app.txt");

    EXPECT_EQ(m_Dir.Names("a/b"), Names{"app.txt"});
}

TEST_F(CQAceLoggerFileTest, AbsoluteNameIsTakenAsItIs)
{
    Select(m_Dir.Wide("log/app-%T.txt").c_str());
    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerFileTest, FolderBeforeABackslashIsMadeToo)
{
    Select(L"log\\app.txt");

    EXPECT_EQ(m_Dir.Names(), (Names{"log", "log\\app.txt"}));
    EXPECT_TRUE(std::filesystem::is_directory("log"));
}

// Compared by length with "." for the separator that is not there.
TEST_F(CQAceLoggerFileTest, FolderOfOneCharacterBeforeABackslashIsNotMade)
{
    Select(L"a\\app.txt");

    EXPECT_EQ(m_Dir.Names(), Names{"a\\app.txt"});
}

TEST_F(CQAceLoggerFileTest, LongerFolderOfTheTwoSeparatorsIsMade)
{
    std::filesystem::create_directory("a");

    Select(L"a/b\\app.txt");

    EXPECT_EQ(m_Dir.Names("a"), (Names{"b", "b\\app.txt"}));
    EXPECT_TRUE(std::filesystem::is_directory("a/b"));
}

TEST_F(CQAceLoggerFileTest, FolderBeforeTheSlashIsMadeWhenABackslashStandsFurtherLeft)
{
    Select(L"a\\b/app.txt");

    EXPECT_EQ(m_Dir.Names(), Names{"a\\b"});
    EXPECT_EQ(m_Dir.Names("a\\b"), Names{"app.txt"});
}

TEST_F(CQAceLoggerFileTest, FileOfAnEarlierRunIsRenamedBeforeTheNewOneIsMade)
{
    MakeOld("app.txt");

    Select(L"log/app-%T.txt");
    Write(L"new");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app.txt", "app-20240517-134509.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), "old app.txt");
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("new"));
}

TEST_F(CQAceLoggerFileTest, FolderOfTheCurrentNameIsRenamedLikeAFile)
{
    MakeOld("inner.txt");

    Select(L"log");

    EXPECT_EQ(m_Dir.Names(), (Names{"log", "log20240517-134509"}));
    EXPECT_EQ(m_Dir.Names("log20240517-134509"), Names{"inner.txt"});
    EXPECT_TRUE(std::filesystem::is_regular_file("log"));
}

TEST_F(CQAceLoggerFileTest, DeselectedFileGetsTheNameOfItsOwnPattern)
{
    Select(L"log/one-%T.txt");
    Write(L"1");

    Select(L"log/two-%T.txt");
    Write(L"2");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"one-20240517-134509.txt", "two.txt"}));
    EXPECT_EQ(m_Dir.Read("log/one-20240517-134509.txt"), Line("1"));
    EXPECT_EQ(m_Dir.Read("log/two.txt"), Line("2"));
}

TEST_F(CQAceLoggerFileTest, SamePatternAgainStartsAFreshFile)
{
    Select(L"log/app-%T.txt");
    Write(L"1");

    Select(L"log/app-%T.txt");
    Write(L"2");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), Line("1"));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("2"));
}

TEST_F(CQAceLoggerFileTest, EmptyNameRenamesTheFileAndReturnsToTheConsole)
{
    Select(L"log/app-%T.txt");
    Write(L"file");

    Logger().SetOutputStream(L"", 1, 1);
    testing::internal::CaptureStdout();
    Write(L"console");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), Line("console"));
    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), Line("file"));
}

TEST_F(CQAceLoggerFileTest, EmptyNameOnTheConsoleChangesNothing)
{
    Select(L"");
    testing::internal::CaptureStdout();
    Write(L"console");
    EndLogger();

    EXPECT_EQ(testing::internal::GetCapturedStdout(), Line("console"));
    EXPECT_EQ(m_Dir.Names(), Names{});
}

TEST_F(CQAceLoggerFileTest, EmptyFileIsRenamedToo)
{
    Select(L"log/app-%T.txt");

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), "");
}

/// The low 8 bits of U+0100 are 0, which ends a name: every time-stamped name would be "app", and none ever free.
TEST_F(CQAceLoggerFileTest, NameThatWouldEndEarlyOpensNoFile)
{
    m_Dir.Write("app", "not the logger's");

    Select(L"app\u0100-%T.txt");
    Write(L"nowhere");
    EndLogger();

    EXPECT_EQ(m_Dir.Names(), Names{"app"});
    EXPECT_EQ(m_Dir.Read("app"), "not the logger's");
}

TEST_F(CQAceLoggerFileTest, EndAfterAFailedOpenRenamesNothing)
{
    Select(L"a/b/app.txt");
    std::filesystem::create_directories("a/b");
    m_Dir.Write("a/b/app.txt", "not the logger's");

    EndLogger();

    EXPECT_EQ(m_Dir.Names("a/b"), Names{"app.txt"});
}

} // namespace
