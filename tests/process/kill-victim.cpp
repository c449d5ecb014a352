// Logs from eight threads until it is killed: kill-victim <counts file> <first category> <number of messages>
// on|off (automatic logging) constant|variable (lengths) [<image that replaces the memory's content before>].

#include "KillCounts.h"

#include <QuarnLogging/Logging.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

class SilentLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override {}
    void MessagesDropped(unsigned int) override { std::abort(); } // the test's numbers would be wrong
    void SetErrorHandler(IQErrorHandler*) override {}
};

SilentLogger g_SilentLogger;

void LogText(int category, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_INFO, category, "kill-victim.cpp", 7, format, args);
    va_end(args);
}

/// As if this process had logged all that the image holds: a start over such a memory would have emptied it.
void ReplaceMemory(const char* imageFile)
{
    std::ostringstream image;
    image << std::ifstream(imageFile, std::ios::binary).rdbuf();
    const int fd = open(std::getenv("QUARN_MEMORY_FILE"), O_RDWR);
    if (pwrite(fd, image.str().data(), image.str().size(), 0) != 0x200000) {
        std::abort();
    }
    close(fd);
}

} // namespace

int main(int argc, char** argv)
{
    SKillCounts* const counts = SKillCounts::Map(open(argv[1], O_RDWR));
    const int firstCategory = std::atoi(argv[2]);
    const auto limit = static_cast<std::uint32_t>(std::atoi(argv[3]));
    const bool variable = std::string(argv[5]) == "variable";
    const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
    RegisterLogger(&g_SilentLogger, 1, &all);
    EnableAutologging(std::string(argv[4]) == "on");
    if (argc > 6) {
        ReplaceMemory(argv[6]);
    }
    for (int thread = 0; thread < KILL_THREADS; ++thread) {
        std::thread([=] {
            for (std::uint32_t n = 0; counts->started++ < limit; ++n) {
                LogText(firstCategory + thread, L"%ls", KillText(thread, n, variable).c_str());
                counts->returned[thread] = n + 1;
            }
        }).detach();
    }
    for (;;) {
        pause();
    }
}
