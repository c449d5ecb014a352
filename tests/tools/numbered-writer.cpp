// A process that logs numbered messages into the reserved memory, as fast as it can:
//
//   numbered-writer RUN COUNT laps|full SENT
//
// Message i of the run is "run RUN message i". With "laps" each is dispatched at once, so that the ring goes round;
// with "full" none is before the end, so that what does not fit is dropped. SENT is a file for the number of messages
// that were sent, counted before each call. After the last one it dispatches, sends "run RUN end", and waits to be
// killed.

#include <QuarnLogging/Logging.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

using namespace Quarn::Logging;

namespace {

void Log(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_INFO, 1, "writer.cpp", 1, format, args);
    va_end(args);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        return 2;
    }
    const int run = std::atoi(argv[1]);
    const int count = std::atoi(argv[2]);
    EnableAutologging(std::strcmp(argv[3], "laps") == 0);
    const int fd = open(argv[4], O_RDWR);
    void* const memory = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        return 1;
    }
    volatile int* const sent = static_cast<volatile int*>(memory);
    for (int i = 0; i < count; ++i) {
        *sent = i + 1;
        Log(L"run %d message %d", run, i);
    }
    DispatchQueuedLogMessages();
    *sent = count + 1;
    Log(L"run %d end", run);
    pause();
}
