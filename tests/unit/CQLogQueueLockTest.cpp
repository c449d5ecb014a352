#include "CQQueueLock.h"
#include "LockGuard.h"
#include "PlatformDoubles.h"
#include "QueueFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

class CQLogQueueLockTest : public QueueFixture
{
protected:
    CQLogQueueLockTest() { Start(); }

    std::vector<unsigned char> Image() const
    {
        return std::vector<unsigned char>(m_Block.Bytes(), m_Block.Bytes() + QueueBlock::SIZE);
    }
};

TEST_F(CQLogQueueLockTest, WriteWithoutLockDoesNothing)
{
    const std::vector<unsigned char> before = Image();
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    Write(L"lost");

    EXPECT_EQ(Image(), before) << "not even a drop is counted";
    Write(L"kept");
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"kept"});
}

TEST_F(CQLogQueueLockTest, ClearAllWithoutLockDoesNothing)
{
    Write(L"kept");
    const std::vector<unsigned char> before = Image();
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    m_pQueue->ClearAll();

    EXPECT_EQ(Image(), before);
}

TEST_F(CQLogQueueLockTest, ReadWithoutLockReturnsNothing)
{
    Write(L"kept");
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    EXPECT_FALSE(Read());
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"kept"});
}

TEST_F(CQLogQueueLockTest, ReadWithoutItsSecondLockLeavesTheRecordUnreleased)
{
    Write(L"kept");
    const std::vector<unsigned char> before = Image();
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL, 2);

    EXPECT_FALSE(Read());
    EXPECT_EQ(plan.Calls(Service::MutexLock), 2);
    EXPECT_EQ(Image(), before);
    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"kept"});
}

TEST_F(CQLogQueueLockTest, ReadOfAnEmptyQueueLocksOnce)
{
    const FaultPlan plan;

    EXPECT_FALSE(Read());

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST_F(CQLogQueueLockTest, MutexIsRecursive)
{
    const LockGuard outer(CQQueueLock::Find(m_pQueue));
    ASSERT_TRUE(outer.Locked());

    Write(L"inner");

    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"inner"});
}

TEST_F(CQLogQueueLockTest, WriterReleasesTheMutex)
{
    Write(L"text");

    int error = -1;
    std::thread([&] {
        pthread_mutex_t& mutex = CQQueueLock::Find(m_pQueue)->lock();
        error = pthread_mutex_trylock(&mutex);
        if (error == 0) {
            pthread_mutex_unlock(&mutex);
        }
    }).join();

    EXPECT_EQ(error, 0);
}

TEST_F(CQLogQueueLockTest, DroppingWriterReleasesTheMutex)
{
    StartSmall(60);

    Write(L"too large");

    int error = -1;
    std::thread([&] {
        pthread_mutex_t& mutex = CQQueueLock::Find(m_pQueue)->lock();
        error = pthread_mutex_trylock(&mutex);
        if (error == 0) {
            pthread_mutex_unlock(&mutex);
        }
    }).join();

    EXPECT_EQ(error, 0);
    EXPECT_EQ(m_pQueue->GetDropped(), 1u);
}

TEST_F(CQLogQueueLockTest, TwoQueuesHaveLocksOfTheirOwn)
{
    QueueBlock otherBlock;
    auto* const other = new (otherBlock.Bytes()) CQLogQueue(1000U);
    const LockGuard guard(CQQueueLock::Find(m_pQueue));
    ASSERT_TRUE(guard.Locked());

    int ownError = -1;
    int otherError = -1;
    std::thread([&] {
        ownError = pthread_mutex_trylock(&CQQueueLock::Find(m_pQueue)->lock());
        pthread_mutex_t& otherMutex = CQQueueLock::Find(other)->lock();
        otherError = pthread_mutex_trylock(&otherMutex);
        if (otherError == 0) {
            pthread_mutex_unlock(&otherMutex);
        }
    }).join();

    EXPECT_EQ(ownError, EBUSY);
    EXPECT_EQ(otherError, 0);
    other->~CQLogQueue();
}

