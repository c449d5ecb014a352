#include "RefusedThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> g_Refuse;
std::atomic<int> g_Refused;

} // namespace

namespace QuarnTest {

RefusedThreads::RefusedThreads()
{
    g_Refused = 0;
    g_Refuse = true;
}

RefusedThreads::~RefusedThreads() { g_Refuse = false; }

int RefusedThreads::Refused() const { return g_Refused; }

} // namespace QuarnTest

// The program's own definition comes before the C library's. The linker's --wrap would not reach the calls of ACE.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument)
{
    if (g_Refuse) {
        ++g_Refused;
        return EAGAIN;
    }
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, body, argument);
}
