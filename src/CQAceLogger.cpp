// File sizes and directory entries of 64 bits, also where long has 32: a log file may grow beyond 2 GiB, and ACE, built
// like this, hands out directory entries of that layout. Only this file sees them.
#define _FILE_OFFSET_BITS 64 // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): a documented switch

#include "CQAceLogger.h"

#include "FileNamePattern.h"
#include "LogLine.h"
#include "NoCancellation.h"
#include "SystemClocks.h"

#include <QuarnLogging/Logging.h>

#include <ace/Dirent_Selector.h>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Quarn::Logging {

namespace {

std::wstring Widen(const char* name)
{
    std::wstring wide;
    for (; *name != '\0'; ++name) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(*name));
    }
    return wide;
}

std::wstring_view View(const ACE_String_Base<wchar_t>& text) { return {text.c_str(), text.length()}; }

/// An ACE string that gets no memory keeps its old text and says nothing; files would be renamed to names put together
/// from what is left.
void Assign(ACE_String_Base<wchar_t>& target, std::wstring_view text)
{
    target.set(text.data(), text.size(), true);
    if (View(target) != text) {
        throw std::bad_alloc();
    }
}

bool Exists(std::wstring_view name)
{
    struct stat status;
    return stat(Narrow(name).c_str(), &status) == 0;
}

void SleepUntilNextSecond(long microseconds)
{
    const long rest = 1000000 - microseconds;
    const timespec duration = {rest / 1000000, rest % 1000000 * 1000};
    nanosleep(&duration, nullptr);
}

