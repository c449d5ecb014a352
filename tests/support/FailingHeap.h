#ifndef QUARN_LOGGING_TESTS_FAILING_HEAP_H
#define QUARN_LOGGING_TESTS_FAILING_HEAP_H

namespace QuarnTest {

/// Counts what the program takes from operator new, and lets one of the requests fail. For programs that have
/// FailingHeap.cpp among their sources and one thread.
class FailingHeap
{
public:
    /// @param[in] nth  the request that fails, counted from 1; 0: none
    explicit FailingHeap(int nth);
    ~FailingHeap();
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    int Allocations() const;
};

} // namespace QuarnTest

#endif
