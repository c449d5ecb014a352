#include "AceLoggerTest.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

using namespace QuarnTest;

namespace {

constexpr std::size_t CAPACITY = 4096; ///< Bytes that a pipe holds at least.

void Ignore(int /*signal*/) {}

/// A console that is a pipe, as small as can be. It is read by the test alone, so that a thread that logs can be made
/// to wait, and can be interrupted then: the signal's handler is one without SA_RESTART.
class ConsoleFaultTest : public AceLoggerTest
{
protected:
    ConsoleFaultTest()
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(fcntl(ends[1], F_SETPIPE_SZ, CAPACITY), static_cast<int>(CAPACITY));
        m_Reader = ends[0];
        std::fflush(stdout);
        static char buffer[2 * CAPACITY]; // a line goes out as a whole
        std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
        Write(L"first"); // from here on the stream uses all of its buffer
        EXPECT_EQ(Read(Line("first").size()), Line("first"));
        struct sigaction action = {};
        action.sa_handler = Ignore;
        sigaction(SIGUSR1, &action, &m_ActionBefore);
    }
    ~ConsoleFaultTest() override
    {
        EndConsole();
        sigaction(SIGUSR1, &m_ActionBefore, nullptr);
        std::setlocale(LC_ALL, "C");
        close(m_StdoutBefore);
        close(m_Reader);
    }

    /// Before anything is expected: the test program says on standard output what was not fulfilled.
    void EndConsole()
    {
        dup2(m_StdoutBefore, STDOUT_FILENO);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    }

    std::size_t BytesInPipe() const
    {
        int bytes = 0;
        ioctl(m_Reader, FIONREAD, &bytes);
        return static_cast<std::size_t>(bytes);
    }
    void WaitUntilThePipeIsFull() const
    {
        while (BytesInPipe() != CAPACITY) {
            sched_yield();
        }
    }
    std::string Read(std::size_t bytes) const
    {
        std::string text(bytes, ' ');
        std::size_t done = 0;
        for (ssize_t got = 1; done < bytes && got > 0; done += static_cast<std::size_t>(got)) {
            got = read(m_Reader, &text[done], bytes - done);
        }
        return text;
    }

    /// Writes on another thread; done becomes true behind it.
    std::thread StartToWrite(const std::wstring& text)
    {
        return std::thread([this, text] {
            Write(text);
            m_Done = true;
        });
    }

    std::atomic<bool> m_Done{false};

private:
    int m_Reader = -1;
    const int m_StdoutBefore = dup(STDOUT_FILENO);
    struct sigaction m_ActionBefore = {};
};

/// 1900 times the three bytes of a euro sign.
const std::wstring LONG_TEXT(1900, L'\u20ac');

std::string LongLine()
{
    std::string text;
    for (int i = 0; i < 1900; ++i) {
        text += "\xE2\x82\xAC";
    }
    return Line(text); // of 5756 bytes
}

TEST_F(ConsoleFaultTest, WriteThatIsInterruptedAgainAndAgainCostsTheRestOfTheLine)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    std::thread writer = StartToWrite(LONG_TEXT);

    while (!m_Done) {
        pthread_kill(writer.native_handle(), SIGUSR1);
        sched_yield();
    }
    writer.join();
    const std::string before = Read(CAPACITY);

    Write(L"next");
    EndConsole();

    EXPECT_EQ(before, LongLine().substr(0, CAPACITY));
    EXPECT_EQ(Read(BytesInPipe()), Line("next"));
}

TEST_F(ConsoleFaultTest, WriteThatAnInterruptionMakesShortIsContinued)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    std::thread writer = StartToWrite(LONG_TEXT);
    WaitUntilThePipeIsFull();

    pthread_kill(writer.native_handle(), SIGUSR1);

    const std::string text = Read(LongLine().size());
    writer.join();
    EndConsole();

    EXPECT_EQ(text, LongLine());
    EXPECT_EQ(BytesInPipe(), 0);
}

TEST_F(ConsoleFaultTest, ThreadThatFindsThePipeFullWaitsUntilTheReaderGoesOn)
{
    std::atomic<int> written{0};
    std::thread writer([&] {
        for (int i = 0; i < 100; ++i) {
            Write(TextForLineOf(64));
            ++written;
        }
    });
    WaitUntilThePipeIsFull();

    const int writtenBefore = written;
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += Read(64);
    }
    writer.join();
    EndConsole();

    EXPECT_LE(writtenBefore, 64) << "all that the pipe holds";
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        expected += Line("xxxxxxxx");
    }
    EXPECT_EQ(text, expected);
    EXPECT_EQ(BytesInPipe(), 0);
}

} // namespace
