#ifndef QUARN_LOGGING_LOCK_GUARD_H
#define QUARN_LOGGING_LOCK_GUARD_H

#include <ace/Recursive_Thread_Mutex.h>

#include <pthread.h>
#include <sched.h>

#include <cerrno>

namespace Quarn::Logging {

/// How often a lock is tried before the thread waits for it.
///
/// A thread that waits for a priority-inheriting mutex goes through the kernel, as does the one that hands it over, for
/// several microseconds; the library holds the locks that control threads meet for a fraction of one. 50 tries take
/// about one. With 0, which the build sets beside a co-kernel, where a try may be a system call, it waits at once.
constexpr int LOCK_TRIES = QUARN_LOCK_TRIES;

/// Rounds of tries for a lock that is held during output, with the processor left to others between two of them: some
/// 30 us in all.
///
/// Who waits for a priority-inheriting mutex gets it while it is still to be woken, and holds up all others for so
/// long, who then wait, too: once there is such a queue, each hand-over takes as long as a wake-up, ten times a line's
/// output. In most cases a few more tries keep it from coming about. Not for a lock that a control thread meets.
constexpr int ROUNDS_DURING_OUTPUT = 20;

/// Locks a native mutex of any kind: 0, or the error. The POSIX calls stand here, and in LockGuard, in plain sight of
/// the linker, so that a build can bind them to another implementation.
inline int LockNativeMutex(pthread_mutex_t& mutex, int rounds = 1)
{
    if constexpr (LOCK_TRIES > 0) {
        for (int round = 0; round < rounds; ++round) {
            if (round != 0) {
                sched_yield();
            }
            for (int tries = 0; tries < LOCK_TRIES; ++tries) {
                const int error = pthread_mutex_trylock(&mutex);
                if (error != EBUSY) {
                    return error;
                }
                __builtin_ia32_pause();
            }
        }
    }
    return pthread_mutex_lock(&mutex);
}

/// How every lock of the library is taken: for a scope, and with the possibility of failing. Whoever finds Locked()
/// false holds nothing and leaves without effect.
class LockGuard
{
public:
    /// A null mutex cannot be locked.
    explicit LockGuard(ACE_Recursive_Thread_Mutex* mutex, int rounds = 1)
        : m_pMutex(mutex != nullptr && LockNativeMutex(mutex->lock(), rounds) == 0 ? &mutex->lock() : nullptr)
    {
    }
    explicit LockGuard(ACE_Recursive_Thread_Mutex& mutex, int rounds = 1)
        : LockGuard(&mutex, rounds)
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
