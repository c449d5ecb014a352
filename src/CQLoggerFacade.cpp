#include "CQLoggerFacade.h"

#include "LockGuard.h"
#include "MessageFormat.h"
#include "NoCancellation.h"
#include "RelaxedAccess.h"
#include "SystemClocks.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>

namespace Quarn::Logging {

namespace {

constexpr std::size_t SPECIAL_MEMORY_SIZE = sizeof(CQLogQueue);

/// Wide characters of a message, terminator included.
constexpr std::size_t TEXT_SIZE = 1000;

} // namespace

std::uint32_t CQLoggerFacade::m_NumberOfInstances = 0;

CQLoggerFacade::CQLoggerFacade(bool* isAlive)
    : m_pIsAlive(isAlive)
{
    m_pSpecialMemory = MapSpecialMemory();
    m_pQueue = m_pSpecialMemory != nullptr ? new (m_pSpecialMemory) CQLogQueue(true) : new CQLogQueue(false);
    InstallLevels();
    TellWhetherAlive(true);
    if (m_pQueue->GetCount() != 0) {
        DumpPreviousRun();
    }
    SetStartTime(); // not earlier: the dumped lines show the times of their own run
    ++m_NumberOfInstances;
    m_DroppedReported = 0;
}

CQLoggerFacade::~CQLoggerFacade()
{
    const NoCancellation scope;
    TellWhetherAlive(false);
    WithdrawLevels();
    while (m_pLoggers != nullptr) {
        SLoggerEntry* const entry = m_pLoggers;
        m_pLoggers = entry->m_pNext;
        delete entry;
    }
    if (m_pSpecialMemory == nullptr) {
        delete m_pQueue;
        return;
    }
    m_pQueue->~CQLogQueue();
    if (munmap(m_pSpecialMemory, SPECIAL_MEMORY_SIZE) != 0) {
        std::perror("Error un-mmapping the protected memory for log queue.");
    }
    close(m_SpecialMemoryFd);
}

/// The device, mapped; or null, which leaves the queue to ordinary memory.
void* CQLoggerFacade::MapSpecialMemory()
{
    // O_TRUNC does nothing to a device. It would empty a regular file, which is why none can stand in for the device.
    m_SpecialMemoryFd = open(SPECIAL_MEMORY_DEVICE_PATH, O_RDWR | O_TRUNC, 0600);
    if (m_SpecialMemoryFd < 0) {
        return nullptr; // the normal case on a machine without reserved memory, so nothing is said
    }
    void* const memory = mmap(nullptr, SPECIAL_MEMORY_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, m_SpecialMemoryFd, 0);
    if (memory == MAP_FAILED) {
        std::perror("Error mmapping the protected memory for log queue.");
        std::printf("Could not mmap %u bytes for CQLogQueue in special reserved memory, using standard memory instead",
                    static_cast<unsigned int>(SPECIAL_MEMORY_SIZE));
        close(m_SpecialMemoryFd);
        return nullptr;
    }
    std::printf("Successfully mmapped 0x%08x (%gMB) bytes for CQLogQueue in special reserved memory.\n",
                static_cast<unsigned int>(SPECIAL_MEMORY_SIZE), SPECIAL_MEMORY_SIZE / 1048576.0);
    return memory;
}

void CQLoggerFacade::InstallLevels()
{
    for (int& level : m_Levels) {
        level = LEVEL_NONE;
    }
    m_pSavedLogLevels = LoadRelaxed(g_pLogLevels);
    StoreRelaxed(g_pLogLevels, &m_Levels[0]);
    StoreRelaxed(g_MaxLogLevels, NUMBER_OF_LEVELS);
}

void CQLoggerFacade::WithdrawLevels()
{
    StoreRelaxed(g_pLogLevels, m_pSavedLogLevels);
    if (--m_NumberOfInstances == 0) {
        StoreRelaxed(g_pLogLevels, static_cast<int*>(nullptr));
        StoreRelaxed(g_MaxLogLevels, -1);
    }
}

void CQLoggerFacade::TellWhetherAlive(bool alive)
{
    if (m_pIsAlive != nullptr) {
        StoreRelaxed(*m_pIsAlive, alive);
    }
}

/// Prints what a previous run left in the queue, which may have ended before it could print it, and empties the queue.
/// Through the exported functions, so that a process that defines them itself has its own called. They use g_Logger,
/// which is the facade under construction.
void CQLoggerFacade::DumpPreviousRun()
{
    std::puts("Found log entries of a previous run, beginning of dump: ------------------------");
    SetLogOptions(L"l5;c");
    DispatchQueuedLogMessages();
    SetLogOptions(L"l0");
    std::puts("End of dumped log entries of a previous run ------------------------------------");
    m_pQueue->ClearAll();
}

void CQLoggerFacade::SetStartTime()
{
    const std::uint64_t realTimeMs = ReadRealTimeMs();
    m_pQueue->SetStartTime(static_cast<double>(static_cast<long double>(realTimeMs) * static_cast<long double>(0.001) -
                                               ReadMonotonicSeconds()));
}

void CQLoggerFacade::RegisterLogger(IQLogger* logger, unsigned int count, const SLevelDef* levels)
{
    const LockGuard guard(m_RegisterMutex);
    if (!guard.Locked()) {
        return;
    }
    auto entry = std::make_unique<SLoggerEntry>();
    entry->m_Filter.SetFilter(count, levels);
    entry->m_pLogger = logger;
    entry->m_pNext = m_pLoggers;
    m_pLoggers = entry.get();
    try {
        RebuildGlobalFilter();
    } catch (const std::bad_alloc&) { // a logger whose registration fails must not stay, its owner may end it
        m_pLoggers = entry->m_pNext;
        RebuildGlobalFilter();
        throw;
    }
    static_cast<void>(entry.release()); // the list owns it
}

void CQLoggerFacade::ModifyFilter(const IQLogger* logger, unsigned int count, const SLevelDef* levels)
{
    {
        const LockGuard guard(m_RegisterMutex);
        if (!guard.Locked()) {
            return;
        }
        if (SLoggerEntry* const entry = *FindLink(logger)) {
            entry->m_Filter.SetFilter(count, levels);
        }
    }
    // Without the lock, and for an unknown logger too, unlike the other two: kept, since a rebuild may be long and
    // registrations do not change while others use them.
    RebuildGlobalFilter();
}

void CQLoggerFacade::UnRegisterLogger(const IQLogger* logger)
{
    if (m_pLoggers == nullptr) {
        return;
    }
    const LockGuard guard(m_RegisterMutex);
    if (!guard.Locked()) {
        return;
    }
    SLoggerEntry** const link = FindLink(logger);
    if (SLoggerEntry* const entry = *link) {
        if (m_pWalk != nullptr) {
            m_pWalk->Skip(entry);
        }
        *link = entry->m_pNext;
        delete entry;
    }
    RebuildGlobalFilter();
}

/// The pointer in the list that points to a logger's newest registration, or the null at the list's end.
CQLoggerFacade::SLoggerEntry** CQLoggerFacade::FindLink(const IQLogger* logger)
{
    SLoggerEntry** link = &m_pLoggers;
    while (*link != nullptr && (*link)->m_pLogger != logger) {
        link = &(*link)->m_pNext;
    }
    return link;
}

void CQLoggerFacade::RebuildGlobalFilter()
{
    m_GlobalFilter.Reset();
    for (const SLoggerEntry* entry = m_pLoggers; entry != nullptr; entry = entry->m_pNext) {
        m_GlobalFilter.Combine(entry->m_Filter);
    }
    for (int category = 0; category < NUMBER_OF_LEVELS; ++category) {
        StoreRelaxed(m_Levels[category], m_GlobalFilter.GetLevel(category));
    }
}

void CQLoggerFacade::Log(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    // Categories in the table were judged by the caller.
    if ((category < 0 || category >= LoadRelaxed(g_MaxLogLevels)) && !m_GlobalFilter.MustLog(category, level)) {
        return;
    }
    const double time = GetTime();
    const unsigned int threadId = GetThreadId();
    wchar_t text[TEXT_SIZE];
    // A text that is too long, or that cannot be converted, leaves what was formatted so far.
    FormatMessage(text, TEXT_SIZE, format, args);
    text[TEXT_SIZE - 1] = L'\0';
    m_pQueue->WriteMessage(level, category, time, threadId, file, line, text);
}

void CQLoggerFacade::DispatchLogMessages()
{
    const LockGuard guard(m_DispatchMutex, ROUNDS_DURING_OUTPUT);
    if (!guard.Locked()) {
        return;
    }
    int level = 0;
    int category = 0;
    double time = 0;
    unsigned int threadId = 0;
    const char* file = nullptr;
    int line = 0;
    const wchar_t* text = nullptr;
    while (m_pQueue->ReadMessage(level, category, time, threadId, file, line, text)) {
        DeliverToLoggers(level, category, time, threadId, file, line, text);
    }
    ReportDropped();
}

void CQLoggerFacade::DeliverToLoggers(int level, int category, double time, unsigned int threadId, const char* file,
                                      int line, const wchar_t* text)
{
    Walk walk(*this);
    while (const SLoggerEntry* const entry = walk.Next()) {
        if (entry->m_Filter.MustLog(category, level)) {
            entry->m_pLogger->Log(level, category, time, threadId, file, line, text);
        }
    }
}

void CQLoggerFacade::ReportDropped()
{
    const std::uint32_t dropped = m_pQueue->GetDropped();
    if (dropped <= m_DroppedReported) {
        return;
    }
    const std::uint32_t unreported = dropped - m_DroppedReported;
    m_DroppedReported = dropped;
    Walk walk(*this);
    while (const SLoggerEntry* const entry = walk.Next()) {
        entry->m_pLogger->MessagesDropped(unreported);
    }
}

CQLoggerFacade::Walk::Walk(CQLoggerFacade& facade)
    : m_Facade(facade)
    , m_pNext(facade.m_pLoggers)
    , m_pOuter(facade.m_pWalk)
{
    facade.m_pWalk = this;
}

CQLoggerFacade::Walk::~Walk() { m_Facade.m_pWalk = m_pOuter; }

const CQLoggerFacade::SLoggerEntry* CQLoggerFacade::Walk::Next()
{
    const SLoggerEntry* const entry = m_pNext;
    if (entry != nullptr) {
        m_pNext = entry->m_pNext;
    }
    return entry;
}

void CQLoggerFacade::Walk::Skip(const SLoggerEntry* entry)
{
    for (Walk* walk = this; walk != nullptr; walk = walk->m_pOuter) {
        if (walk->m_pNext == entry) {
            walk->m_pNext = entry->m_pNext;
        }
    }
}

double CQLoggerFacade::GetTime() { return static_cast<double>(ReadMonotonicSeconds()); }

double CQLoggerFacade::GetStartTime() const { return m_pQueue->GetStartTime(); }

unsigned int CQLoggerFacade::GetThreadId() { return static_cast<unsigned int>(pthread_self()); }

} // namespace Quarn::Logging
