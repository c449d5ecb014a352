#include "CQLogQueue.h"
#include "GuardedMemory.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <utility>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

const std::function<void()>* g_pOnUnlock = nullptr; // once, behind the next release of a lock

} // namespace

extern "C" {
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex); // NOLINT(bugprone-reserved-identifier)
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)  // NOLINT(bugprone-reserved-identifier)
{
    const int error = __real_pthread_mutex_unlock(mutex);
    if (const std::function<void()>* const act = std::exchange(g_pOnUnlock, nullptr)) {
        (*act)();
    }
    return error;
}
}

namespace {

constexpr std::size_t SIZE = 0x200000;
constexpr std::uint32_t CAPACITY = 0x1FFFB0;

// Where things stand in the block.
constexpr std::size_t WRITE_POS = 48;
constexpr std::size_t READ_POS = 52;
constexpr std::size_t COUNT = 60;
constexpr std::size_t BUFFER = 80;
constexpr std::size_t TEXT_LENGTH = 40; // in a record

/// A queue in whose block another process writes what its own queue holds there. What lies around the block is not to
/// be touched: an access ends the test program.
class CQLogQueueIntruderTest : public testing::Test
{
protected:
    void SetUp() override
    {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "these are races, on purpose";
#endif
        m_pQueue = new (Block()) CQLogQueue(false);
    }
    void TearDown() override
    {
        if (m_pQueue != nullptr) {
            m_pQueue->~CQLogQueue();
        }
    }

    unsigned char* Block() { return m_Memory.Bytes(); }

    void Set(std::size_t offset, std::uint32_t value)
    {
        __atomic_store_n(reinterpret_cast<std::uint32_t*>(Block() + offset), value, __ATOMIC_RELAXED);
    }

    /// Does something over and over while another thread disturbs.
    template <class Act, class Disturb>
    static void Meanwhile(const Act& act, const Disturb& disturb)
    {
        std::atomic<bool> done{false};
        std::thread intruder([&] {
            while (!done) {
                disturb();
            }
        });
        for (int i = 0; i < 1000000; ++i) {
            act();
        }
        done = true;
        intruder.join();
    }

    GuardedMemory m_Memory{SIZE};
    CQLogQueue* m_pQueue = nullptr;
};

TEST_F(CQLogQueueIntruderTest, RecordStaysInsideTheBlockWhileTheWritePositionChanges)
{
    const std::wstring text(200, L'x');
    Meanwhile(
        [&] {
            Set(COUNT, 0);
            m_pQueue->WriteMessage(1, 2, 3.0, 4, "file", 5, text.c_str());
        },
        [this] {
            Set(WRITE_POS, CAPACITY - 60);
            Set(WRITE_POS, 60);
        });

    EXPECT_EQ(m_pQueue->GetDropped(), 0U);
}

TEST_F(CQLogQueueIntruderTest, StringsOfAReadRecordLieInTheBlockWhileItsLengthsChange)
{
    m_pQueue->WriteMessage(1, 2, 3.0, 4, "file", 5, L"text");
    bool inside = true;
    Meanwhile(
        [&] {
            Set(COUNT, 1);
            Set(READ_POS, 0);
            int number = 0;
            double time = 0;
            unsigned int threadId = 0;
            const char* file = nullptr;
            const wchar_t* text = nullptr;
            if (m_pQueue->ReadMessage(number, number, time, threadId, file, number, text)) {
                const auto* const bytes = reinterpret_cast<const unsigned char*>(file);
                inside = inside && (*file == '\0' || (bytes >= Block() && bytes < Block() + SIZE));
            }
        },
        [this] {
            Set(BUFFER + TEXT_LENGTH, 0x7A7A7A7A);
            Set(BUFFER + TEXT_LENGTH, 4);
        });

    EXPECT_TRUE(inside);
}

TEST_F(CQLogQueueIntruderTest, FileNameIsEmptyIfTheTextGetsLongerThanTheBlockOnceTheRecordWasChecked)
{
    m_pQueue->WriteMessage(1, 2, 3.0, 4, "file", 5, L"text");
    int number = 0;
    double time = 0;
    unsigned int threadId = 0;
    const char* file = nullptr;
    const wchar_t* text = nullptr;
    const std::function<void()> intrude = [this] { Set(BUFFER + TEXT_LENGTH, 0x7A7A7A7A); };
    g_pOnUnlock = &intrude;

    const bool isRead = m_pQueue->ReadMessage(number, number, time, threadId, file, number, text);

    ASSERT_TRUE(isRead);
    EXPECT_STREQ(file, "");
    EXPECT_STREQ(text, L"text");
}

} // namespace
