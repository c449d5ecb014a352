#include <QuarnLogging/CQAllocationInfo.h>

#include "LockGuard.h"
#include "LoggingGlobals.h"
#include "RecursiveMutex.h"

#include <QuarnLogging/Logging.h>

#include <pthread.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>

namespace Quarn::Logging {

// The values stand in the class; this is their storage, which the library exports.
const unsigned int CQAllocationInfo::INVALID_ALLOC_POS_ID;
const unsigned int CQAllocationInfo::FIRST_VALID_ALLOC_POS_ID;

namespace {

// The mutex is taken and released by plain calls, not by a guard, on purpose: an exception leaves it locked, and
// callers that break the contract stop instead of going on with a registry that is only half updated.

/// False if the lock cannot be taken; the operation is then left without effect.
[[nodiscard]] bool Lock(ACE_Thread_Mutex& mutex) { return LockNativeMutex(mutex.lock()) == 0; }

void Unlock(ACE_Thread_Mutex& mutex) { pthread_mutex_unlock(&mutex.lock()); }

template <class T>
T ReadAs(const unsigned char* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value); // the object need not be aligned for T
    return value;
}

/// The bytes in hexadecimal, as characters and, for the sizes that numbers have, as numbers.
std::string FormatMem(const unsigned char* bytes, unsigned int size)
{
    std::ostringstream text;
    text.flags(std::ios_base::hex);
    text << "hex(";
    for (unsigned int i = 0; i < size; ++i) {
        text << static_cast<unsigned int>(bytes[i]) << ' ';
    }
    text << ") | string(";
    for (unsigned int i = 0; i < size; ++i) {
        text << (std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.');
    }
    text << ')';
    text.flags(std::ios_base::dec);
    if (size == 8) {
        text << " | double(" << ReadAs<double>(bytes) << ')';
    } else if (size == 4) {
        text << " | size_t(" << ReadAs<std::uint32_t>(bytes) << ") | int(" << ReadAs<std::int32_t>(bytes) << ')';
    }
    return text.str();
}

/// Each byte becomes the wide character of the same code, whatever the locale's encoding.
std::wstring Widen(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    std::transform(text.begin(), text.end(), wide.begin(),
                   [](char byte) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)); });
    return wide;
}

void DumpMem(int category, void* object, unsigned int size)
{
    const std::wstring text = Widen(FormatMem(static_cast<const unsigned char*>(object), size));
    if (MustLog(category, LEVEL_ERROR)) {
        LogHelperFunc(LEVEL_ERROR, category, __FILE__, __LINE__, L"Object at address %p uses %d Bytes - Dump: %ls",
                      object, size, text.c_str());
    }
}

} // namespace

CQAllocationInfo::CQAllocationInfo() { MakeNativeMutex(m_Mutex, nullptr); }

CQAllocationInfo::~CQAllocationInfo()
{
    try {
        EnableAddInfo(false); // first, so that freeing the registry's own memory cannot feed it
        ClearInfo();
    } catch (...) { // unreachable: nothing throws here, but a destructor must not; the members go either way
    }
    DestroyNativeMutex(m_Mutex);
}

void CQAllocationInfo::EnableAddInfo(bool enable)
{
    if (!Lock(m_Mutex)) {
        return;
    }
    m_AddInfoEnabled = enable;
    Unlock(m_Mutex);
}

bool CQAllocationInfo::IsAddInfoEnabled() const
{
    if (!Lock(m_Mutex)) {
        return false;
    }
    const bool enabled = m_AddInfoEnabled;
    Unlock(m_Mutex);
    return enabled;
}

void CQAllocationInfo::AddInfo(const wchar_t* fileName, unsigned int line, void* object, unsigned int size)
{
    if (!Lock(m_Mutex)) {
        return;
    }
    if (!m_AddInfoEnabled) {
        Unlock(m_Mutex);
        return;
    }
    const int lineNumber = static_cast<int>(line);
    SQAllocInfo& site = GetSite(fileName, lineNumber);
    site.Objects[object] = size;
    if (site.AllocPosId == INVALID_ALLOC_POS_ID) {
        site.AllocPosId = m_NextAllocPosId++;
        m_AllocPositions[site.AllocPosId] = {fileName, lineNumber};
    }
    m_ObjectPositions[object] = site.AllocPosId;
    Unlock(m_Mutex);
}

/// Lock held on entry. The site's record, created empty when there is none.
CQAllocationInfo::SQAllocInfo& CQAllocationInfo::GetSite(const wchar_t* fileName, int line)
{
    if (fileName == nullptr) { // a view of null would be undefined, a string of it throws std::logic_error
        // cppcheck-suppress nullPointerRedundantCheck ; meant to throw
        return m_FileInfo[std::wstring(fileName)][line]; // NOLINT(clang-analyzer-cplusplus.StringChecker): meant to
    }
    auto file = m_FileInfo.lower_bound(std::wstring_view(fileName));
    if (file == m_FileInfo.end() || file->first != fileName) {
        file = m_FileInfo.try_emplace(file, fileName);
    }
    return file->second[line];
}

