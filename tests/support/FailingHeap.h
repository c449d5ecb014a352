#ifndef QUARN_LOGGING_TESTS_FAILING_HEAP_H
#define QUARN_LOGGING_TESTS_FAILING_HEAP_H

#include <cstddef>

/// @file
/// Allocation operators that count and that run out of memory on request, those of the libraries that the program uses
/// included. A test that lists FailingHeap.cpp among its sources has them. All is for the calling thread; others
/// allocate as they like.

namespace QuarnTest {

/// Lets the nth allocation from now on (1: the next) fail once, whether with an exception or with a null pointer. Ends
/// with its scope.
class FailingHeap
{
public:
    explicit FailingHeap(int nth);
    ~FailingHeap();
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    /// False: there were fewer than n allocations.
    bool HasFailed() const;
};

/// Allocations that were not given back yet.
long LiveAllocations();

/// Allocations from now on, failed ones included. One at a time.
class HeapUse
{
public:
    HeapUse();

    long Allocations() const;
    std::size_t LargestAllocation() const; ///< In bytes; 0 if there was none.

private:
    long m_Before;
};

} // namespace QuarnTest

#endif
