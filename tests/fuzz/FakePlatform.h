#ifndef QUARN_LOGGING_TESTS_FAKE_PLATFORM_H
#define QUARN_LOGGING_TESTS_FAKE_PLATFORM_H

#include "MemoryFileSystem.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace QuarnTest {

/// 13:45:09 on 17 May 2024, UTC: where the clock begins, and what GetStartTime() returns.
constexpr std::int64_t FIRST_SECOND = 1715953509;

/// While it lives, the file system that the code under test calls is in memory, and its clock moves only when it sleeps
/// or when it is moved. Calls in libACE are caught, too. Ends the process as soon as a file is overwritten that should
/// not be.
class FakePlatform
{
public:
    FakePlatform();
    ~FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    /// As fopen with "w+" or "a+". Null, with errno, if there can be no such file.
    std::FILE* Open(const char* path, const std::string& mode);
    void Close(std::FILE* stream);

    /// Gives the files that are open the content that their streams have by now.
    void BringUpToDate() const;

    MemoryFileSystem m_Files;
    std::int64_t m_Now = FIRST_SECOND * 1000000000; ///< CLOCK_REALTIME, nanoseconds.
    std::vector<std::string> m_Unlinked;            ///< What unlink was asked for.
    int m_Removed = 0;                              ///< How often it did it.
    int m_FailedRenames = 0;

private:
    std::map<std::FILE*, MemoryFileSystem::Content> m_Open;
};

/// Standard output into a string.
class CapturedConsole
{
public:
    CapturedConsole();
    ~CapturedConsole();
    CapturedConsole(const CapturedConsole&) = delete;
    CapturedConsole& operator=(const CapturedConsole&) = delete;

    const std::string& Text() const { return m_Text; }

private:
    std::string m_Text;
    std::FILE* m_pBefore;
};

} // namespace QuarnTest

#endif
