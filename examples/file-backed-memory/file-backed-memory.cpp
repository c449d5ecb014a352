// The reserved memory from a plain file, for places where no device can be made: preloaded (LD_PRELOAD) into a program,
// or linked to it, this library hands out the file that QUARN_MEMORY_FILE names in place of /dev/qiomemmap.
//
// A link from /dev/qiomemmap to the file would not do: the log library opens the device with O_TRUNC, which leaves a
// device alone and empties a file.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr off_t MEMORY_SIZE = 0x200000;

// The system call itself: the log library opens its memory while libraries are still being initialised.
int SystemOpen(const char* path, int flags, mode_t mode)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int OpenMemory(const char* file)
{
    const int fd = SystemOpen(file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) { // the log library goes on without a word
        dprintf(STDERR_FILENO, "file-backed-memory: %s: %s\n", file, std::strerror(errno));
        return -1;
    }
    struct stat status;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size >= MEMORY_SIZE) {
        return fd;
    }
    // All of it at once: a hole that finds the disk full would end the program with a SIGBUS in a log call.
    if (const int error = posix_fallocate(fd, 0, MEMORY_SIZE)) {
        dprintf(STDERR_FILENO, "file-backed-memory: no room for %s: %s\n", file, std::strerror(error));
        close(fd);
        return -1;
    }
    return fd;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, mode_t);
        va_end(args);
    }
    const char* const file = std::getenv("QUARN_MEMORY_FILE");
    const bool isMemory = file != nullptr && std::strcmp(path, "/dev/qiomemmap") == 0;
    return isMemory ? OpenMemory(file) : SystemOpen(path, flags, mode);
}
