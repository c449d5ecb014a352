#ifndef QUARN_LOGGING_TESTS_HEAP_COUNT_H
#define QUARN_LOGGING_TESTS_HEAP_COUNT_H

/// Link tests/support/HeapCount.cpp into a program to count its heap calls: it replaces malloc and its kin for the
/// whole process, the C library included.

namespace QuarnTest {

/// Heap calls of the calling thread so far, releases included.
unsigned long HeapCalls();

/// False under a sanitizer, which has to keep the heap to itself; HeapCalls() is then always 0.
bool CountsHeapCalls();

} // namespace QuarnTest

#endif
