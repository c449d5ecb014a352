#ifndef RECORDER_H
#define RECORDER_H

#include "AllocationFeeder.h"

#include <cstddef>

/// What the allocation operators tell. Nothing is recorded before Start(), after Stop(), and on a thread that is inside
/// the registry.
namespace AllocationFeeder {

// An exception must not leave the registry, whose mutex would stay locked: when it finds no memory the process ends.

void RecordAt(const SSite& site, void* object, std::size_t size) noexcept;
void RecordCaller(const void* returnAddress, void* object, std::size_t size) noexcept;
void Forget(void* object) noexcept;

} // namespace AllocationFeeder

#endif