void CQAllocationInfo::TryRemoveInfo(void* object)
{
    if (!Lock(m_Mutex)) {
        return;
    }
    const auto position = m_ObjectPositions.find(object);
    if (position == m_ObjectPositions.end()) {
        Unlock(m_Mutex);
        return;
    }
    const unsigned int id = position->second;
    const SQAllocPos site = m_AllocPositions[id];
    m_ObjectPositions.erase(position);
    auto& lines = m_FileInfo[site.FileName];
    auto& objects = lines[site.LineNumber].Objects;
    objects.erase(object);
    if (objects.empty()) {
        lines.erase(site.LineNumber);
        m_AllocPositions.erase(id);
        if (lines.empty()) {
            m_FileInfo.erase(site.FileName);
        }
    }
    Unlock(m_Mutex);
}

void CQAllocationInfo::ClearInfo()
{
    if (!Lock(m_Mutex)) {
        return;
    }
    m_AllocPositions.clear();
    m_ObjectPositions.clear();
    m_FileInfo.clear();
    m_NextAllocPosId = FIRST_VALID_ALLOC_POS_ID;
    Unlock(m_Mutex);
}

void CQAllocationInfo::AddLineNumberUsedForMemoryDump(unsigned int line)
{
    if (!Lock(m_Mutex)) {
        return;
    }
    m_DumpLineNumbers.push_back(static_cast<int>(line));
    Unlock(m_Mutex);
}

void CQAllocationInfo::AddObjectSizeUsedForMemoryDump(unsigned int size)
{
    if (!Lock(m_Mutex)) {
        return;
    }
    m_DumpObjectSizes.push_back(size);
    Unlock(m_Mutex);
}

void CQAllocationInfo::ClearMemoryDumpSelections()
{
    if (!Lock(m_Mutex)) {
        return;
    }
    m_DumpLineNumbers.clear();
    m_DumpObjectSizes.clear();
    Unlock(m_Mutex);
}

void CQAllocationInfo::DumpInfo(int category) const
{
    if (!Lock(m_Mutex)) {
        return;
    }
    unsigned int totalBytes = 0;
    unsigned int totalObjects = 0;
    for (const auto& [fileName, lines] : m_FileInfo) {
        for (const auto& [line, site] : lines) {
            totalBytes += DumpSite(category, fileName, line, site);
            totalObjects += static_cast<unsigned int>(site.Objects.size());
        }
    }
    if (MustLog(category, LEVEL_ERROR)) {
        LogHelperFunc(LEVEL_ERROR, category, __FILE__, __LINE__, L"Total memory usage:  %d Bytes in %d objects",
                      totalBytes, totalObjects);
    }
    Unlock(m_Mutex);
}

/// Lock held on entry. Logs one site and returns the sum of its objects' sizes.
unsigned int CQAllocationInfo::DumpSite(int category, const std::wstring& fileName, int line,
                                        const SQAllocInfo& site) const
{
    const int lineNumber = m_AllocPositions.at(site.AllocPosId).LineNumber;
    const bool lineSelected =
        std::find(m_DumpLineNumbers.begin(), m_DumpLineNumbers.end(), lineNumber) != m_DumpLineNumbers.end();
    std::map<unsigned int, unsigned int> countOfSize;
    unsigned int bytes = 0;
    for (const auto& [object, size] : site.Objects) {
        // One dump for every time the size was selected, and one more for the line.
        const auto dumps =
            std::count(m_DumpObjectSizes.begin(), m_DumpObjectSizes.end(), size) + (lineSelected ? 1 : 0);
        for (auto i = dumps; i > 0; --i) {
            DumpMem(category, object, size);
        }
        ++countOfSize[size];
        bytes += size;
    }
    for (const auto& [size, count] : countOfSize) {
        if (MustLog(category, LEVEL_ERROR)) {
            LogHelperFunc(LEVEL_ERROR, category, __FILE__, __LINE__, L"BlockSize of %d bytes %d times allocated", size,
                          count);
        }
    }
    if (MustLog(category, LEVEL_ERROR)) {
        LogHelperFunc(LEVEL_ERROR, category, __FILE__, __LINE__, L"%ls@%d %d objects created - memory usage: %d Bytes ",
                      fileName.c_str(), line, static_cast<unsigned int>(site.Objects.size()), bytes);
    }
    return bytes;
}

} // namespace Quarn::Logging
