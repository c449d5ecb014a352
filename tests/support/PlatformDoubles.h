#ifndef QUARN_LOGGING_TESTS_PLATFORM_DOUBLES_H
#define QUARN_LOGGING_TESTS_PLATFORM_DOUBLES_H

#include <sys/timex.h>
#include <time.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// @file
/// Doubles of the platform services that the library calls. They sit at the linker (-Wl,--wrap): the code under test
/// calls POSIX plainly. Without a plan, a fake clock or a fake device the calls go through to the system, except that
/// the reserved-memory device is never there unless a test brings one.

namespace QuarnTest {

enum class Service {
    ClockGettime,
    ClockSettime,
    Close,
    Fclose,
    Fopen,
    Mkdir,
    Mmap,
    Munmap,
    Nanosleep,
    NtpAdjtime,
    Open,
    MutexDestroy,
    MutexInit,
    MutexLock,    ///< Whether it is tried or waited for.
    MutexTrylock, ///< A try alone.
    MutexattrDestroy,
    MutexattrInit,
    MutexattrSetprotocol,
    MutexattrSettype,
    Rename,
    Stat,
    Unlink,
    Count
};

/// Makes calls of services fail. Ends, with all its faults, with its scope.
class FaultPlan
{
public:
    FaultPlan();
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    /// Lets the nth call from now on (1: the next) fail with error, and times - 1 calls after it.
    void Fail(Service service, int error, int nth = 1, int times = 1);

    /// Runs act in front of the nth call from now on of a service, on the thread that makes it. One at a time.
    void Before(Service service, std::function<void()> act, int nth = 1);

    /// Calls of a service since the plan was made, failed ones included.
    int Calls(Service service) const;

private:
    std::function<void()> m_Act;
};

/// Clocks that stand still until the test moves them, and what sleeps do to them.
class FakeClock
{
public:
    enum class Sleeping {
        MovesClock,   ///< A sleep moves the clocks by its duration and returns.
        BlocksThread, ///< A sleep lasts until the test has moved the monotonic clock past its end.
    };

    explicit FakeClock(Sleeping sleeping = Sleeping::MovesClock);
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void SetRealTime(std::int64_t seconds, std::int64_t nanoseconds = 0);
    void SetMonotonic(std::int64_t seconds, std::int64_t nanoseconds = 0);
    void Advance(std::int64_t seconds, std::int64_t nanoseconds = 0);

    /// Number and sum of the sleeps, in nanoseconds.
    int Sleeps() const;
    std::int64_t SleptNanoseconds() const;

    /// Waits until that many sleeps have begun.
    void WaitForSleeps(int sleeps) const;

    /// Ends all sleeps, present and future, at once and without moving the clocks.
    void ReleaseSleepers();

    /// Runs inside every sleep, with its number, on the thread that sleeps. To be set while no thread does.
    void OnSleep(std::function<void(int)> hook);

    /// CLOCK_REALTIME in nanoseconds, as the test or the code under test last set it.
    std::int64_t RealTime() const;

    /// What clock_settime was last asked for; 0 before.
    timespec LastSetting() const;

    /// What ntp_adjtime was last asked for; all 0 before.
    timex LastAdjustment() const;

private:
    std::function<void(int)> m_Hook;
};

/// The reserved-memory device, over memory of the test's own.
class FakeDevice
{
public:
    explicit FakeDevice(void* memory);
    ~FakeDevice();
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    /// What the library asked for when it last opened and mapped the device.
    int OpenFlags() const;
    unsigned int OpenMode() const;
    void* MapAddress() const;
    std::size_t MappedBytes() const;
    int MapProtection() const;
    int MapFlags() const;
    std::int64_t MapOffset() const;
    std::size_t UnmappedBytes() const;
    bool IsOpen() const;
    bool IsMapped() const;
};

/// What the last mutex attributes were made for.
int LastMutexProtocol();
int LastMutexType();

} // namespace QuarnTest

#endif
