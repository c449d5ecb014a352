#include "KillCounts.h"
#include "QueueImage.h"
#include "SeededRandom.h"
#include "Subprocess.h"
#include "TestDepth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <numeric>

using namespace QuarnTest;
using testing::EndsWith;
using testing::StartsWith;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int ORDINARY_ROUNDS = 12; // starting a program takes ten times as long
constexpr int NIGHTLY_ROUNDS = 200;
#else
constexpr int ORDINARY_ROUNDS = 60;
constexpr int NIGHTLY_ROUNDS = 1000;
#endif

constexpr int CATEGORY = 0;
constexpr int OLDER_CATEGORY = 100; ///< Of the messages that fill the ring before.

const std::string HEAD = "Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n"
                         "Found log entries of a previous run, beginning of dump: ------------------------\n";
const std::string TAIL = "End of dumped log entries of a previous run ------------------------------------\n";

struct SKillCase
{
    const char* name;
    const char* autologging;
    const char* lengths;
    std::uint32_t messages;     ///< Of one round: less than the ring holds, so that none is dropped or overwritten.
    std::uint32_t messagesALap; ///< About as many as the ring holds.
};

void PrintTo(const SKillCase& killCase, std::ostream* out) { *out << killCase.name; }

/// Eight threads log; SIGKILL ends them at some moment; the next start shows what they logged.
class KillTest : public testing::TestWithParam<SKillCase>
{
protected:
    void SetUp() override
    {
        m_Dir.Write("counts", std::string(sizeof(SKillCounts), '\0'));
        const int fd = open(m_Dir.File("counts").c_str(), O_RDWR);
        m_pCounts = SKillCounts::Map(fd);
        close(fd);
        ASSERT_NE(m_pCounts, nullptr);
        ASSERT_EQ(setenv("QUARN_MEMORY_FILE", m_Dir.File("memory").c_str(), 1), 0);
    }
    void TearDown() override { munmap(m_pCounts, sizeof(SKillCounts)); }

    static int Rounds() { return ByDepth(ORDINARY_ROUNDS / 4, ORDINARY_ROUNDS, NIGHTLY_ROUNDS); }
    static bool IsVariable() { return std::string(GetParam().lengths) == "variable"; }
    std::uint32_t Random(std::uint32_t least, std::uint32_t most) { return least + m_Random() % (most - least + 1); }
    std::uint32_t Returned() const
    {
        return std::accumulate(std::begin(m_pCounts->returned), std::end(m_pCounts->returned), 0U);
    }

