#include "QueueImage.h"
#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/// A program that knows nothing of the stand-in, with the stand-in preloaded.
class FileBackedMemoryTest : public testing::Test
{
protected:
    /// LD_PRELOAD takes a path with a blank for two: a link without one names the stand-in.
    void SetUp() override { std::filesystem::create_symlink(FILE_BACKED_MEMORY, m_Dir.File("stand-in.so")); }

    SFinishedProcess RunOn(const std::string& file) const
    {
        return RunCommand("TZ=UTC LD_PRELOAD=" + m_Dir.File("stand-in.so") + " QUARN_MEMORY_FILE=" + Quoted(file) +
                          " " RELOADER " " QUARN_LIBRARY);
    }

    TempDir m_Dir;
};

TEST_F(FileBackedMemoryTest, MissingFileIsMadeWithTheMemorysSize)
{
    const SFinishedProcess run = RunOn(m_Dir.File("memory"));

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(std::filesystem::file_size(m_Dir.File("memory")), 2097152U);
}

TEST_F(FileBackedMemoryTest, FileThatCannotBeOpenedIsNamed)
{
    const SFinishedProcess folder = RunOn(m_Dir.Path().string());
    const SFinishedProcess nowhere = RunOn("/nowhere/memory");

    EXPECT_EQ(folder.exitCode, 0);
    EXPECT_THAT(folder.errors, EndsWith("file-backed-memory: " + m_Dir.Path().string() + ": Is a directory\n"));
    EXPECT_EQ(nowhere.exitCode, 0);
    EXPECT_THAT(nowhere.errors, EndsWith("file-backed-memory: /nowhere/memory: No such file or directory\n"));
}

TEST_F(FileBackedMemoryTest, LogIsDumpedFromTheFile)
{
    QueueImage image;
    image.Append(2000, 3, 1.5, 0xABC, "control.cpp", 42, L"from the file");
    image.Save(m_Dir.File("memory"));

    const SFinishedProcess run = RunOn(m_Dir.File("memory"));

    EXPECT_THAT(run.output, HasSubstr("control.cpp:42: info: m=3 t=1970.01.01-00:00:01.500 tid=0xabc: from the file"));
}

TEST_F(FileBackedMemoryTest, OtherFilesAreOpenedAsEver)
{
    const SFinishedProcess run =
        RunCommand(Inside(m_Dir) + "umask 022 && LD_PRELOAD=./stand-in.so QUARN_MEMORY_FILE=memory " +
                   "sh -c 'echo text >other' && stat -c %a other");

    EXPECT_EQ(run.output, "644\n") << run.errors;
    EXPECT_EQ(m_Dir.Read("other"), "text\n");
    EXPECT_FALSE(m_Dir.Has("memory"));
}

} // namespace
