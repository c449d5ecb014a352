#ifndef QUARN_LOGGING_TESTS_KILL_COUNTS_H
#define QUARN_LOGGING_TESTS_KILL_COUNTS_H

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cwchar>
#include <string>

namespace QuarnTest {

constexpr int KILL_THREADS = 8;

/// What a victim tells while it runs, in a file that both sides map, so that it is known after its death too.
struct SKillCounts
{
    std::atomic<std::uint32_t> started;                ///< Log calls that began, all threads together.
    std::atomic<std::uint32_t> returned[KILL_THREADS]; ///< Log calls that returned.

    static SKillCounts* Map(int fd)
    {
        void* const memory = mmap(nullptr, sizeof(SKillCounts), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        return memory == MAP_FAILED ? nullptr : static_cast<SKillCounts*>(memory);
    }
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

/// The text of a thread's n-th message: always of the same length, or mostly short and now and then long, so that laps
/// end at different places and leave records of earlier laps behind.
inline std::wstring KillText(int thread, std::uint32_t n, bool variable)
{
    wchar_t text[64];
    std::swprintf(text, 64, L"thread %d message %08u", thread, n);
    const std::uint32_t lengthening = (n + static_cast<std::uint32_t>(thread)) % 8 == 0 ? 300 : n * 7 % 11;
    return text + std::wstring(variable ? lengthening : 0, L'+');
}

} // namespace QuarnTest

#endif
