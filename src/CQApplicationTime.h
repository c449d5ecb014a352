#ifndef QUARN_LOGGING_CQ_APPLICATION_TIME_H
#define QUARN_LOGGING_CQ_APPLICATION_TIME_H

#include "MutexAttributes.h"
#include "RecursiveMutex.h"

#include <ace/Task.h>

#include <time.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace Quarn::Logging {

/// @brief The application clock, and the setting of the system clock.
///
/// The clock is a line through an anchor: a real time, the monotonic time at which it was read, and a rate. A thread
/// of its own moves the anchor to the system clock when it starts and about every 60 seconds after that.
///
/// @par Threads  reading: any; SetClockTime(): one at a time; UpdateClockTime(): the update thread
/// @par Failure  nothing is reported; memory exhausted: the constructor throws std::bad_alloc and leaves nothing behind
class CQApplicationTime
{
public:
    /// A reading of both clocks.
    struct SQTimeUpdate
    {
        std::uint64_t m_RealTimeMs;  ///< Since the epoch; 2^64 - 1000 when the clock could not be read.
        std::uint64_t m_MonotonicNs; ///< Of CLOCK_MONOTONIC.
    };

    /// The thread that updates the clock.
    class CQUpdateThread final : public ACE_Task_Base
    {
    public:
        CQUpdateThread() = default;

        /// The thread has ended before: Stop().
        ~CQUpdateThread() override { m_pApplicationTime = nullptr; }

        CQUpdateThread(const CQUpdateThread&) = delete;
        CQUpdateThread& operator=(const CQUpdateThread&) = delete;

        /// Starts the thread; 0, or -1 if the system refuses one. Without an owner it starts nothing: -EINVAL.
        int Start(CQApplicationTime* owner);

        /// Asks the thread to end, which takes it up to a second, and joins it. 0 also when there is none.
        int Stop();

        /// The thread's body.
        int svc() override;

    private:
        std::atomic<bool> m_Running{false}; ///< Relaxed: it guards nothing, the join orders everything else.
        CQApplicationTime* m_pApplicationTime = nullptr;
    };

    CQApplicationTime();
    ~CQApplicationTime();

    CQApplicationTime(const CQApplicationTime&) = delete;
    CQApplicationTime& operator=(const CQApplicationTime&) = delete;

    /// Moves the anchor to now. 0, or -1 if the lock could not be taken or released.
    int UpdateClockTime();

    /// Reads both clocks, the real-time clock first. No lock.
    static void UpdateClockTime(SQTimeUpdate& out);

    /// The application time in seconds since the epoch. No heap; one clock reading and one short lock.
    double GetClockTime() const;

    /// The local date of the application time: day, month and year in bits 31 to 24, 23 to 16 and 15 to 0. The time
    /// counts as 32 bits whatever the width of time_t: those who read such dates know no later ones. After January
    /// 2038, or if it is no number, the date is 13 December 1901.
    std::uint32_t GetEepromDate() const;

    /// The first call steps the system clock, every later one slews it.
    void SetClockTime(timespec t);

    /// The same in seconds since the epoch. Negative times are not supported.
    void SetClockTime(double seconds);

private:
    void StepClock(const timespec& t, std::uint64_t target);
    void SlewClock(std::uint64_t target);

    MutexAttributes m_MutexAttributes;
    std::unique_ptr<RecursiveMutex> m_pMutex;
    // m_pMutex guards these three.
    double m_Rate = 1.0;
    double m_BaseTime = 0.0;             ///< Seconds since the epoch at the anchor.
    std::uint64_t m_BaseMonotonicNs = 0; ///< CLOCK_MONOTONIC at the anchor.
    SQTimeUpdate m_Reference{};          ///< Taken by the constructor, never changed.
    SQTimeUpdate m_LastUpdate{};         ///< No lock: the update thread alone uses it.
    // No lock: SetClockTime() runs on one thread at a time. Both are 0 until its first call.
    std::uint64_t m_LastSetTargetNs = 0; ///< The time it was asked for, since the epoch.
    std::uint64_t m_LastSetSystemNs = 0; ///< CLOCK_REALTIME when it ran.
    std::unique_ptr<CQUpdateThread> m_pUpdateThread;
};

} // namespace Quarn::Logging

#endif
