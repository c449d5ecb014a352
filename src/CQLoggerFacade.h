#ifndef QUARN_LOGGING_CQ_LOGGER_FACADE_H
#define QUARN_LOGGING_CQ_LOGGER_FACADE_H

#include "CQLogFilter.h"
#include "CQLogQueue.h"
#include "MutexAttributes.h"
#include "RecursiveMutex.h"

#include <QuarnLogging/Logging.h>

#include <cstdarg>
#include <cstdint>

namespace Quarn::Logging {

/// @brief The centre of logging: owns the queue, knows the loggers, accepts messages and delivers them.
///
/// A process has one, g_Logger. More are possible; the one constructed last owns g_pLogLevels.
///
/// @par Threads  Log() and DispatchLogMessages(): any. Registrations change while no other thread dispatches: a
///               dispatch walks the list under its own mutex only.
/// @par Failure  a lock that cannot be taken makes an operation a no-op
class CQLoggerFacade
{
public:
    static constexpr const char* SPECIAL_MEMORY_DEVICE_PATH = "/dev/qiomemmap";

    /// Maps the reserved memory, or allocates the queue, and installs the table behind g_pLogLevels. Messages that an
    /// earlier run left in the reserved memory are printed to the console first.
    ///
    /// @param[out] isAlive  true from the moment on at which the facade can be used, which is before it prints, to that
    ///                      at which it begins to end; null if nobody asks. Outlives the facade.
    explicit CQLoggerFacade(bool* isAlive = nullptr);

    /// Takes the table back and releases the queue. What is still queued is not dispatched; in the reserved memory it
    /// stays for the next run.
    ~CQLoggerFacade();

    CQLoggerFacade(const CQLoggerFacade&) = delete;
    CQLoggerFacade& operator=(const CQLoggerFacade&) = delete;

    /// Adds a registration in front of the others; the same logger may have several.
    void RegisterLogger(IQLogger* logger, unsigned int count, const SLevelDef* levels);

    /// Applies settings on top of those of a logger's newest registration.
    void ModifyFilter(const IQLogger* logger, unsigned int count, const SLevelDef* levels);

    /// Removes a logger's newest registration.
    void UnRegisterLogger(const IQLogger* logger);

    /// Stamps, formats and queues one message. Takes no mutex of the facade and allocates nothing.
    void Log(int level, int category, const char* file, int line, const wchar_t* format, va_list args);

    /// Empties the queue into the loggers, then reports what was dropped since the last report.
    void DispatchLogMessages();

    /// CLOCK_MONOTONIC in seconds.
    static double GetTime();

    /// Seconds since the epoch at which the monotonic clock read zero.
    double GetStartTime() const;

    /// pthread_self(), cut to 32 bits.
    static unsigned int GetThreadId();

private:
    /// One registration.
    struct SLoggerEntry
    {
        CQLogFilter m_Filter;
        IQLogger* m_pLogger;
        SLoggerEntry* m_pNext;
    };

    /// A walk over the registrations by the dispatching thread, which finds its way on although the loggers that it
    /// calls unregister. A logger that logs starts another walk inside the first, so there is a chain of them.
    class Walk
    {
    public:
        // Not inlined: gcc 12 overlooks that the destructor takes back what is stored here, and warns of it.
        [[gnu::noinline]] explicit Walk(CQLoggerFacade& facade);
        ~Walk();
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

        /// The next registration, or null at the end.
        const SLoggerEntry* Next();

        /// Goes past a registration that is about to end, in this walk and in those around it.
        void Skip(const SLoggerEntry* entry);

    private:
        CQLoggerFacade& m_Facade;
        SLoggerEntry* m_pNext;
        Walk* m_pOuter;
    };

    /// Categories whose threshold stands in the table.
    static constexpr int NUMBER_OF_LEVELS = 1000;

    void* MapSpecialMemory();
    void InstallLevels();
    void WithdrawLevels();
    void TellWhetherAlive(bool alive);
    void DumpPreviousRun();
    void SetStartTime();
    SLoggerEntry** FindLink(const IQLogger* logger);
    void RebuildGlobalFilter();
    void DeliverToLoggers(int level, int category, double time, unsigned int threadId, const char* file, int line,
                          const wchar_t* text);
    void ReportDropped();

    /// Facades alive. Guarded by nothing: they come and go with the library.
    static std::uint32_t m_NumberOfInstances;

    CQLogQueue* m_pQueue = nullptr;      ///< In the reserved memory or on the heap.
    CQLogFilter m_GlobalFilter;          ///< All registrations' filters combined.
    SLoggerEntry* m_pLoggers = nullptr;  ///< Newest first; changed under m_RegisterMutex.
    int m_Levels[NUMBER_OF_LEVELS];      ///< m_GlobalFilter's thresholds; read by clients without a lock.
    std::uint32_t m_DroppedReported = 0; ///< The queue's counter as last reported; under m_DispatchMutex.
    MutexAttributes m_DispatchMutexAttributes;
    RecursiveMutex m_DispatchMutex{m_DispatchMutexAttributes}; ///< Held for a whole dispatch.
    MutexAttributes m_RegisterMutexAttributes;
    RecursiveMutex m_RegisterMutex{m_RegisterMutexAttributes}; ///< Guards changes of the list.
    int* m_pSavedLogLevels = nullptr;                          ///< g_pLogLevels as it was before.
    void* m_pSpecialMemory = nullptr;                          ///< The mapping, or null.
    int m_SpecialMemoryFd = -1;
    bool* m_pIsAlive;        ///< The owner's; null if there is none.
    Walk* m_pWalk = nullptr; ///< The innermost one, under m_DispatchMutex; null while nobody dispatches.
};

} // namespace Quarn::Logging

#endif