    /// Runs a victim on an empty memory, or on that of an image, and kills it as soon as the condition holds.
    template <class Condition>
    QueueImage Kill(int category, std::uint32_t messages, const char* autologging, const std::string& image,
                    const Condition& isTime)
    {
        m_Dir.Write("memory", "");
        m_pCounts->started = 0;
        std::fill(std::begin(m_pCounts->returned), std::end(m_pCounts->returned), 0U);
        const std::string counts = m_Dir.File("counts");
        const pid_t victim = fork();
        if (victim == 0) {
            execl(KILL_VICTIM, KILL_VICTIM, counts.c_str(), std::to_string(category).c_str(),
                  std::to_string(messages).c_str(), autologging, GetParam().lengths,
                  image.empty() ? nullptr : image.c_str(), nullptr);
            _exit(1);
        }
        int status = 0;
        while (!isTime() && waitpid(victim, &status, WNOHANG) == 0) {
            sched_yield();
        }
        for (std::uint32_t delay = Random(0, 5000); delay != 0; --delay) {
            std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the loop
        }
        kill(victim, SIGKILL);
        waitpid(victim, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
        return QueueImage(m_Dir.File("memory"));
    }

    /// A ring in its third lap, so that the wrap points of two earlier laps have left their traces.
    std::string MakeImage(std::uint32_t laps100)
    {
        const std::string file = m_Dir.File("image-" + std::to_string(laps100));
        const std::uint32_t messages = GetParam().messagesALap * laps100 / 100 + Random(0, 50);
        Kill(OLDER_CATEGORY, messages, "on", "", [&] { return Returned() == messages; }).Save(file);
        return file;
    }

    TempDir m_Dir;
    SKillCounts* m_pCounts = nullptr;
    SeededRandom m_Random;
};

/// The numbers of one thread's messages, in the order of the records.
std::vector<std::uint32_t> NumbersOf(int category, const std::vector<SImageRecord>& records)
{
    std::vector<std::uint32_t> numbers;
    for (const SImageRecord& record : records) {
        if (record.category == category) {
            numbers.push_back(static_cast<std::uint32_t>(std::wcstoul(&record.text[17], nullptr, 10)));
        }
    }
    return numbers;
}

void ExpectIntact(const std::vector<SImageRecord>& records, bool variable)
{
    for (const SImageRecord& record : records) {
        const int thread = record.category % OLDER_CATEGORY;
        ASSERT_GE(record.text.size(), 25U);
        ASSERT_EQ(record.text, KillText(thread, NumbersOf(record.category, {record})[0], variable));
        ASSERT_EQ(record.file, "kill-victim.cpp");
        ASSERT_EQ(record.line, 7);
        ASSERT_EQ(record.level, 2000);
    }
}

/// All that returned, and at most the one call of each thread that the signal cut short.
void ExpectComplete(const std::vector<SImageRecord>& records, const SKillCounts& counts)
{
    for (int thread = 0; thread < KILL_THREADS; ++thread) {
        const std::vector<std::uint32_t> numbers = NumbersOf(CATEGORY + thread, records);
        const std::uint32_t returned = counts.returned[thread];
        ASSERT_GE(numbers.size(), returned) << "thread " << thread;
        ASSERT_LE(numbers.size(), returned + 1) << "thread " << thread;
        for (std::uint32_t n = 0; n < numbers.size(); ++n) {
            ASSERT_EQ(numbers[n], n) << "thread " << thread;
        }
    }
}

std::vector<SImageRecord> InOrderOfWriting(std::vector<SImageRecord> records)
{
    std::sort(records.begin(), records.end(),
              [](const SImageRecord& left, const SImageRecord& right) { return left.sequence < right.sequence; });
    return records;
}

bool HasWrapped(const QueueImage& before, const QueueImage& after)
{
    return after.Get(QueueImage::WritePos) < before.Get(QueueImage::WritePos);
}

/// Whether the reader meets the wrap point where the writer left it: no record, of whatever lap, goes beyond.
bool NothingLiesBehindTheWrapPoint(const QueueImage& memory, const std::vector<SImageRecord>& records)
{
    return records.empty() || records.back().offset < memory.Get(QueueImage::EndPos);
}

void ExpectDump(const std::string& output, const std::vector<SImageRecord>& records)
{
    ASSERT_THAT(output.substr(0, HEAD.size()), HEAD);
    std::istringstream lines(output.substr(HEAD.size()));
    std::string line;
    for (const SImageRecord& record : records) {
        ASSERT_TRUE(std::getline(lines, line));
        char threadId[32];
        std::snprintf(threadId, sizeof threadId, "0x%x", record.threadId);
        ASSERT_THAT(line, StartsWith("\x1b[32mkill-victim.cpp:7: info: m=" + std::to_string(record.category) + " t="));
        ASSERT_THAT(line, EndsWith(std::string(" tid=") + threadId + ": " +
                                   std::string(record.text.begin(), record.text.end()) + "\x1b[0m"));
    }
    ASSERT_TRUE(std::getline(lines, line));
    ASSERT_EQ(line + "\n", TAIL);
    ASSERT_FALSE(std::getline(lines, line)) << line;
}

/// What one round was like.
struct SRound
{
    bool wrapped; ///< The ring went round while the victim ran.
    bool clean;   ///< Nothing of an earlier lap lay behind the wrap point.
};

void ExpectWhatTheNextStartShows(const QueueImage& memory, const SKillCounts& counts, bool variable, SRound& round)
{
    const SFinishedProcess next = RunCommand(MEMORY_USER);

    ASSERT_EQ(memory.Get(QueueImage::Dropped), 0U);
    const std::vector<SImageRecord> whole = memory.WholeRecords();
    const std::vector<SImageRecord> written = InOrderOfWriting(whole);
    const std::vector<SImageRecord> dumped = memory.RecordsOfNextDump();
    ExpectIntact(whole, variable);
    ExpectComplete(written, counts);
    ASSERT_EQ(next.exitCode, 0) << next.errors;
    ExpectDump(next.output, dumped);
    round.clean = NothingLiesBehindTheWrapPoint(memory, whole);
    if (round.clean) {
        ASSERT_TRUE(dumped == written) << "each record of the ring once, in the order of writing";
    }
}

TEST_P(KillTest, NextStartShowsEveryMessageWhoseCallReturned)
{
    SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(m_Random.Seed()));
    const std::string images[] = {"", MakeImage(230), MakeImage(285), MakeImage(295)};
    const int rounds = Rounds();
    int wrapped = 0;
    int clean = 0;
    for (int i = 0; i < rounds && !HasFailure(); ++i) {
        SCOPED_TRACE("round " + std::to_string(i));
        const std::string& image = images[i % 4];
        const std::uint32_t moment = Random(1, GetParam().messages);

        const QueueImage memory = Kill(CATEGORY, GetParam().messages, GetParam().autologging, image,
                                       [&] { return m_pCounts->started >= moment; });

        SRound round{!image.empty() && HasWrapped(QueueImage(image), memory), false};
        ExpectWhatTheNextStartShows(memory, *m_pCounts, IsVariable(), round);
        wrapped += static_cast<int>(round.wrapped);
        clean += static_cast<int>(round.clean);
    }
    EXPECT_GT(wrapped, 0);
    EXPECT_GE(clean, rounds / 4) << "at least the rounds that began with an empty memory";
    RecordProperty("wrapped", wrapped);
    RecordProperty("clean", clean);
}

constexpr SKillCase KILL_CASES[] = {
    {"AutomaticConstant", "on", "constant", 6000, 12192},
    {"AutomaticVariable", "on", "variable", 4000, 6200},
    {"QueuedConstant", "off", "constant", 6000, 12192},
    {"QueuedVariable", "off", "variable", 4000, 6200},
};

INSTANTIATE_TEST_SUITE_P(Logging, KillTest, testing::ValuesIn(KILL_CASES),
                         [](const auto& testCase) { return std::string(testCase.param.name); });

} // namespace
