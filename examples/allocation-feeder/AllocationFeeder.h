#ifndef ALLOCATION_FEEDER_H
#define ALLOCATION_FEEDER_H

#include <cstddef>
#include <new>

/// Supplies the global allocation operators of a process and feeds an allocation registry from them.
///
/// A program links this library and calls Start(). From then on every object that comes from an allocation operator is
/// recorded until it is released. Objects made with FEEDER_NEW are recorded with file and line, all others with the
/// address from which the operator was called; the report turns that into file and line.
namespace AllocationFeeder {

/// Begins the registry's life and recording. Does nothing if it lives already.
void Start();

/// Ends the registry's life; waits for the threads that are inside it. Called at exit, too.
void Stop();

/// Selects objects for byte dumps in the report.
void DumpObjectsOfLine(unsigned int line);
void DumpObjectsOfSize(unsigned int size);

/// Logs the registry's report. Not to be called from a logger.
void Report(int category);

/// A source position.
struct SSite
{
    const wchar_t* file;
    unsigned int line;
};

} // namespace AllocationFeeder

void* operator new(std::size_t size, const AllocationFeeder::SSite& site);
void* operator new[](std::size_t size, const AllocationFeeder::SSite& site);
void* operator new(std::size_t size, std::align_val_t alignment, const AllocationFeeder::SSite& site);
void* operator new[](std::size_t size, std::align_val_t alignment, const AllocationFeeder::SSite& site);

// Called only when a constructor throws behind one of the operators above.
void operator delete(void* object, const AllocationFeeder::SSite& site) noexcept;
void operator delete[](void* object, const AllocationFeeder::SSite& site) noexcept;
void operator delete(void* object, std::align_val_t alignment, const AllocationFeeder::SSite& site) noexcept;
void operator delete[](void* object, std::align_val_t alignment, const AllocationFeeder::SSite& site) noexcept;

#define FEEDER_WIDE(text) L##text
#define FEEDER_WIDEN(text) FEEDER_WIDE(text)

/// As in: auto* sample = FEEDER_NEW Sample(1.5);
#define FEEDER_NEW new (AllocationFeeder::SSite{FEEDER_WIDEN(__FILE__), __LINE__})

#endif
