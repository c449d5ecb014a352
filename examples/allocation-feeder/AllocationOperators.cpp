#include "Recorder.h"

#include <cstddef>
#include <cstdlib>
#include <new>

/// @file
/// The global allocation operators. The memory is malloc's, in every form, so that every delete fits every new.
///
/// Each operator takes its return address itself, which is why none is written in terms of another.

using AllocationFeeder::Forget;
using AllocationFeeder::RecordAt;
using AllocationFeeder::RecordCaller;
using AllocationFeeder::SSite;

namespace {

/// Null when memory is exhausted and no handler can help.
void* TryAllocate(std::size_t size, std::size_t alignment)
{
    const std::size_t bytes = size == 0 ? 1 : size; // each object has an address of its own
    for (;;) {
        void* object = nullptr;
        if (alignment <= alignof(std::max_align_t)) {
            object = std::malloc(bytes);
        } else if (posix_memalign(&object, alignment, bytes) != 0) {
            object = nullptr;
        }
        if (object != nullptr) {
            return object;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            return nullptr;
        }
        handler();
    }
}

void* Allocate(std::size_t size, std::align_val_t alignment)
{
    void* object = TryAllocate(size, static_cast<std::size_t>(alignment));
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    return object;
}

/// For the forms that do not throw, though the handler may.
void* AllocateOrNull(std::size_t size, std::align_val_t alignment) noexcept
{
    try {
        return TryAllocate(size, static_cast<std::size_t>(alignment));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* Recorded(const void* returnAddress, void* object, std::size_t size)
{
    if (object != nullptr) {
        RecordCaller(returnAddress, object, size);
    }
    return object;
}

void* RecordedAt(const SSite& site, void* object, std::size_t size)
{
    RecordAt(site, object, size);
    return object;
}

/// Forgotten first: once the memory is given back, another thread may get the same address.
void Release(void* object) noexcept
{
    Forget(object);
    std::free(object);
}

constexpr auto PLAIN = std::align_val_t{1};

} // namespace

#define FEEDER_CALLER __builtin_return_address(0)

void* operator new(std::size_t size) { return Recorded(FEEDER_CALLER, Allocate(size, PLAIN), size); }

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Recorded(FEEDER_CALLER, Allocate(size, alignment), size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Recorded(FEEDER_CALLER, AllocateOrNull(size, PLAIN), size);
}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return Recorded(FEEDER_CALLER, AllocateOrNull(size, alignment), size);
}

void* operator new(std::size_t size, const SSite& site) { return RecordedAt(site, Allocate(size, PLAIN), size); }

void* operator new(std::size_t size, std::align_val_t alignment, const SSite& site)
{
    return RecordedAt(site, Allocate(size, alignment), size);
}

void* operator new[](std::size_t size) { return Recorded(FEEDER_CALLER, Allocate(size, PLAIN), size); }

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return Recorded(FEEDER_CALLER, Allocate(size, alignment), size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Recorded(FEEDER_CALLER, AllocateOrNull(size, PLAIN), size);
}

void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return Recorded(FEEDER_CALLER, AllocateOrNull(size, alignment), size);
}

void* operator new[](std::size_t size, const SSite& site) { return RecordedAt(site, Allocate(size, PLAIN), size); }

void* operator new[](std::size_t size, std::align_val_t alignment, const SSite& site)
{
    return RecordedAt(site, Allocate(size, alignment), size);
}

void operator delete(void* object) noexcept { Release(object); }
void operator delete(void* object, std::size_t /*size*/) noexcept { Release(object); }
void operator delete(void* object, std::align_val_t /*alignment*/) noexcept { Release(object); }
void operator delete(void* object, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { Release(object); }
void operator delete(void* object, const std::nothrow_t& /*tag*/) noexcept { Release(object); }
void operator delete(void* object, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept
{
    Release(object);
}
void operator delete(void* object, const SSite& /*site*/) noexcept { Release(object); }
void operator delete(void* object, std::align_val_t /*alignment*/, const SSite& /*site*/) noexcept { Release(object); }

void operator delete[](void* object) noexcept { Release(object); }
void operator delete[](void* object, std::size_t /*size*/) noexcept { Release(object); }
void operator delete[](void* object, std::align_val_t /*alignment*/) noexcept { Release(object); }
void operator delete[](void* object, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { Release(object); }
void operator delete[](void* object, const std::nothrow_t& /*tag*/) noexcept { Release(object); }
void operator delete[](void* object, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept
{
    Release(object);
}
void operator delete[](void* object, const SSite& /*site*/) noexcept { Release(object); }
void operator delete[](void* object, std::align_val_t /*alignment*/, const SSite& /*site*/) noexcept
{
    Release(object);
}
