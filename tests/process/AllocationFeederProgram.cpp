// The program that AllocationFeederTest runs: lives of the feeder's registry, one per argument.

#include "AllocationFeeder.h"
#include "RecordingLogger.h"

#include <QuarnLogging/Logging.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

std::atomic<bool> g_Stop{false};
std::atomic<int> g_Running{0}; ///< threads that have begun their work

/// Allocated before main() and released after it, outside the registry's life on both sides.
struct SStaticOwner
{
    std::string* text = new std::string(100, 'x');
    ~SStaticOwner() { delete text; }
} g_StaticOwner;

void Allocate()
{
    std::vector<std::unique_ptr<std::string>> texts(8);
    ++g_Running;
    for (std::size_t i = 0; !g_Stop; i = (i + 1) % texts.size()) {
        texts[i] = std::make_unique<std::string>(50 + i, 'x');
    }
}

void AwaitRunning(int threads)
{
    while (g_Running < threads) {
        std::this_thread::yield();
    }
}

class Threads
{
public:
    explicit Threads(void (*function)())
    {
        for (std::thread& thread : m_Threads) {
            thread = std::thread(function);
        }
        AwaitRunning(4);
    }
    ~Threads()
    {
        g_Stop = true;
        for (std::thread& thread : m_Threads) {
            thread.join();
        }
    }

private:
    std::thread m_Threads[4];
};

struct SHere
{
    char bytes[256];
};

struct alignas(128) SAligned
{
    char bytes[1024];
};

struct SThrowing
{
    SThrowing() { throw std::runtime_error("on purpose"); }
};

void TryThrowing()
{
    try {
        FEEDER_NEW SThrowing;
    } catch (const std::runtime_error&) {
    }
}

/// One object by each form of the operator, their sizes being the powers of two from 1 to 2048.
void Forms()
{
    constexpr std::align_val_t line{64};
    AllocationFeeder::Start();
    void* const plain = ::operator new(1);
    void* const array = ::operator new[](2);
    void* const nothrow = ::operator new(4, std::nothrow);
    void* const nothrowArray = ::operator new[](8, std::nothrow);
    void* const aligned = ::operator new(16, line);
    void* const alignedArray = ::operator new[](32, line);
    void* const alignedNothrow = ::operator new(64, line, std::nothrow);
    void* const alignedNothrowArray = ::operator new[](128, line, std::nothrow);
    SHere* const here = FEEDER_NEW SHere;
    char* const hereArray = FEEDER_NEW char[512];
    SAligned* const hereAligned = FEEDER_NEW SAligned;
    SAligned* const hereAlignedArray = FEEDER_NEW SAligned[2];
    TryThrowing();
    AllocationFeeder::Report(-1);
    ::operator delete(plain);
    ::operator delete[](array);
    ::operator delete(nothrow, std::nothrow);
    ::operator delete[](nothrowArray, std::nothrow);
    ::operator delete(aligned, line);
    ::operator delete[](alignedArray, line);
    ::operator delete(alignedNothrow, line, std::nothrow);
    ::operator delete[](alignedNothrowArray, line, std::nothrow);
    delete here;
    delete[] hereArray;
    delete hereAligned;
    delete[] hereAlignedArray;
    AllocationFeeder::Report(-1);
}

/// The registry comes and goes while other threads allocate.
void Lives()
{
    const Threads threads(Allocate);
    for (int i = 0; i < 300; ++i) {
        AllocationFeeder::Start();
        const std::string acrossTheEnd(100, 'x');
        AllocationFeeder::Stop();
    }
}

void LogFromHere(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(4000, -1, __FILE__, __LINE__, format, args);
    va_end(args);
}

void Log()
{
    ++g_Running;
    while (!g_Stop) {
        LogFromHere(L"message");
    }
}

/// A report is made while other threads dispatch to a logger that allocates.
void Reports()
{
    QuarnTest::RecordingLogger logger;
    logger.m_Hook = [&logger](const QuarnTest::SMessage&) { logger.m_Messages.clear(); };
    const Quarn::Logging::SLevelDef all = {Quarn::Logging::CATEGORY_ALL, 0};
    RegisterLogger(&logger, 1, &all);
    AllocationFeeder::Start();
    {
        const Threads threads(Log);
        for (int i = 0; i < 20; ++i) {
            AllocationFeeder::Report(-1);
        }
    }
    UnRegisterLogger(&logger);
}

/// main() returns while a thread allocates.
void Exit()
{
    AllocationFeeder::Start();
    std::thread(Allocate).detach();
    AwaitRunning(1);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string life = argc > 1 ? argv[1] : "";
    SetLogOptions(L"1");
    if (life == "forms") {
        Forms();
    } else if (life == "lives") {
        Lives();
    } else if (life == "reports") {
        Reports();
    } else if (life == "exit") {
        Exit();
    }
    std::puts("ended");
    return 0;
}
