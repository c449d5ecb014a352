#include "FailingHeap.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace QuarnTest {

namespace {

// Constant-initialised: the library allocates before any constructor here runs.
std::atomic<long> g_Live;
std::atomic<int> g_Countdown; // at 1 the next allocation fails, at 0 and below none does

void* Allocate(std::size_t size) noexcept
{
    if (g_Countdown > 0 && --g_Countdown == 0) {
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        ++g_Live;
    }
    return memory;
}

void* AllocateOrThrow(std::size_t size)
{
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void Free(void* memory) noexcept
{
    if (memory != nullptr) {
        --g_Live;
        std::free(memory);
    }
}

} // namespace

FailingHeap::FailingHeap(int nth) { g_Countdown = nth; }

FailingHeap::~FailingHeap() { g_Countdown = 0; }

bool FailingHeap::HasFailed() const { return g_Countdown == 0; }

long LiveAllocations() { return g_Live; }

} // namespace QuarnTest

void* operator new(std::size_t size) { return QuarnTest::AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return QuarnTest::AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return QuarnTest::Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return QuarnTest::Allocate(size); }
void operator delete(void* memory) noexcept { QuarnTest::Free(memory); }
void operator delete[](void* memory) noexcept { QuarnTest::Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { QuarnTest::Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { QuarnTest::Free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { QuarnTest::Free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { QuarnTest::Free(memory); }