TEST_F(CQLogQueueLockTest, TwoQueuesHaveRecordsOfTheirOwn)
{
    QueueBlock otherBlock;
    auto* const other = new (otherBlock.Bytes()) CQLogQueue(false);

    Write(L"here");
    other->WriteMessage(1000, 1, 0.5, 7, "f", 3, L"there");

    EXPECT_EQ(ReadTexts(), std::vector<std::wstring>{L"here"});
    const std::optional<SMessage> message = ReadFrom(*other);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->text, L"there");
    other->~CQLogQueue();
}

TEST_F(CQLogQueueLockTest, AttributesAreMadeAndDestroyedWithTheQueue)
{
    Stop();
    const FaultPlan plan;

    Start();

    EXPECT_EQ(plan.Calls(Service::MutexattrInit), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrSetprotocol), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrSettype), 1);
    EXPECT_EQ(plan.Calls(Service::MutexattrDestroy), 0);
    Stop();
    EXPECT_EQ(plan.Calls(Service::MutexattrDestroy), 1);
}

TEST_F(CQLogQueueLockTest, QueueThatIsTooLargeKeepsNoLock)
{
    Stop();

    EXPECT_THROW(StartSmall(0x1FFFB1), int);

    EXPECT_EQ(CQQueueLock::Find(m_Block.Bytes()), nullptr);
}

TEST_F(CQLogQueueLockTest, BlockWithoutALockHasNothingToDestroy)
{
    Stop();
    const FaultPlan plan;

    CQQueueLock::Destroy(m_Block.Bytes());

    EXPECT_EQ(plan.Calls(Service::MutexDestroy), 0);
}

TEST_F(CQLogQueueLockTest, OperationsOnTheBlockOfADestroyedQueueAreNoOps)
{
    Write(L"kept");
    CQLogQueue* const destroyed = m_pQueue;
    Stop();
    const std::vector<unsigned char> before = Image();

    destroyed->WriteMessage(1000, 1, 0.5, 7, "f", 3, L"late");
    destroyed->ClearAll();
    const std::optional<SMessage> message = ReadFrom(*destroyed);

    EXPECT_FALSE(message);
    EXPECT_EQ(Image(), before);
}

/// Blocks of one record each.
class CQLogQueueLimitTest : public testing::Test
{
protected:
    static constexpr std::size_t BLOCK_WORDS = (80 + 64) / 8;

    ~CQLogQueueLimitTest() override
    {
        for (CQLogQueue* queue : m_Queues) {
            queue->~CQLogQueue();
        }
    }

    unsigned char* Block(std::size_t index) { return reinterpret_cast<unsigned char*>(&m_Words[index * BLOCK_WORDS]); }

    void MakeOne() { m_Queues.push_back(new (Block(m_Queues.size())) CQLogQueue(64U)); }

    /// The process has one queue already: the facade's.
    void MakeAllThatArePossible()
    {
        for (int i = 1; i < 16; ++i) {
            MakeOne();
        }
    }

    std::vector<std::uint64_t> m_Words = std::vector<std::uint64_t>(17 * BLOCK_WORDS);
    std::vector<CQLogQueue*> m_Queues;
};

TEST_F(CQLogQueueLimitTest, MoreThanSixteenQueuesAtOnceThrowBadAlloc)
{
    ASSERT_NO_THROW(MakeAllThatArePossible());

    EXPECT_THROW(MakeOne(), std::bad_alloc);
}

TEST_F(CQLogQueueLimitTest, DestroyedQueueMakesRoomForAnother)
{
    MakeAllThatArePossible();
    m_Queues.back()->~CQLogQueue();
    m_Queues.pop_back();

    EXPECT_NO_THROW(MakeOne());
}

TEST_F(CQLogQueueLimitTest, QueueThatCouldNotBeMadeLeavesTheBlockAlone)
{
    MakeAllThatArePossible();
    std::memset(Block(15), 0xAA, 144);

    EXPECT_THROW(MakeOne(), std::bad_alloc);

    EXPECT_EQ(std::count(Block(15), Block(15) + 144, 0xAA), 144);
}

} // namespace
