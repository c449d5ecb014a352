#include "FakePlatform.h"

#include "Require.h"

#include <dirent.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace QuarnTest {

namespace {

FakePlatform* g_pPlatform = nullptr;

/// A stream with a descriptor, as a real file has one: the code under test may write past the stream.
std::FILE* OpenInMemory(const std::string& content)
{
    const int descriptor = memfd_create("file", MFD_CLOEXEC);
    Require(descriptor >= 0, "there is a file in memory");
    Require(write(descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "the file goes on behind what it holds");
    return fdopen(descriptor, "w+");
}

ssize_t WriteToConsole(void* cookie, const char* bytes, std::size_t size)
{
    static_cast<std::string*>(cookie)->append(bytes, size);
    return static_cast<ssize_t>(size);
}

/// The result of a call that sets errno.
int Result(bool succeeded)
{
    errno = succeeded ? errno : ENOENT;
    return succeeded ? 0 : -1;
}

template <class Entry>
int ListNames(const char* path, Entry*** list)
{
    const auto names = g_pPlatform->m_Files.Names(path);
    if (!names) {
        return Result(false);
    }
    *list = static_cast<Entry**>(std::malloc(names->size() * sizeof(Entry*)));
    int count = 0;
    for (const std::string& name : *names) {
        auto* const entry = static_cast<Entry*>(std::malloc(sizeof(Entry)));
        std::memcpy(entry->d_name, name.c_str(), name.size() + 1);
        (*list)[count++] = entry;
    }
    return count;
}

} // namespace

FakePlatform::FakePlatform() { g_pPlatform = this; }

FakePlatform::~FakePlatform() { g_pPlatform = nullptr; }

std::FILE* FakePlatform::Open(const char* path, const std::string& mode)
{
    Require(mode == "w+" || mode == "a+", "a log file is opened in one of two ways");
    const MemoryFileSystem::Content content = mode == "w+" ? m_Files.Create(path) : m_Files.CreateOrContinue(path);
    if (content == nullptr) {
        errno = ENOENT;
        return nullptr;
    }
    std::FILE* const stream = OpenInMemory(*content);
    m_Open[stream] = content;
    return stream;
}

void FakePlatform::Close(std::FILE* stream)
{
    BringUpToDate();
    m_Open.erase(stream);
}

void FakePlatform::BringUpToDate() const
{
    for (const auto& [stream, content] : m_Open) {
        const int descriptor = fileno(stream);
        struct stat status;
        Require(fstat(descriptor, &status) == 0, "the file has a size");
        content->resize(static_cast<std::size_t>(status.st_size));
        Require(pread(descriptor, content->data(), content->size(), 0) == static_cast<ssize_t>(content->size()),
                "the file is read");
    }
}

CapturedConsole::CapturedConsole()
    : m_pBefore(stdout)
{
    cookie_io_functions_t functions{};
    functions.write = WriteToConsole;
    stdout = fopencookie(&m_Text, "w", functions);
}

CapturedConsole::~CapturedConsole()
{
    std::fclose(stdout);
    stdout = m_pBefore;
}

} // namespace QuarnTest

using namespace QuarnTest;

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* time);
int __real_fclose(FILE* stream);
FILE* __real_fopen64(const char* path, const char* mode);
int __real_mkdir(const char* path, mode_t mode);
int __real_nanosleep(const timespec* duration, timespec* rest);
int __real_rename(const char* from, const char* to);
int __real_stat64(const char* path, struct stat64* status);
int __real_unlink(const char* path);

int __wrap_clock_gettime(clockid_t clock, timespec* time)
{
    if (g_pPlatform == nullptr) {
        return __real_clock_gettime(clock, time);
    }
    time->tv_sec = static_cast<time_t>(g_pPlatform->m_Now / 1000000000);
    time->tv_nsec = static_cast<long>(g_pPlatform->m_Now % 1000000000);
    return 0;
}

int __wrap_fclose(FILE* stream)
{
    if (g_pPlatform == nullptr) {
        return __real_fclose(stream);
    }
    std::fflush(stream);
    g_pPlatform->Close(stream);
    return __real_fclose(stream);
}

FILE* __wrap_fopen64(const char* path, const char* mode)
{
    if (g_pPlatform == nullptr) {
        return __real_fopen64(path, mode);
    }
    std::size_t before = 0;
    for (const auto& [name, content] : g_pPlatform->m_Files.Entries()) {
        before += content == nullptr ? 0 : content->size();
    }
    std::FILE* const stream = g_pPlatform->Open(path, mode);
    for (const auto& [name, left] : g_pPlatform->m_Files.Entries()) {
        before -= left == nullptr ? 0 : left->size();
    }
    Require(before == 0 || g_pPlatform->m_FailedRenames != 0, "a file is emptied only if it could not be moved away");
    return stream;
}

double __wrap_GetStartTime() { return static_cast<double>(FIRST_SECOND); }

int __wrap_mkdir(const char* path, mode_t mode)
{
    return g_pPlatform == nullptr ? __real_mkdir(path, mode) : Result(g_pPlatform->m_Files.MakeDirectory(path));
}

int __wrap_nanosleep(const timespec* duration, timespec* rest)
{
    if (g_pPlatform == nullptr) {
        return __real_nanosleep(duration, rest);
    }
    g_pPlatform->m_Now += std::int64_t{duration->tv_sec} * 1000000000 + duration->tv_nsec;
    return 0;
}

int __wrap_rename(const char* from, const char* to)
{
    if (g_pPlatform == nullptr) {
        return __real_rename(from, to);
    }
    Require(!g_pPlatform->m_Files.Exists(to), "the name that a file is moved to is free");
    const bool renamed = g_pPlatform->m_Files.Rename(from, to);
    g_pPlatform->m_FailedRenames += renamed ? 0 : 1;
    return Result(renamed);
}

int __wrap_stat64(const char* path, struct stat64* status)
{
    return g_pPlatform == nullptr ? __real_stat64(path, status) : Result(g_pPlatform->m_Files.Exists(path));
}

int __wrap_unlink(const char* path)
{
    if (g_pPlatform == nullptr) {
        return __real_unlink(path);
    }
    g_pPlatform->m_Unlinked.emplace_back(path);
    const bool removed = g_pPlatform->m_Files.Unlink(path);
    g_pPlatform->m_Removed += removed ? 1 : 0;
    return Result(removed);
}

// Of libACE, which is found before the C library's. One is what it calls where it was built for 64 bits, the other
// where for 32.
int scandir(const char* path, dirent*** list, int (*)(const dirent*), int (*)(const dirent**, const dirent**))
{
    return ListNames(path, list);
}

int scandir64(const char* path, dirent64*** list, int (*)(const dirent64*), int (*)(const dirent64**, const dirent64**))
{
    return ListNames(path, list);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
