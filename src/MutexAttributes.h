#ifndef QUARN_LOGGING_MUTEX_ATTRIBUTES_H
#define QUARN_LOGGING_MUTEX_ATTRIBUTES_H

#include <pthread.h>

namespace Quarn::Logging {

inline void QuarnDestroyMutexAttributes(pthread_mutexattr_t& attributes) { pthread_mutexattr_destroy(&attributes); }

/// Attributes of every mutex in the library: recursive, and with priority inheritance, so that a real-time thread that
/// waits lends its priority to the holder. Declared in front of the mutex made from them, they outlive it.
class MutexAttributes
{
public:
    MutexAttributes()
    {
        pthread_mutexattr_init(&m_Attributes);
        pthread_mutexattr_setprotocol(&m_Attributes, PTHREAD_PRIO_INHERIT);
        pthread_mutexattr_settype(&m_Attributes, PTHREAD_MUTEX_RECURSIVE);
    }
    ~MutexAttributes() { QuarnDestroyMutexAttributes(m_Attributes); }

    MutexAttributes(const MutexAttributes&) = delete;
    MutexAttributes& operator=(const MutexAttributes&) = delete;

    pthread_mutexattr_t* Get() { return &m_Attributes; }

private:
    pthread_mutexattr_t m_Attributes;
};

} // namespace Quarn::Logging

#endif
