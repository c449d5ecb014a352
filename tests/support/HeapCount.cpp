#include "HeapCount.h"

#include <cerrno>
#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUARN_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUARN_SANITIZED
#endif

namespace QuarnTest {

namespace {

thread_local unsigned long g_HeapCalls __attribute__((tls_model("initial-exec"))) = 0;

} // namespace

unsigned long HeapCalls() { return g_HeapCalls; }

bool CountsHeapCalls()
{
#ifdef QUARN_SANITIZED
    return false;
#else
    return true;
#endif
}

} // namespace QuarnTest

#ifndef QUARN_SANITIZED

// The C library's own heap, under the names that it keeps for replacements like this one.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size)
{
    ++QuarnTest::g_HeapCalls;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    ++QuarnTest::g_HeapCalls;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size)
{
    ++QuarnTest::g_HeapCalls;
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++QuarnTest::g_HeapCalls;
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    ++QuarnTest::g_HeapCalls;
    *memory = __libc_memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

void free(void* memory)
{
    if (memory != nullptr) {
        ++QuarnTest::g_HeapCalls;
    }
    __libc_free(memory);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

#endif