/// Writes past the buffer of a stream, which is to be empty: a tenth of a line's time is spent there.
/// Like the buffer, it does not tell when the device takes nothing.
void WriteToDescriptor(int descriptor, const char* bytes, std::size_t size)
{
    while (size != 0) {
        const ssize_t written = write(descriptor, bytes, size);
        if (written < 0 && errno == EINTR) {
            continue; // a signal of the application's is no reason to lose the rest of a line
        }
        if (written <= 0) {
            break;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

} // namespace

CQAceLogger::~CQAceLogger()
{
    const NoCancellation scope;
    try {
        if (IsFileOpen()) {
            CloseFile();
            Rotate();
        }
    } catch (...) { // a file that keeps its current name is found and renamed by the next run
    }
}

void CQAceLogger::Log(int level, int category, double time, unsigned int threadId, const char* file, int line,
                      const wchar_t* text)
{
    if (m_pStream == nullptr) {
        OpenFileLate();
    }
    if (m_pStream == nullptr) {
        return;
    }
    const int written =
        Write({m_UseColor, level, category, static_cast<long double>(GetStartTime()) + static_cast<long double>(time),
               threadId, file, line, text});

    if (!IsFileOpen() || m_MaxFileSize == 0) {
        return;
    }
    // A line that cannot be converted counts as -1 byte: as the first of a file it wraps the count, and the file ends.
    m_BytesWritten += static_cast<std::uint32_t>(written);
    if (m_BytesWritten >= m_MaxFileSize) {
        RotateFullFile();
    }
}

/// Bytes of the line, or -1 if it cannot be converted. Each way writes the same ones.
int CQAceLogger::Write(const SLogLine& line)
{
    char ascii[LOG_LINE_BUFFER_SIZE];
    const std::size_t length = FormatAsciiLogLine(ascii, line);
    if (length == 0) {
        return WriteWide(line);
    }
    if (IsFileOpen()) {
        if (m_IsLinePending) {
            m_IsLinePending = false;
            std::fflush(m_pStream);
        }
        WriteToDescriptor(fileno(m_pStream), ascii, length);
    } else {
        std::fwrite(ascii, 1, length, m_pStream);
        std::fflush(m_pStream);
    }
    return static_cast<int>(length);
}

/// The way for any line. Out of line for its buffer, which the others are spared.
[[gnu::noinline]] int CQAceLogger::WriteWide(const SLogLine& line)
{
    wchar_t wide[LOG_LINE_BUFFER_SIZE];
    FormatLogLine(wide, line);
    m_IsLinePending = true;
    const int written = std::fprintf(m_pStream, "%ls", wide);
    std::fflush(m_pStream);
    m_IsLinePending = false;
    return written;
}

void CQAceLogger::MessagesDropped(unsigned int count)
{
    wchar_t buffer[LOG_LINE_SIZE];
    std::swprintf(buffer, LOG_LINE_SIZE, L"%d Messages dropped (internal queue full)\n", static_cast<int>(count));
    buffer[LOG_LINE_SIZE - 1] = L'\0';
    // The console gets the notice even when a file is the output; its own buffer then decides when it is seen.
    std::printf("%ls", buffer);
    if (m_pStream != nullptr) { // null would flush every stream of the process
        std::fflush(m_pStream);
    }
}

void CQAceLogger::SetErrorHandler(IQErrorHandler* /*handler*/) {}

void CQAceLogger::SetOutputStream(const wchar_t* name, unsigned int size, unsigned int count)
{
    if (IsFileOpen()) {
        CloseFile();
        Rotate();
    }
    if (*name == L'\0') {
        m_BytesWritten = 0;
        m_MaxFileSize = 0;
        m_FileName.clear();
        m_FileNamePattern.clear();
        m_FileNamePrefix.clear();
        m_FileNameSuffix.clear();
        m_MaxOldFiles = 0;
        m_pStream = stdout;
        return;
    }
    Assign(m_FileNamePattern, name);
    SplitPattern();
    m_MaxFileSize = size;
    m_MaxOldFiles = count == 0 ? 1 : count;
    OpenFile();
}

/// Derives the current name, the prefix and the suffix from the pattern.
void CQAceLogger::SplitPattern()
{
    const SFileNameParts parts = SplitFileName(View(m_FileNamePattern));
    if (!parts.suffix) {
        Assign(m_FileName, parts.prefix);
        Assign(m_FileNamePrefix, parts.prefix);
        return; // The suffix stays what an earlier pattern made it: names of old files keep their ending.
    }
    Assign(m_FileNamePrefix, parts.prefix);
    Assign(m_FileNameSuffix, *parts.suffix);
    Assign(m_FileName, std::wstring(parts.currentHead).append(parts.currentTail));
}

/// Opens an empty current file, after a file of that name was rotated. The stream is null if that fails.
void CQAceLogger::OpenFile()
{
    m_BytesWritten = 0;
    if (EndsEarly(View(m_FileName))) {
        m_pStream = nullptr;
        return;
    }
    if (Exists(View(m_FileName))) {
        Rotate();
    }
    CreateDirectoryOfFile();
    m_pStream = std::fopen(Narrow(View(m_FileName)).c_str(), "w+");
}

/// Tries once more to open the current file, for each line that there is none for, and so does no more than that. A
/// file of its name that came to be there meanwhile, such as that of an earlier run on a disk that was mounted late, is
/// neither renamed nor emptied but continued.
void CQAceLogger::OpenFileLate()
{
    m_BytesWritten = 0;
    if (EndsEarly(View(m_FileName))) {
        return;
    }
    CreateDirectoryOfFile();
    m_pStream = std::fopen(Narrow(View(m_FileName)).c_str(), "a+");
}

/// The stream is null afterwards: what follows may end with an exception, and a closed file is not to be used again.
void CQAceLogger::CloseFile()
{
    std::fclose(m_pStream);
    m_pStream = nullptr;
}

/// One directory, not its parents.
void CQAceLogger::CreateDirectoryOfFile() const
{
    const std::string folder = FolderToMake(View(m_FileName));
    if (!folder.empty()) {
        mkdir(folder.c_str(), 0755);
    }
}

/// Gives the current file, which is closed, a time-stamped name.
void CQAceLogger::MoveFileAside()
{
    WideString name;
    GetNewFileName(name);
    std::rename(Narrow(View(m_FileName)).c_str(), Narrow(View(name)).c_str());
}

void CQAceLogger::Rotate()
{
    MoveFileAside();
    RemoveOldFiles();
}

/// Unlike the other rotations this one makes the fresh file before it removes old ones. Where the current name looks
/// like an old file's, the fresh file is thereby counted and, as the first in order, removed; that is how such a
/// pattern limits the files, and a "-" beside "%T" avoids it.
void CQAceLogger::RotateFullFile()
{
    CloseFile();
    MoveFileAside();
    m_pStream = std::fopen(Narrow(View(m_FileName)).c_str(), "w+");
    m_BytesWritten = 0;
    RemoveOldFiles();
}

/// A time-stamped name under which there is no file. Waits for the next second as often as needed.
void CQAceLogger::GetNewFileName(WideString& result)
{
    for (;;) {
        const timespec now = ReadRealTime();
        const tm calendar = ToLocalDate(now.tv_sec);
        wchar_t timeStamp[80]; // six numbers of any value
        std::swprintf(timeStamp, std::size(timeStamp), L"%04d%02d%02d-%02d%02d%02d", calendar.tm_year + 1900,
                      calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour, calendar.tm_min, calendar.tm_sec);
        const std::wstring name = std::wstring(View(m_FileNamePrefix)).append(timeStamp).append(View(m_FileNameSuffix));
        if (!Exists(name)) {
            Assign(result, name);
            return;
        }
        SleepUntilNextSecond(now.tv_nsec / 1000);
    }
}

/// Removes the oldest of the files that the pattern's prefix and suffix match, beyond the number that is kept. Never
/// anything for a pattern without a directory.
void CQAceLogger::RemoveOldFiles()
{
    const std::wstring_view directory = FolderOfOldFiles(View(m_FileNamePattern));
    if (directory.empty()) {
        return;
    }
    ACE_Dirent_Selector entries;
    if (!Exists(directory)) {
        return;
    }
    if (entries.open(Narrow(directory).c_str()) == -1) {
        return;
    }
    const std::wstring_view base = BaseOfOldFiles(View(m_FileNamePrefix), directory);
    std::vector<std::wstring> names;
    names.reserve(32);
    for (int i = 0; i < entries.length(); ++i) {
        std::wstring name = Widen(entries[i]->d_name);
        if (IsOldFile(name, base, View(m_FileNameSuffix))) {
            names.push_back(std::move(name));
        }
    }
    entries.close();
    if (names.size() <= m_MaxOldFiles) {
        return;
    }
    std::vector<const std::wstring*> sorted;
    sorted.reserve(names.size());
    for (const std::wstring& name : names) {
        sorted.push_back(&name);
    }
    std::qsort(sorted.data(), sorted.size(), sizeof(const std::wstring*), FileNameSort);
    for (std::size_t i = 0; i < names.size() - m_MaxOldFiles; ++i) {
        unlink((Narrow(directory) + '/' + Narrow(*sorted[i])).c_str());
    }
}

/// In the order of character codes: with equal prefix and suffix the oldest time stamp comes first.
int CQAceLogger::FileNameSort(const void* a, const void* b)
{
    return std::wcscmp((*static_cast<const std::wstring* const*>(a))->c_str(),
                       (*static_cast<const std::wstring* const*>(b))->c_str());
}

} // namespace Quarn::Logging
