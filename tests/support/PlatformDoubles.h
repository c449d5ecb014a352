#ifndef QUARN_LOGGING_TESTS_PLATFORM_DOUBLES_H
#define QUARN_LOGGING_TESTS_PLATFORM_DOUBLES_H

#include <cstdint>
#include <string>
#include <vector>

#include <time.h>

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
    Open,
    MutexLock,
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

    /// Calls of a service since the plan was made, failed ones included.
    int Calls(Service service) const;
};

/// Clocks that stand still until the test moves them; a sleep moves them by its duration.
class FakeClock
{
public:
    FakeClock();
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void SetRealTime(std::int64_t seconds, std::int64_t nanoseconds = 0);
    void SetMonotonic(std::int64_t seconds, std::int64_t nanoseconds = 0);
    void Advance(std::int64_t seconds, std::int64_t nanoseconds = 0);

    /// Number and sum of the sleeps, in nanoseconds.
    int Sleeps() const;
    std::int64_t SleptNanoseconds() const;
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
