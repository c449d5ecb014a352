#include "AceLoggerTest.h"

#include <dirent.h>
#include <dlfcn.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

bool g_FoldersUnreadable = false;

template <class Scan, class... Arguments>
int ScanUnlessUnreadable(const char* function, Arguments... arguments)
{
    if (g_FoldersUnreadable) {
        errno = EACCES;
        return -1;
    }
    return reinterpret_cast<Scan>(dlsym(RTLD_NEXT, function))(arguments...);
}

} // namespace

// The program's own definitions come before the C library's. The linker's --wrap would not reach the calls of ACE, of
// which one or the other is made. With file sizes of 64 bits the headers have the second under both names.
#ifndef _FILE_OFFSET_BITS
extern "C" int scandir(const char* folder, dirent*** entries, int (*select)(const dirent*),
                       int (*compare)(const dirent**, const dirent**))
{
    return ScanUnlessUnreadable<decltype(&::scandir)>("scandir", folder, entries, select, compare);
}
#endif
extern "C" int scandir64(const char* folder, dirent64*** entries, int (*select)(const dirent64*),
                         int (*compare)(const dirent64**, const dirent64**))
{
    return ScanUnlessUnreadable<decltype(&::scandir64)>("scandir64", folder, entries, select, compare);
}

namespace {

/// The folder of the log cannot be read, or becomes another one between two steps of a rotation.
class FileFaultTest : public AceLoggerTest
{
protected:
    ~FileFaultTest() override { g_FoldersUnreadable = false; }

    void FillFile() { Write(TextForLineOf(100)); }

    /// In front of the next call of a service the folder is moved away, and its name becomes a link to another folder.
    void SwapFolderBefore(Service service)
    {
        std::filesystem::create_directory("elsewhere");
        m_Dir.Write("elsewhere/precious.txt", "precious");
        m_Plan.Before(service, [] {
            std::filesystem::rename("log", "moved");
            std::filesystem::create_directory_symlink("elsewhere", "log");
        });
    }

    FaultPlan m_Plan;
};

TEST_F(FileFaultTest, FolderThatCannotBeReadIsNotTidied)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);
    g_FoldersUnreadable = true;

    FillFile();
    Write(L"goes on");

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("goes on"));
}

TEST_F(FileFaultTest, FolderThatCanBeReadAgainIsTidiedByTheNextRotation)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);
    g_FoldersUnreadable = true;
    FillFile();
    g_FoldersUnreadable = false;

    FillFile();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134510.txt", "app.txt"}));
}

TEST_F(FileFaultTest, FolderSwappedForALinkBeforeTheRenameKeepsTheFileUnderItsCurrentName)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);
    SwapFolderBefore(Service::Rename);

    FillFile();
    Write(L"behind the link");

    EXPECT_EQ(m_Dir.Names("moved"), Names{"app.txt"});
    EXPECT_EQ(m_Dir.Names("elsewhere"), (Names{"app.txt", "precious.txt"}));
    EXPECT_EQ(m_Dir.Read("elsewhere/app.txt"), Line("behind the link"));
}

TEST_F(FileFaultTest, FolderSwappedForALinkBeforeTheFreshFileGetsTheFileBehindTheLink)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);
    SwapFolderBefore(Service::Fopen);

    FillFile();
    Write(L"behind the link");

    EXPECT_EQ(m_Dir.Names("moved"), Names{"app-20240517-134509.txt"});
    EXPECT_EQ(m_Dir.Names("elsewhere"), (Names{"app.txt", "precious.txt"}));
    EXPECT_EQ(m_Dir.Read("elsewhere/app.txt"), Line("behind the link"));
}

// Only a name that the pattern matches can be hit, but that of a file behind the link: nobody else may write to the
// folder that holds the log's folder.
TEST_F(FileFaultTest, FolderSwappedForALinkBeforeTheRemovalLosesTheNamesakeBehindTheLink)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);
    SwapFolderBefore(Service::Unlink);
    m_Dir.Write("elsewhere/app-20240101-000000.txt", "namesake");
    m_Dir.Write("elsewhere/app-20240102-000000.txt", "matches, too");

    FillFile();
    Write(L"in the open file");

    EXPECT_EQ(m_Dir.Names("moved"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Names("elsewhere"), (Names{"app-20240102-000000.txt", "precious.txt"}));
    EXPECT_EQ(m_Dir.Read("moved/app.txt"), Line("in the open file"));
}

TEST_F(FileFaultTest, FolderSwappedForALinkBetweenRotationsIsUsedFromTheNextOneOn)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);
    std::filesystem::rename("log", "moved");
    std::filesystem::create_directory("elsewhere");
    std::filesystem::create_directory_symlink("elsewhere", "log");
    Write(L"in the open file");

    EndLogger();

    EXPECT_EQ(m_Dir.Names("elsewhere"), Names{});
    EXPECT_EQ(m_Dir.Read("moved/app.txt"), Line("in the open file"));
}

} // namespace
