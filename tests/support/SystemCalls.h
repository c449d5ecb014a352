#ifndef QUARN_LOGGING_TESTS_SYSTEM_CALLS_H
#define QUARN_LOGGING_TESTS_SYSTEM_CALLS_H

#include <functional>
#include <vector>

namespace QuarnTest {

/// Runs prepare and then act in a child process, and returns the numbers of the system calls that act made on its
/// thread. Clock readings are left out: they are system calls only where the kernel offers none in user space.
std::vector<long> SystemCallsOf(const std::function<void()>& prepare, const std::function<void()>& act);

} // namespace QuarnTest

#endif
