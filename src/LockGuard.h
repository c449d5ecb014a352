#ifndef QUARN_LOGGING_LOCK_GUARD_H
#define QUARN_LOGGING_LOCK_GUARD_H

#include <ace/Recursive_Thread_Mutex.h>

#include <pthread.h>

#include <cerrno>

namespace Quarn::Logging {

/// How every lock of the library is taken: for a scope, and with the possibility of failing. Whoever finds Locked()
/// false holds nothing and leaves without effect.
///
/// The POSIX calls stand here in plain sight of the linker, so that a build can bind them to another implementation.
class LockGuard
{
public:
    /// A null mutex cannot be locked.
    explicit LockGuard(ACE_Recursive_Thread_Mutex* mutex)
        : m_pMutex(mutex != nullptr && pthread_mutex_lock(&mutex->lock()) == 0 ? &mutex->lock() : nullptr)
    {
    }
    explicit LockGuard(ACE_Recursive_Thread_Mutex& mutex)
        : LockGuard(&mutex)
    {
    }
    ~LockGuard()
    {
        if (m_pMutex != nullptr) {
            pthread_mutex_unlock(m_pMutex);
        }
    }

    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

    [[nodiscard]] bool Locked() const { return m_pMutex != nullptr; }

    /// Ends the lock before the scope does, for those who pass on how that went: 0, or -1.
    [[nodiscard]] int Unlock()
    {
        const int error = m_pMutex != nullptr ? pthread_mutex_unlock(m_pMutex) : EPERM;
        m_pMutex = nullptr;
        return error == 0 ? 0 : -1;
    }

private:
    pthread_mutex_t* m_pMutex;
};

} // namespace Quarn::Logging

#endif
