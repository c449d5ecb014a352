#ifndef QUARN_LOGGING_TESTS_HEAP_IN_USE_H
#define QUARN_LOGGING_TESTS_HEAP_IN_USE_H

#include <cstddef>

#include <malloc.h>

// Of a sanitizer, which has a heap of its own; null without one.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() // NOLINT(bugprone-reserved-identifier)
    __attribute__((weak));

namespace QuarnTest {

/// Bytes of the process's heap that are not free.
inline std::size_t HeapInUse()
{
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// False under the address sanitizer: what was freed stays in use there for a while, so that accesses to it are found,
/// and HeapInUse() grows. That nothing is lost is then the leak sanitizer's to say.
inline bool FreedMemoryIsNotInUse()
{
#if defined(__SANITIZE_ADDRESS__)
    return false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return false;
#else
    return true;
#endif
#else
    return true;
#endif
}

} // namespace QuarnTest

#endif
