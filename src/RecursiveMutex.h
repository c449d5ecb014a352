#ifndef QUARN_LOGGING_RECURSIVE_MUTEX_H
#define QUARN_LOGGING_RECURSIVE_MUTEX_H

#include "MutexAttributes.h"

#include <ace/Recursive_Thread_Mutex.h>

#include <pthread.h>

namespace Quarn::Logging {

/// Replaces the native mutex that libACE has made inside a mutex of ACE by one that is made here.
///
/// A build may bind the POSIX calls of this library to another implementation, which knows only mutexes that it has
/// made itself. Calls inside libACE are out of its reach. Whoever calls this ends the mutex with DestroyNativeMutex().
/// A mutex that cannot be made cannot be locked either: libACE's is gone.
template <class AceMutex>
void MakeNativeMutex(AceMutex& mutex, const pthread_mutexattr_t* attributes)
{
    mutex.remove(); // from here on ACE leaves the native mutex alone, in its destructor too
    pthread_mutex_init(&mutex.lock(), attributes);
}

template <class AceMutex>
void DestroyNativeMutex(AceMutex& mutex)
{
    pthread_mutex_destroy(&mutex.lock());
}

/// ACE's recursive mutex with the library's attributes, made and destroyed by calls of the library.
class RecursiveMutex : public ACE_Recursive_Thread_Mutex
{
public:
    explicit RecursiveMutex(MutexAttributes& attributes) { MakeNativeMutex(*this, attributes.Get()); }
    ~RecursiveMutex() { DestroyNativeMutex(*this); }

    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;
};

} // namespace Quarn::Logging

#endif
