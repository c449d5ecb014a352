#ifndef QUARN_LOGGING_TESTS_FAIL_EACH_ALLOCATION_H
#define QUARN_LOGGING_TESTS_FAIL_EACH_ALLOCATION_H

#include "FailingHeap.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

namespace QuarnTest {

enum class Outcome { Completed, Failed, FailedInSilence };

/// Runs an operation in which the nth allocation fails.
template <class Operation>
Outcome RunWithFailure(int nth, Operation operation)
{
    const FailingHeap heap(nth);
    try {
        operation();
    } catch (const std::bad_alloc&) {
        return Outcome::Failed;
    }
    return heap.HasFailed() ? Outcome::FailedInSilence : Outcome::Completed;
}

/// Lets every allocation of an operation fail, one after the other, and looks at the state after each failure, given
/// the number of allocations that the operation kept. The number of failures.
template <class Operation, class Check>
int FailEachAllocation(Operation operation, Check check)
{
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        const long live = LiveAllocations();
        const Outcome outcome = RunWithFailure(nth, operation);
        const long kept = LiveAllocations() - live;
        if (outcome == Outcome::Completed) {
            return nth - 1;
        }
        EXPECT_EQ(outcome, Outcome::Failed);
        check(kept);
    }
}

} // namespace QuarnTest

#endif
