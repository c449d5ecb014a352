#include "FollowedTool.h"
#include "SeededRandom.h"
#include "TempDir.h"
#include "TestDepth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace QuarnTest;

namespace {

/// What the tool said of one run.
struct SAccount
{
    int run = -1; ///< Of the records shown; -1: none.
    long shown = 0;
    bool inOrder = true;
    bool hasEnd = false;
    unsigned long read = 0;
    unsigned long overwritten = 0;
    unsigned long dropped = 0;
};

/// Real processes write one after the other, and the tool follows. What each has sent must come out again: as a line,
/// or as a number of lost records.
class FollowAccountTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_Dir.Write("sent", std::string(sizeof(int), '\0'));
        m_Dir.Write("output", "");
    }

    pid_t StartWriter(int run, int count, const char* how)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            setenv("QUARN_MEMORY_FILE", m_Dir.File("region").c_str(), 1);
            if (std::freopen("/dev/null", "w", stdout) == nullptr) {
                _exit(126);
            }
            execl(NUMBERED_WRITER, NUMBERED_WRITER, std::to_string(run).c_str(), std::to_string(count).c_str(), how,
                  m_Dir.File("sent").c_str(), nullptr);
            _exit(127);
        }
        return pid;
    }

    static void Kill(pid_t writer)
    {
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }

    /// Until a text is in what the tool printed.
    bool WaitFor(const std::string& text)
    {
        std::size_t seen = 0;
        for (int i = 0; i < 6000; ++i) {
            const std::string output = m_Dir.Read("output");
            if (output.find(text, seen > text.size() ? seen - text.size() : 0) != std::string::npos) {
                return true;
            }
            seen = output.size();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    int Sent() const
    {
        const std::string bytes = m_Dir.Read("sent");
        int sent = 0;
        std::memcpy(&sent, bytes.data(), sizeof sent);
        return sent;
    }

    std::vector<SAccount> Accounts() const
    {
        std::vector<SAccount> accounts(1);
        std::istringstream output(m_Dir.Read("output"));
        int last = -1;
        for (std::string line; std::getline(output, line);) {
            SAccount& account = accounts.back();
            int run = 0;
            int number = 0;
            const std::size_t text = line.find(": run ");
            if (text != std::string::npos && std::sscanf(line.c_str() + text, ": run %d", &run) == 1) {
                const bool isMessage = std::sscanf(line.c_str() + text, ": run %d message %d", &run, &number) == 2;
                number = isMessage ? number : 1 << 30;
                account.inOrder = account.inOrder && (account.run == -1 || (account.run == run && number > last));
                account.run = run;
                last = number;
                ++account.shown;
            } else if (line.find("end of the run: ") != std::string::npos) {
                const char* const counts = std::strstr(line.c_str(), "run: ");
                account.hasEnd =
                    std::sscanf(counts, "run: %lu records read, %lu", &account.read, &account.overwritten) == 2;
                const std::size_t end = line.find(" messages dropped");
                const std::size_t space = line.rfind(' ', end - 1);
                account.dropped = std::stoul(line.substr(space + 1, end - space));
                accounts.emplace_back();
            }
        }
        return accounts;
    }

    TempDir m_Dir;
    SeededRandom m_Random;
};

TEST_F(FollowAccountTest, NothingThatWasSentIsMissingFromTheAccount)
{
    struct SRun
    {
        int sent;
        bool isComplete; ///< Whether the tool had time to see its end.
    };
    std::vector<SRun> runs;
    FollowedTool tool(m_Dir.File("region"), "0.002", m_Dir.File("output").c_str());
    for (int run = 0; run < ByDepth(8, 100); ++run) {
        const char* const how = run % 3 == 1 ? "full" : "laps";
        const int count = run % 4 == 0 ? 100 : 52905;
        const bool isComplete = run % 4 != 3;
        const pid_t writer = StartWriter(run, count, how);
        if (isComplete) {
            EXPECT_TRUE(WaitFor("run " + std::to_string(run) + " end"));
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(m_Random() % 300));
        }
        Kill(writer);
        runs.push_back({Sent(), isComplete});
    }
    tool.Stop(SIGTERM);

    unsigned long overwritten = 0;
    unsigned long dropped = 0;
    std::map<int, SAccount> byRun;
    for (const SAccount& account : Accounts()) {
        EXPECT_TRUE(account.inOrder) << "run " << account.run;
        EXPECT_EQ(static_cast<unsigned long>(account.shown), account.read);
        if (account.run != -1) {
            EXPECT_EQ(byRun.count(account.run), 0U) << "run " << account.run << " in two parts";
            byRun[account.run] = account;
        }
        overwritten += account.overwritten;
        dropped += account.dropped;
    }
    for (int run = 0; run < static_cast<int>(runs.size()); ++run) {
        const SAccount& account = byRun[run];
        const unsigned long accounted = account.read + account.overwritten + account.dropped;
        const auto sent = static_cast<unsigned long>(runs[static_cast<std::size_t>(run)].sent);
        if (runs[static_cast<std::size_t>(run)].isComplete) {
            EXPECT_EQ(accounted, sent) << "run " << run;
        } else {
            EXPECT_LE(accounted, sent) << "run " << run;
        }
    }
    EXPECT_GT(overwritten, 0U) << "the ring went round";
    EXPECT_GT(dropped, 0U) << "the ring was full";
}

} // namespace
