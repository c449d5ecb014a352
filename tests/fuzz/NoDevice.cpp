#include <fcntl.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char* path, int flags, ...);

// The library's globals open the reserved memory before main and empty it: never that of the machine.
int __wrap_open(const char* path, int flags, ...)
{
    if (std::strcmp(path, "/dev/qiomemmap") == 0) {
        errno = ENOENT;
        return -1;
    }
    va_list args;
    va_start(args, flags);
    const mode_t mode = va_arg(args, mode_t);
    va_end(args);
    return __real_open(path, flags, mode);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
