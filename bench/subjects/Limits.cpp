#include "Subject.h"

#include <fcntl.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

// What nothing that does the same work can be faster than, made of the plainest calls there are.

namespace QuarnBench {

namespace {

void Nothing() {}
void OpenNothing(Scene, const std::string&) {}

void EmptyLoop(int count)
{
    for (int i = 0; i < count; ++i) {
        ForgetMemory();
    }
}

int g_Levels[1000];
int g_Passed = 0;

[[gnu::noinline]] void CountPassed(int number) { g_Passed += number; }

void BareArray(int count)
{
    for (int i = 0; i < count; ++i) {
        if (g_Levels[12] <= 1000) {
            CountPassed(i);
        }
        ForgetMemory();
    }
}

void OpenBareArray(Scene, const std::string&)
{
    for (int& level : g_Levels) {
        level = 2000;
    }
}

/// The parts of an accepted call that cannot be left out: a reading of the clock, the text by vswprintf, a
/// priority-inheriting lock, and a copy of head, text and file name to a ring of 2 MiB.
struct SParts
{
    SParts()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        std::memset(ring, 1, sizeof ring); // its pages are there, as those of a queue in use
    }

    pthread_mutex_t mutex{};
    std::size_t position = 0;
    unsigned char ring[0x200000];
};

SParts g_Parts;

void RunParts(const wchar_t* format, ...)
{
    constexpr std::string_view FILE_NAME = "bench/subjects/Quarn.cpp";
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    unsigned char head[52] = {}; // as long as the head of a record
    std::memcpy(head, &now, sizeof now);
    wchar_t text[1000];
    va_list args;
    va_start(args, format);
    const auto length = static_cast<std::size_t>(std::vswprintf(text, std::size(text), format, args));
    va_end(args);
    const std::size_t size = sizeof head + (length + 1) * sizeof(wchar_t) + FILE_NAME.size() + 1;
    pthread_mutex_lock(&g_Parts.mutex);
    if (g_Parts.position + size > sizeof g_Parts.ring) {
        g_Parts.position = 0;
    }
    unsigned char* to = g_Parts.ring + g_Parts.position;
    to = static_cast<unsigned char*>(std::memcpy(to, head, sizeof head)) + sizeof head;
    const std::size_t textSize = (length + 1) * sizeof(wchar_t);
    to = static_cast<unsigned char*>(std::memcpy(to, text, textSize)) + textSize;
    std::memcpy(to, FILE_NAME.data(), FILE_NAME.size() + 1);
    g_Parts.position += (size + 3) / 4 * 4;
    pthread_mutex_unlock(&g_Parts.mutex);
}

void PartsStatic(int) { RunParts(L"axis reference run finished without errors"); }
void PartsTwoInts(int number) { RunParts(L"axis %d stands at position %d", number & 7, number); }
void PartsMixed(int number)
{
    RunParts(L"axis %d %ls %s %f %x", number & 7, L"drive", "locked", number * 0.25, static_cast<unsigned int>(number));
}

std::vector<std::string> g_Lines(MESSAGE_COUNT);
std::FILE* g_pFile = nullptr;
int g_Descriptor = -1;

/// Opened as the library opens its files.
void OpenWrite(Scene, const std::string& directory)
{
    g_pFile = std::fopen((directory + "/write.log").c_str(), "w+");
    g_Descriptor = g_pFile == nullptr ? -1 : fileno(g_pFile);
}

void CloseWrite()
{
    if (g_pFile != nullptr) {
        std::fclose(g_pFile);
    }
    g_pFile = nullptr;
}

template <Message message>
void Write(int)
{
    const std::string& line = g_Lines[message];
    if (write(g_Descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        std::perror("write");
    }
}

} // namespace

void SetWrittenLines(const std::vector<std::string>& lines) { g_Lines = lines; }

SSubject EmptyLoopSubject()
{
    return {"empty loop", OpenNothing, Nothing, {nullptr, nullptr, nullptr}, Nothing, EmptyLoop, false, false};
}

SSubject BareArraySubject()
{
    return {"array read and compare",
            OpenBareArray,
            Nothing,
            {nullptr, nullptr, nullptr},
            Nothing,
            BareArray,
            false,
            false};
}

SSubject PartsSubject()
{
    return {"unavoidable parts",
            OpenNothing,
            Nothing,
            {PartsStatic, PartsTwoInts, PartsMixed},
            Nothing,
            nullptr,
            true,
            false};
}

SSubject WriteSubject()
{
    return {"write(2)", OpenWrite, CloseWrite, {Write<STATIC_TEXT>, Write<TWO_INTS>, Write<MIXED>},
            Nothing,    nullptr,   false,      true};
}

} // namespace QuarnBench
