#include "FailingHeap.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace QuarnTest {

namespace {

int g_Allocations = 0;
int g_FailingAllocation = 0;

} // namespace

static void* Allocate(std::size_t size)
{
    return ++g_Allocations == g_FailingAllocation ? nullptr : std::malloc(size == 0 ? 1 : size);
}

FailingHeap::FailingHeap(int nth)
{
    g_Allocations = 0;
    g_FailingAllocation = nth;
}

FailingHeap::~FailingHeap() { g_FailingAllocation = 0; }

int FailingHeap::Allocations() const { return g_Allocations; }

} // namespace QuarnTest

void* operator new(std::size_t size)
{
    if (void* const memory = QuarnTest::Allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) { return operator new(size); }

// ACE allocates with these. The sanitizers' own ones would not lead to those above.
void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept { return QuarnTest::Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t& /*unused*/) noexcept { return QuarnTest::Allocate(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
