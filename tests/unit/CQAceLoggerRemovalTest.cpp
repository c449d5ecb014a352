#include "AceLoggerTest.h"

#include <filesystem>
#include <set>
#include <string>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

/// Which files a rotation removes, and which it never does.
class CQAceLoggerRemovalTest : public AceLoggerTest
{
protected:
    /// Rotates the file that is written, with the settings that it was selected with.
    void RotateByDeselection() { Logger().SetOutputStream(L"", 0, 0); }
    /// Rotates a file that an earlier selection with a limit of 100 bytes made.
    void RotateBySize() { Write(TextForLineOf(100)); }
};

TEST_F(CQAceLoggerRemovalTest, OldestFilesBeyondTheNumberAreRemoved)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("app-20240103-000000.txt");
    MakeOld("app-20240102-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 2);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240103-000000.txt", "app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, AsManyFilesAsAllowedAreAllKept)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 2);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, NumberZeroKeepsOne)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 0);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerRemovalTest, LargestNumberKeepsAll)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 4294967295U);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log").size(), 2U);
}

TEST_F(CQAceLoggerRemovalTest, SelectionAloneRemovesNothing)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("app-20240102-000000.txt");

    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240101-000000.txt", "app-20240102-000000.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, LeftOverFileIsRotatedWithTheNewNumber)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("app.txt");

    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), "old app.txt");
}

TEST_F(CQAceLoggerRemovalTest, DeselectedFileIsRotatedWithTheNumberThatItHad)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("other-20240101-000000.txt");
    MakeOld("other-20240102-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    Logger().SetOutputStream(L"log/other-%T.txt", 0, 2);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "other-20240101-000000.txt",
                                         "other-20240102-000000.txt", "other.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, RotationBySizeRemovesAsWell)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 1);

    RotateBySize();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, EndOfTheLoggerRemovesAsWell)
{
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    EndLogger();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerRemovalTest, NamesThatDoNotFitThePatternStay)
{
    const Names strangers{"app.txt.bak", "app-1.txt.bak", "xapp-1.txt", "app-1.log", "App-1.txt", "app", ".txt", "a"};
    for (const std::string& name : strangers) {
        MakeOld(name);
    }
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    RotateByDeselection();

    Names expected = strangers;
    expected.insert("app-20240517-134509.txt");
    EXPECT_EQ(m_Dir.Names("log"), expected);
}

TEST_F(CQAceLoggerRemovalTest, AnythingMayStandBetweenPrefixAndSuffix)
{
    MakeOld("app-.txt");
    MakeOld("app-!notes.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240517-134509.txt"});
}

TEST_F(CQAceLoggerRemovalTest, OrderIsThatOfCharacterCodesNotOfAge)
{
    MakeOld("app-zebra.txt");
    MakeOld("app-20240101-000000.txt");
    MakeOld("app-\xE9.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 2);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-zebra.txt", "app-\xE9.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, PrefixAndSuffixMayOverlapInAName)
{
    MakeOld("aba");
    MakeOld("ababa");
    MakeOld("ab");
    Logger().SetOutputStream(L"log/aba%Taba", 0, 2);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"ab", "ababa", "aba20240517-134509aba"}))
        << "of aba, aba20240517-134509aba and ababa the first in order goes";
}

TEST_F(CQAceLoggerRemovalTest, FoldersAreCountedButStay)
{
    std::filesystem::create_directories("log/app-1.txt");
    MakeOld("app-2.txt");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 2);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-1.txt", "app-2.txt", "app-20240517-134509.txt"}))
        << "the folder is the one that was to go";
}

TEST_F(CQAceLoggerRemovalTest, FoldersBelowAreNotSearched)
{
    std::filesystem::create_directories("log/app-");
    m_Dir.Write("log/app-/app-1.txt", "deep");
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log/app-"), Names{"app-1.txt"});
}

// The current name is then the folder itself, which looks like a file left over and so starts a removal.
TEST_F(CQAceLoggerRemovalTest, DotEntriesAreCountedToo)
{
    MakeOld("a");
    MakeOld("b");

    Logger().SetOutputStream(L"log/%T", 0, 1);

    EXPECT_EQ(m_Dir.Names("log"), Names{"b"}) << "of four entries . and .. and a were to go";
}

TEST_F(CQAceLoggerRemovalTest, MoreThanThirtyTwoMatchesAreHandled)
{
    for (int i = 100; i < 200; ++i) {
        MakeOld("app-" + std::to_string(i) + ".txt");
    }
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 3);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-198.txt", "app-199.txt", "app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, WithoutFolderNothingIsRemoved)
{
    m_Dir.Write("app.txt20240101-000000", "old");
    m_Dir.Write("app.txt20240102-000000", "old");
    Logger().SetOutputStream(L"app.txt", 100, 1);

    RotateBySize();
    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names(), (Names{"app.txt20240101-000000", "app.txt20240102-000000", "app.txt20240517-134509",
                                    "app.txt20240517-134510"}));
}

