#include "FailingHeap.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace QuarnTest {

namespace {

// Constant-initialised: the library allocates before any constructor here runs.
thread_local long t_Allocations;
thread_local long t_Live;
thread_local std::size_t t_Largest; // bytes
thread_local int t_Countdown;       // at 1 the next allocation fails, at 0 and below none does

void* Allocate(std::size_t size) noexcept
{
    ++t_Allocations;
    t_Largest = std::max(t_Largest, size);
    if (t_Countdown > 0 && --t_Countdown == 0) {
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        ++t_Live;
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
        --t_Live;
        std::free(memory);
    }
}

} // namespace

FailingHeap::FailingHeap(int nth) { t_Countdown = nth; }

FailingHeap::~FailingHeap() { t_Countdown = 0; }

bool FailingHeap::HasFailed() const { return t_Countdown == 0; }

long LiveAllocations() { return t_Live; }

HeapUse::HeapUse()
    : m_Before(t_Allocations)
{
    t_Largest = 0;
}

long HeapUse::Allocations() const { return t_Allocations - m_Before; }

std::size_t HeapUse::LargestAllocation() const { return t_Largest; }

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
