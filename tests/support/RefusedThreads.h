#ifndef QUARN_LOGGING_TESTS_REFUSED_THREADS_H
#define QUARN_LOGGING_TESTS_REFUSED_THREADS_H

namespace QuarnTest {

/// While one of these exists the system refuses to create threads. For programs that link RefusedThreads.cpp.
class RefusedThreads
{
public:
    RefusedThreads();
    ~RefusedThreads();
    RefusedThreads(const RefusedThreads&) = delete;
    RefusedThreads& operator=(const RefusedThreads&) = delete;

    /// Threads asked for and refused so far.
    int Refused() const;
};

} // namespace QuarnTest

#endif
