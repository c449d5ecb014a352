#include "Follower.h"

#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/types.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;
using namespace QuarnTest;

namespace {

/// Runs after each read at a place, with the number of such reads: a writer that works between the copies.
std::function<void(int)> g_AfterRead;
int g_Reads = 0;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
extern "C" {

ssize_t __real_pread64(int fd, void* target, size_t bytes, off64_t offset);

ssize_t __wrap_pread64(int fd, void* target, size_t bytes, off64_t offset)
{
    const ssize_t got = __real_pread64(fd, target, bytes, offset);
    ++g_Reads;
    if (g_AfterRead) {
        g_AfterRead(g_Reads);
    }
    return got;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/// Notes what it gets, one line each.
class NotingSink : public FollowSink
{
public:
    void RunBegins(const SFollowedRun& run) override
    {
        m_Notes.push_back("run from " + std::to_string(run.first));
        m_StartTimes.push_back(run.startTime);
    }
    void Record(const SRecordView& record, const SLogQueueHeader&) override
    {
        const std::wstring text = record.text;
        m_Notes.push_back(std::to_string(record.sequence) + " " + std::string(text.begin(), text.end()));
    }
    void Overwritten(std::uint32_t first, std::uint32_t last) override
    {
        m_Notes.push_back("overwritten " + std::to_string(first) + " to " + std::to_string(last));
    }
    void Dropped(std::uint32_t count, const SFollowedRun& run) override
    {
        m_Notes.push_back("dropped " + std::to_string(count) + ", now " + std::to_string(run.dropped));
    }
    void RunEnds(const SFollowedRun& run) override
    {
        m_Notes.push_back("end before " + std::to_string(run.next) + ": " + std::to_string(run.read) + " read, " +
                          std::to_string(run.overwritten) + " overwritten, " + (run.droppedAtLeast ? "at least " : "") +
                          std::to_string(run.dropped) + " dropped");
        m_StartTimes.back() = run.startTime;
    }

    /// What was noted since the last call.
    std::vector<std::string> TakeNotes() { return std::exchange(m_Notes, {}); }

    std::vector<std::string> m_Notes;
    std::vector<double> m_StartTimes; ///< Of each run, as it was at its end.
};

using testing::ElementsAre;
using testing::IsEmpty;

/// A follower over a file that each test changes between two looks.
class FollowerTest : public testing::Test
{
protected:
    FollowerTest() { m_Dir.Write("region", m_Image.Bytes()); }
    ~FollowerTest() override { g_AfterRead = nullptr; }

    /// In place, so that an open file sees it.
    void Save()
    {
        std::ofstream(m_Dir.File("region"), std::ios::binary | std::ios::in | std::ios::out | std::ios::ate).seekp(0)
            << m_Image.Bytes();
    }

    void Write(std::initializer_list<const wchar_t*> texts)
    {
        for (const wchar_t* text : texts) {
            m_Image.Write(1000, 1, m_Time += 0.5, text);
        }
    }

    /// As many records of 96 bytes, with the loggers keeping up.
    void WriteMany(int count)
    {
        for (int i = 0; i < count; ++i) {
            Write({L"7 chars"});
            m_Image.m_Block.Set(QueueBlock::Count, 0);
        }
    }

    /// What a start does to a queue with records.
    void Restart(double startTime = Image::START_TIME + 0.0005)
    {
        m_Image.m_pQueue->ClearAll();
        m_Image.m_pQueue->SetStartTime(startTime);
    }

    std::vector<std::string> Look()
    {
        Save();
        if (!m_pInput) {
            m_pInput = std::make_unique<InputFile>(m_Dir.File("region"));
            m_pFollower = std::make_unique<Follower>(*m_pInput, 0, m_Sink);
        }
        g_Reads = 0;
        EXPECT_TRUE(m_pFollower->Poll());
        return m_Sink.TakeNotes();
    }

    TempDir m_Dir;
    Image m_Image;
    double m_Time = 0;
    NotingSink m_Sink;
    std::unique_ptr<InputFile> m_pInput;
    std::unique_ptr<Follower> m_pFollower;
};

/// Records of 96 bytes that the ring has room for.
constexpr int RING = 21844;

TEST_F(FollowerTest, NothingIsHandedOutTwice)
{
    Write({L"a text"});
    EXPECT_THAT(Look(), ElementsAre("run from 0", "0 a text"));

    EXPECT_THAT(Look(), IsEmpty());
    Write({L"another"});
    EXPECT_THAT(Look(), ElementsAre("1 another"));
}

TEST_F(FollowerTest, RecordThatTheHeaderDoesNotCountYetWaits)
{
    Write({L"counted", L"in the making"});
    m_Image.m_Block.Set(QueueBlock::Sequence, 1);
    EXPECT_THAT(Look(), ElementsAre("run from 0", "0 counted"));

    m_Image.m_Block.Set(QueueBlock::Sequence, 2);

    EXPECT_THAT(Look(), ElementsAre("1 in the making"));
}

TEST_F(FollowerTest, RecordWhoseMarkersAreGoneIsOverwritten)
{
    Write({L"7 chars"});
    Look();
    Write({L"run into", L"intact"});
    m_Image.m_Block.SetRecord(96, 0, 0);

    EXPECT_THAT(Look(), ElementsAre("overwritten 1 to 1", "2 intact"));
}

TEST_F(FollowerTest, RecordThatChangesBetweenTheTwoCopiesIsOverwritten)
{
    Write({L"7 chars"});
    Look();
    Write({L"changes", L"intact"});
    g_AfterRead = [&](int reads) {
        if (reads == 2) { // the header and the first copy
            m_Image.m_Block.SetRecord(96, 0, 0);
            Save();
        }
    };

    EXPECT_THAT(Look(), ElementsAre("overwritten 1 to 1", "2 intact"));
    EXPECT_EQ(g_Reads, 4);
}

TEST_F(FollowerTest, RecordThatIsWrittenDuringTheCopiesWaits)
{
    Write({L"before"});
    g_AfterRead = [&](int reads) {
        if (reads == 1) { // the header
            Write({L"meanwhile"});
            Save();
        }
    };
    EXPECT_THAT(Look(), ElementsAre("run from 0", "0 before"));

    EXPECT_THAT(Look(), ElementsAre("1 meanwhile"));
}

TEST_F(FollowerTest, QueueThatIsEmptiedDuringTheCopiesIsLookedAtAgain)
{
    Write({L"first"});
    Look();
    Write({L"lost", L"lost"});
    g_AfterRead = [&](int reads) {
        if (reads == 1) { // the header
            Restart();
            Write({L"a", L"b", L"c", L"d", L"e"});
            Save();
        }
    };
    EXPECT_THAT(Look(), IsEmpty());
    g_AfterRead = nullptr;

    EXPECT_THAT(Look(), ElementsAre("overwritten 1 to 2", "end before 3: 1 read, 2 overwritten, 0 dropped",
                                    "run from 0", "0 a", "1 b", "2 c", "3 d", "4 e"));
}

TEST_F(FollowerTest, RegionWithoutAHeaderIsWaitedFor)
{
    Write({L"a text"});
    m_Image.m_Block.Set(QueueBlock::Magic1, 0);
    EXPECT_THAT(Look(), IsEmpty());
    m_Image.m_Block.Set(QueueBlock::Magic1, 0xDEADBEEF);
    EXPECT_THAT(Look(), ElementsAre("run from 0", "0 a text"));

    m_Image.m_Block.Set(QueueBlock::Magic1, 0);
    EXPECT_THAT(Look(), IsEmpty());
    m_Image.m_Block.Set(QueueBlock::Magic1, 0xDEADBEEF);
    Write({L"next"});

    EXPECT_THAT(Look(), ElementsAre("1 next"));
}

TEST_F(FollowerTest, BurstOfMoreThanTheRingIsCounted)
{
    WriteMany(1);
    Look();
    WriteMany(RING + 10);

    const std::vector<std::string> notes = Look();

    // The last of the first lap are gone but for the one that the new lap has not reached.
    EXPECT_EQ(notes[0], "overwritten 1 to 10");
    EXPECT_EQ(notes.size(), 1U + RING);
    m_pFollower->End();
    EXPECT_THAT(m_Sink.TakeNotes(), ElementsAre("end before 21855: 21845 read, 10 overwritten, 0 dropped"));
}

TEST_F(FollowerTest, RunThatIsJoinedBeginsWithTheOldestRecordThere)
{
    WriteMany(RING + 10);

    const std::vector<std::string> notes = Look();

    EXPECT_EQ(notes[0], "run from 10");
    EXPECT_EQ(notes[1], "10 7 chars");
    EXPECT_EQ(notes.size(), 1U + RING);
}

TEST_F(FollowerTest, RestartEndsTheRun)
{
    Write({L"first", L"second"});
    Look();
    Restart();
    Write({L"of the next run"});

    EXPECT_THAT(Look(),
                ElementsAre("end before 2: 2 read, 0 overwritten, 0 dropped", "run from 0", "0 of the next run"));
}

TEST_F(FollowerTest, LookBetweenTheStepsOfAStartMakesOneRunOfIt)
{
    Write({L"first"});
    Look();
    m_Image.m_pQueue->ClearAll();
    EXPECT_THAT(Look(), ElementsAre("end before 1: 1 read, 0 overwritten, 0 dropped", "run from 0"));
    m_Image.m_pQueue->SetStartTime(1800000000.5);
    EXPECT_THAT(Look(), IsEmpty());
    Write({L"next"});

    EXPECT_THAT(Look(), ElementsAre("0 next"));
    m_pFollower->End();
    EXPECT_THAT(m_Sink.m_StartTimes, ElementsAre(Image::START_TIME, 1800000000.5));
}

TEST_F(FollowerTest, StartTimeThatChangesBesideOldRecordsIsNoOtherRun)
{
    Write({L"first"});
    Look();
    m_Image.m_pQueue->SetStartTime(1800000000.5);
    Write({L"second"});

    EXPECT_THAT(Look(), ElementsAre("1 second"));
}

TEST_F(FollowerTest, RestartAndABurstPastTheOldNumberIsAnotherRun)
{
    Write({L"first", L"second"});
    Look();
    Restart();
    Write({L"a", L"b", L"c"});

    EXPECT_THAT(Look(),
                ElementsAre("end before 2: 2 read, 0 overwritten, 0 dropped", "run from 0", "0 a", "1 b", "2 c"));
}

TEST_F(FollowerTest, RestartWithTheSameNumberOfRecordsIsAnotherRun)
{
    Write({L"first"});
    Look();
    Restart();
    Write({L"of the next run"});

    EXPECT_THAT(Look(),
                ElementsAre("end before 1: 1 read, 0 overwritten, 0 dropped", "run from 0", "0 of the next run"));
}

/// Start times of one boot are the same now and then. The records tell: the first one is another.
TEST_F(FollowerTest, RestartWithTheSameStartTimeAndABurstIsAnotherRun)
{
    Write({L"first", L"second"});
    Look();
    Restart(Image::START_TIME);
    Write({L"a", L"b", L"c"});

    EXPECT_THAT(Look(),
                ElementsAre("end before 2: 2 read, 0 overwritten, 0 dropped", "run from 0", "0 a", "1 b", "2 c"));
}

TEST_F(FollowerTest, RestartAndABurstOfMoreThanTheRingIsAnotherRun)
{
    WriteMany(3);
    Look();
    Restart();
    WriteMany(RING + 10);

    const std::vector<std::string> notes = Look();

    EXPECT_EQ(notes[0], "end before 3: 3 read, 0 overwritten, 0 dropped");
    EXPECT_EQ(notes[1], "run from 0");
    EXPECT_EQ(notes[2], "overwritten 0 to 9");
    EXPECT_EQ(notes.size(), 3U + RING);
}

TEST_F(FollowerTest, TwoRestartsBetweenTwoLooksLeaveTheLastRun)
{
    Write({L"first"});
    Look();
    Restart();
    Write({L"never seen", L"never seen"});
    Restart(Image::START_TIME + 2);
    Write({L"last"});

    EXPECT_THAT(Look(), ElementsAre("end before 1: 1 read, 0 overwritten, 0 dropped", "run from 0", "0 last"));
}

TEST_F(FollowerTest, NumbersGoRound)
{
    m_Image.m_Block.Set(QueueBlock::Sequence, 0xFFFFFFFE);
    Write({L"a", L"b", L"c"});
    EXPECT_THAT(Look(), ElementsAre("run from 4294967294", "4294967294 a", "4294967295 b", "0 c"));
    m_pFollower->End();
    EXPECT_THAT(m_Sink.TakeNotes(), ElementsAre("end before 1: 3 read, 0 overwritten, 0 dropped"));
}

TEST_F(FollowerTest, NumbersGoRoundBetweenTwoLooks)
{
    m_Image.m_Block.Set(QueueBlock::Sequence, 0xFFFFFFFE);
    Write({L"a"});
    Look();
    Write({L"b", L"c"});

    EXPECT_THAT(Look(), ElementsAre("4294967295 b", "0 c"));
}

TEST_F(FollowerTest, DropsAreReportedAsTheyAppear)
{
    Write({L"a"});
    m_Image.m_Block.Set(QueueBlock::Dropped, 2);
    EXPECT_THAT(Look(), ElementsAre("run from 0", "0 a", "dropped 2, now 2"));
    m_Image.m_Block.Set(QueueBlock::Dropped, 7);
    EXPECT_THAT(Look(), ElementsAre("dropped 5, now 7"));

    Restart();
    m_Image.m_Block.Set(QueueBlock::Dropped, 1);

    EXPECT_THAT(Look(),
                ElementsAre("end before 1: 1 read, 0 overwritten, 7 dropped", "run from 0", "dropped 1, now 1"));
}

TEST_F(FollowerTest, DropsOfAQueueThatIsBeingEmptiedAreNotTakenBack)
{
    Write({L"a"});
    m_Image.m_Block.Set(QueueBlock::Dropped, 2);
    Look();
    m_Image.m_Block.Set(QueueBlock::Dropped, 0); // the records are not gone yet
    EXPECT_THAT(Look(), IsEmpty());

    Restart();

    EXPECT_THAT(Look(), ElementsAre("end before 1: 1 read, 0 overwritten, at least 2 dropped", "run from 0"));
}

TEST_F(FollowerTest, NumberThatIsDamagedForAMomentIsPassedOver)
{
    for (const std::uint32_t damaged : {1U, 0U, 1000000000U, 3000000000U}) {
        m_pInput.reset();
        Restart();
        Write({L"a", L"b"});
        Look();
        m_Image.m_Block.Set(QueueBlock::Sequence, damaged);
        EXPECT_THAT(Look(), IsEmpty());
        m_Image.m_Block.Set(QueueBlock::Sequence, 2);
        Write({L"c"});

        EXPECT_THAT(Look(), ElementsAre("2 c"));
    }
}

TEST_F(FollowerTest, NumberThatIsDamagedForGoodIsGoneOnFrom)
{
    Write({L"a", L"b"});
    Look();
    m_Image.m_Block.Set(QueueBlock::Sequence, 1000000000);
    Save();
    for (int looks = 1; looks < Follower::PATIENCE; ++looks) {
        EXPECT_THAT(Look(), IsEmpty());
    }
    EXPECT_THAT(Look(), ElementsAre("end before 2: 2 read, 0 overwritten, 0 dropped", "run from 1000000000"));
    Write({L"c"});

    EXPECT_THAT(Look(), ElementsAre("1000000000 c"));
}

/// Both markers and lengths that agree, in the text of a record.
TEST_F(FollowerTest, TextThatLooksLikeARecordIsNone)
{
    std::wstring text(30, L'x');
    const std::uint32_t words[] = {0x7B7B7B7B, 0, 0x7D7D7D7D, 1000, 1, 0, 0, 0, 0, 0, 0x01010101, 0, 0};
    for (std::size_t i = 0; i < 13; ++i) {
        text[i] = static_cast<wchar_t>(words[i] == 0 ? 0x01010101 : words[i]);
    }
    Write({L"a", text.c_str(), L"b"});
    const std::uint32_t start = 72; // of the second record
    ASSERT_EQ(m_Image.m_Block.GetRecord(start, 52), 0x7B7B7B7B);
    // Numbers that a message cannot have: as if it had.
    m_Image.m_Block.SetRecord(start, 52 + 4, 2);
    m_Image.m_Block.SetRecord(start, 52 + 36, 0);
    m_Image.m_Block.SetRecord(start, 52 + 40, 0);
    m_Image.m_Block.SetRecord(start, 52 + 44, 60);
    m_Image.m_Block.SetRecord(start, 52 + 48, 0);
    m_Image.m_Block.SetRecord(start, 52 + 52, 0);
    m_Image.m_Block.SetRecord(start, 52 + 56, 0);
    m_Image.m_Block.Set(QueueBlock::Sequence, 3);

    const std::vector<std::string> notes = Look();

    EXPECT_EQ(notes.size(), 4U);
    EXPECT_EQ(notes[3], "2 b");
}

TEST(QueueReaderTest, RecordThatDiffersInALaterCopyIsNotTheSame)
{
    Image image;
    image.Write(L"7 chars");
    image.Write(L"changed");
    const std::string first = image.Bytes();
    image.m_Block.SetRecord(96, 52, L'C');
    const QueueReader queue(reinterpret_cast<const unsigned char*>(first.data()), first.size());

    ASSERT_EQ(queue.All().size(), 2U);
    EXPECT_TRUE(queue.IsSameIn(image.m_Block.Bytes(), queue.All()[0]));
    EXPECT_FALSE(queue.IsSameIn(image.m_Block.Bytes(), queue.All()[1]));
}

} // namespace