TEST_F(CQAceLoggerRemovalTest, SeparatorAsFirstCharacterIsNoFolder)
{
    m_Dir.Write("\\app-20240101-000000.txt", "old");
    Logger().SetOutputStream(L"\\app-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names(), (Names{"\\app-20240101-000000.txt", "\\app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, FolderBeforeABackslashIsSearchedWithASlash)
{
    MakeOld("app-20240101-000000.txt");
    MakeOld("app-20240102-000000.txt");
    m_Dir.Write("log\\app-20240103-000000.txt", "old");
    Logger().SetOutputStream(L"log\\app-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app-20240102-000000.txt"});
    EXPECT_EQ(m_Dir.Names(), (Names{"log", "log\\app-20240103-000000.txt", "log\\app-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, SlashDecidesTheFolderBeforeAnyBackslash)
{
    MakeOld("a\\app-20240101-000000.txt");
    MakeOld("app-20240101-000000.txt");
    Logger().SetOutputStream(L"log/a\\app-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"a", "a\\app-20240517-134509.txt", "app-20240101-000000.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, MarkerInTheFolderNameLeavesThePrefixEmpty)
{
    std::filesystem::create_directories("x%T");
    m_Dir.Write("x%T/1.txt", "old");
    m_Dir.Write("x%T/2.txt", "old");
    Logger().SetOutputStream(L"x%T/2.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("x%T"), (Names{"1.txt", "2.txt"})) << "no name ends with the suffix /2.txt";
    EXPECT_EQ(m_Dir.Names(), (Names{"x", "x%T"}));
}

TEST_F(CQAceLoggerRemovalTest, NamesOfBytesThatAreNotAsciiAreFoundAgain)
{
    MakeOld("caf\xE9-20240101-000000.txt");
    Logger().SetOutputStream(L"log/caf\u00e9-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), Names{"caf\xE9-20240517-134509.txt"});
}

TEST_F(CQAceLoggerRemovalTest, NamesOfCharactersOfMoreThanEightBitsAreNeverFoundAgain)
{
    MakeOld("App-20240101-000000.txt");
    Logger().SetOutputStream(L"log/\u0141pp-%T.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"App-20240101-000000.txt", "App-20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, SuffixKeptFromAnEarlierPatternSelectsTheFiles)
{
    MakeOld("b.txt20240101-000000");
    MakeOld("b.txt20240101-000000-x.txt");
    Logger().SetOutputStream(L"a%T-x.txt", 0, 1);
    Logger().SetOutputStream(L"log/b.txt", 0, 1);

    RotateByDeselection();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"b.txt20240101-000000", "b.txt20240517-134509-x.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, FreshFileIsRemovedWhenItsNameFitsThePatternWithoutMarker)
{
    Logger().SetOutputStream(L"log/app.txt", 100, 1);

    RotateBySize();

    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt20240517-134509"});
}

TEST_F(CQAceLoggerRemovalTest, FreshFileIsRemovedWhenItsNameFitsThePatternWithMarker)
{
    MakeOld("app_20240101-000000.txt");
    Logger().SetOutputStream(L"log/app_%T.txt", 100, 2);

    RotateBySize();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app_20240101-000000.txt", "app_20240517-134509.txt"}));
}

TEST_F(CQAceLoggerRemovalTest, FreshFileIsRemovedFirstAndThenTheOldest)
{
    MakeOld("app.txt20240101-000000");
    MakeOld("app.txt20240102-000000");
    Logger().SetOutputStream(L"log/app.txt", 100, 2);

    RotateBySize();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app.txt20240102-000000", "app.txt20240517-134509"}));
}

TEST_F(CQAceLoggerRemovalTest, FreshFileStaysWhileTheNumberIsNotReached)
{
    Logger().SetOutputStream(L"log/app.txt", 100, 2);

    RotateBySize();

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app.txt", "app.txt20240517-134509"}));
}

TEST_F(CQAceLoggerRemovalTest, LinesOfARemovedFreshFileAreLostUntilTheNextRotation)
{
    Logger().SetOutputStream(L"log/app.txt", 100, 1);
    RotateBySize();

    RotateBySize();
    EXPECT_EQ(m_Dir.Names("log"), Names{"app.txt20240517-134509"}) << "nothing to rename, the fresh file removed again";

    Logger().SetOutputStream(L"log/app.txt", 0, 1);
    Write(L"seen");
    EXPECT_EQ(m_Dir.Names("log"), (Names{"app.txt", "app.txt20240517-134509"}));
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("seen"));
}

TEST_F(CQAceLoggerRemovalTest, LeftOverFileOfSuchAPatternLeavesTheNewFileAlone)
{
    MakeOld("app.txt");

    Logger().SetOutputStream(L"log/app.txt", 0, 1);

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app.txt", "app.txt20240517-134509"}));
}

} // namespace
