// Stands in for the POSIX interface of a co-kernel: counts the calls that the linker binds to it and writes the counts
// to the standard error output at the end. Like a real one it serves only mutexes and attributes that it has made.

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

enum Call {
    CLOCK_GETTIME,
    CLOCK_SETTIME,
    CLOSE,
    MMAP,
    MUNMAP,
    NANOSLEEP,
    OPEN,
    MUTEX_DESTROY,
    MUTEX_INIT,
    MUTEX_LOCK,
    MUTEX_UNLOCK,
    MUTEXATTR_DESTROY,
    MUTEXATTR_INIT,
    MUTEXATTR_SETPROTOCOL,
    MUTEXATTR_SETTYPE,
    FOREIGN, // a mutex or an attributes object that was made by somebody else
    CALLS
};

const char* const NAMES[CALLS] = {"clock_gettime",
                                  "clock_settime",
                                  "close",
                                  "mmap",
                                  "munmap",
                                  "nanosleep",
                                  "open",
                                  "pthread_mutex_destroy",
                                  "pthread_mutex_init",
                                  "pthread_mutex_lock",
                                  "pthread_mutex_unlock",
                                  "pthread_mutexattr_destroy",
                                  "pthread_mutexattr_init",
                                  "pthread_mutexattr_setprotocol",
                                  "pthread_mutexattr_settype",
                                  "foreign"};

// The library's globals call before any constructor of a program: all of this is constant-initialised.
std::atomic<int> g_Counts[CALLS];
std::atomic<const void*> g_Known[64];
std::atomic<long> g_SleptSeconds;
std::atomic<long> g_SleptNanoseconds;

void Count(Call call) { ++g_Counts[call]; }

bool Replace(const void* from, const void* to)
{
    for (std::atomic<const void*>& entry : g_Known) {
        const void* expected = from;
        if (entry.compare_exchange_strong(expected, to)) {
            return true;
        }
    }
    return false;
}

int Learn(const void* object) { return Replace(nullptr, object) ? 0 : ENOMEM; }

int Check(const void* object)
{
    if (Replace(object, object)) {
        return 0;
    }
    Count(FOREIGN);
    return EINVAL;
}

int Forget(const void* object)
{
    const int error = Check(object);
    if (error == 0) {
        Replace(object, nullptr);
    }
    return error;
}

[[gnu::destructor]] void Report()
{
    for (int call = 0; call < CALLS; ++call) {
        std::fprintf(stderr, "%s %d\n", NAMES[call], g_Counts[call].load());
    }
}

} // namespace

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

// A time of its own, on which the sleeps pass.
int __wrap_clock_gettime(clockid_t clock, timespec* time)
{
    Count(CLOCK_GETTIME);
    time->tv_sec = (clock == CLOCK_REALTIME ? 1700000000 : 1000) + g_SleptSeconds + g_SleptNanoseconds / 1000000000;
    time->tv_nsec = g_SleptNanoseconds % 1000000000;
    return 0;
}

int __wrap_clock_settime(clockid_t, const timespec*)
{
    Count(CLOCK_SETTIME);
    return 0;
}

int __wrap_nanosleep(const timespec* duration, timespec*)
{
    Count(NANOSLEEP);
    g_SleptSeconds += duration->tv_sec;
    g_SleptNanoseconds += duration->tv_nsec;
    sched_yield();
    return 0;
}

/// Like a real one it leaves what is no device of its own to the system. The library makes no file this way.
int __wrap_open(const char* path, int flags, ...)
{
    Count(OPEN);
    if (std::strcmp(path, "/dev/qiomemmap") != 0) {
        return open(path, flags);
    }
    const int memory = memfd_create("reserved", 0);
    return ftruncate(memory, 0x200000) == 0 ? memory : -1;
}

int __wrap_close(int fd)
{
    Count(CLOSE);
    return close(fd);
}

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    Count(MMAP);
    return mmap(address, length, protection, flags, fd, offset);
}

int __wrap_munmap(void* address, size_t length)
{
    Count(MUNMAP);
    return munmap(address, length);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)
{
    Count(MUTEX_INIT);
    const int error = attributes != nullptr ? Check(attributes) : 0;
    return error != 0 || pthread_mutex_init(mutex, attributes) != 0 ? EINVAL : Learn(mutex);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex)
{
    Count(MUTEX_DESTROY);
    const int error = Forget(mutex);
    return error != 0 ? error : pthread_mutex_destroy(mutex);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    Count(MUTEX_LOCK);
    const int error = Check(mutex);
    return error != 0 ? error : pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    Count(MUTEX_UNLOCK);
    const int error = Check(mutex);
    return error != 0 ? error : pthread_mutex_unlock(mutex);
}

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes)
{
    Count(MUTEXATTR_INIT);
    const int error = pthread_mutexattr_init(attributes);
    return error != 0 ? error : Learn(attributes);
}

int __wrap_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes)
{
    Count(MUTEXATTR_DESTROY);
    const int error = Forget(attributes);
    return error != 0 ? error : pthread_mutexattr_destroy(attributes);
}

int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol)
{
    Count(MUTEXATTR_SETPROTOCOL);
    const int error = Check(attributes);
    return error != 0 ? error : pthread_mutexattr_setprotocol(attributes, protocol);
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type)
{
    Count(MUTEXATTR_SETTYPE);
    const int error = Check(attributes);
    return error != 0 ? error : pthread_mutexattr_settype(attributes, type);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
