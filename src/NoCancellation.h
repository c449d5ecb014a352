#ifndef QUARN_LOGGING_NO_CANCELLATION_H
#define QUARN_LOGGING_NO_CANCELLATION_H

#include <pthread.h>

namespace Quarn::Logging {

/// Puts off the cancellation of the calling thread to the end of a scope that no exception may leave, as a
/// destructor's: a cancellation is one that cannot be swallowed either, and would end the process there.
class NoCancellation
{
public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_Before); }
    ~NoCancellation() { pthread_setcancelstate(m_Before, nullptr); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    int m_Before = PTHREAD_CANCEL_ENABLE;
};

} // namespace Quarn::Logging

#endif
