#include "AceLoggerTest.h"

#include <unistd.h>

#include <cerrno>
#include <deque>
#include <set>
#include <string>

using namespace QuarnTest;

namespace {

using Names = std::set<std::string>;

/// What a write is to do: fail with the error, or take so many bytes.
struct SWrite
{
    int error;
    std::size_t bytes;
};

std::deque<SWrite> g_Writes; // the next ones; those that follow do all they are asked for

} // namespace

extern "C" {
ssize_t __real_write(int descriptor, const void* bytes, size_t size); // NOLINT(bugprone-reserved-identifier)
ssize_t __wrap_write(int descriptor, const void* bytes, size_t size)  // NOLINT(bugprone-reserved-identifier)
{
    if (g_Writes.empty()) {
        return __real_write(descriptor, bytes, size);
    }
    const SWrite planned = g_Writes.front();
    g_Writes.pop_front();
    if (planned.error != 0) {
        errno = planned.error;
        return -1;
    }
    return __real_write(descriptor, bytes, planned.bytes);
}
}

namespace {

/// Writes to the log file that are short, interrupted or refused.
class WriteFaultTest : public AceLoggerTest
{
protected:
    ~WriteFaultTest() override { g_Writes.clear(); }

    void WriteLinesWithPlan(const std::deque<SWrite>& plan)
    {
        Logger().SetOutputStream(L"log/app.txt", 0, 1);
        g_Writes = plan;
        Write(L"first");
        EXPECT_TRUE(g_Writes.empty());
        Write(L"second");
    }
    std::string Logged() const { return m_Dir.Read("log/app.txt"); }
};

TEST_F(WriteFaultTest, ShortWriteIsContinued)
{
    WriteLinesWithPlan({{0, 10}, {0, 1}, {0, 20}});

    EXPECT_EQ(Logged(), Line("first") + Line("second"));
}

TEST_F(WriteFaultTest, InterruptedWriteIsRepeated)
{
    WriteLinesWithPlan({{EINTR, 0}, {0, 10}, {EINTR, 0}, {EINTR, 0}});

    EXPECT_EQ(Logged(), Line("first") + Line("second"));
}

TEST_F(WriteFaultTest, RestOfALineThatFindsNoRoomIsLost)
{
    WriteLinesWithPlan({{0, 10}, {ENOSPC, 0}});

    EXPECT_EQ(Logged(), "a.cpp:7: i" + Line("second"));
}

TEST_F(WriteFaultTest, LineThatIsRefusedIsLost)
{
    for (const int error : {ENOSPC, EDQUOT, EFBIG, EIO, EROFS, EPIPE, EAGAIN, EBADF}) {
        SCOPED_TRACE(error);
        WriteLinesWithPlan({{error, 0}});

        EXPECT_EQ(Logged(), Line("second"));
    }
}

TEST_F(WriteFaultTest, WriteThatTakesNothingEndsTheLine)
{
    WriteLinesWithPlan({{0, 0}});

    EXPECT_EQ(Logged(), Line("second"));
}

// Else a file on a full disk would never be put aside for the old ones to be removed.
TEST_F(WriteFaultTest, LostLineCountsForTheSizeOfTheFile)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 200, 1);
    g_Writes = {{ENOSPC, 0}, {ENOSPC, 0}};

    Write(TextForLineOf(100));
    Write(TextForLineOf(100));

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134509.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134509.txt"), "");
}

TEST_F(WriteFaultTest, EmptyFilesOfAFullDiskPushGoodOnesOut)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 100, 2);
    Write(TextForLineOf(100));
    Write(TextForLineOf(100));
    ASSERT_EQ(m_Dir.Read("log/app-20240517-134510.txt").size(), 100U);
    g_Writes = {{ENOSPC, 0}, {ENOSPC, 0}};

    Write(TextForLineOf(100));
    Write(TextForLineOf(100));

    EXPECT_EQ(m_Dir.Names("log"), (Names{"app-20240517-134511.txt", "app-20240517-134512.txt", "app.txt"}));
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134511.txt"), "");
    EXPECT_EQ(m_Dir.Read("log/app-20240517-134512.txt"), "");
}

} // namespace
