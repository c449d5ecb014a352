#include "PlatformDoubles.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

namespace QuarnTest {

namespace {

constexpr const char* DEVICE_PATH = "/dev/qiomemmap";
constexpr int DEVICE_FD = 1 << 20; // no descriptor that the system hands out

// Constant-initialised: the library's own start-up runs before any constructor here.
struct SPlannedFault
{
    std::atomic<int> calls;
    std::atomic<int> firstFailing; // 0: none
    std::atomic<int> lastFailing;
    std::atomic<int> error;
    std::atomic<int> actingCall; // 0: none
};
SPlannedFault g_Faults[static_cast<int>(Service::Count)];
std::atomic<const std::function<void()>*> g_PlannedAct;

struct SFakeClockState
{
    std::atomic<bool> active;
    std::atomic<std::int64_t> realTime;  // ns
    std::atomic<std::int64_t> monotonic; // ns
    std::atomic<int> sleeps;
    std::atomic<std::int64_t> slept; // ns
    std::atomic<bool> blocking;
    std::atomic<bool> released;
    std::atomic<int> moves; // what sleepers wait on
    std::atomic<const std::function<void(int)>*> hook;
    timex adjustment;
    timespec setting;
};
SFakeClockState g_Clock;

struct SFakeDeviceState
{
    void* memory;
    bool open;
    bool mapped;
    int openFlags;
    unsigned int openMode;
    void* mapAddress;
    std::size_t mappedBytes;
    int mapProtection;
    int mapFlags;
    std::int64_t mapOffset;
    std::size_t unmappedBytes;
};
SFakeDeviceState g_Device;

std::atomic<int> g_LastMutexProtocol;
std::atomic<int> g_LastMutexType;

constexpr std::int64_t NS = 1000000000;

SPlannedFault& FaultOf(Service service) { return g_Faults[static_cast<int>(service)]; }

/// Counts a call; the error with which it is to fail, or 0.
int PlannedError(Service service)
{
    SPlannedFault& fault = FaultOf(service);
    const int call = ++fault.calls;
    if (call == fault.actingCall) {
        (*g_PlannedAct)();
    }
    return fault.firstFailing != 0 && call >= fault.firstFailing && call <= fault.lastFailing ? fault.error.load() : 0;
}

/// For services that return -1 and set errno.
bool MustFail(Service service)
{
    const int error = PlannedError(service);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

// Plain futexes, because the pthread calls may be failing by plan.

void WaitWhile(const std::atomic<int>& word, int value)
{
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void WakeAll(const std::atomic<int>& word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void WakeSleepers()
{
    ++g_Clock.moves;
    WakeAll(g_Clock.moves);
}

void BlockUntil(std::int64_t monotonic)
{
    for (;;) {
        const int moves = g_Clock.moves;
        if (!g_Clock.active || g_Clock.released || g_Clock.monotonic >= monotonic) {
            return;
        }
        WaitWhile(g_Clock.moves, moves);
    }
}

/// As the C library's: a time that time_t cannot take cannot be read.
int Read(std::int64_t nanoseconds, timespec& time)
{
    const std::int64_t seconds = nanoseconds / NS;
    if (seconds < std::numeric_limits<time_t>::min() || seconds > std::numeric_limits<time_t>::max()) {
        errno = EOVERFLOW;
        return -1;
    }
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds % NS);
    return 0;
}

/// Takes the privilege to set the machine's clock from the program, before anything is called: should a call ever get
/// past its double, a test that runs as root would set it.
[[gnu::constructor]] void GiveUpTheMachinesClock()
{
    __user_cap_header_struct header{};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct capabilities[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capget, &header, capabilities) == 0) {
        capabilities[CAP_TO_INDEX(CAP_SYS_TIME)].effective &= ~CAP_TO_MASK(CAP_SYS_TIME);
        capabilities[CAP_TO_INDEX(CAP_SYS_TIME)].permitted &= ~CAP_TO_MASK(CAP_SYS_TIME);
        syscall(SYS_capset, &header, capabilities);
    }
}

} // namespace

FaultPlan::FaultPlan()
{
    for (SPlannedFault& fault : g_Faults) {
        fault.calls = 0;
        fault.firstFailing = 0;
        fault.actingCall = 0;
    }
}

FaultPlan::~FaultPlan()
{
    for (SPlannedFault& fault : g_Faults) {
        fault.firstFailing = 0;
        fault.actingCall = 0;
    }
}

void FaultPlan::Fail(Service service, int error, int nth, int times)
{
    SPlannedFault& fault = FaultOf(service);
    fault.error = error;
    fault.lastFailing = fault.calls + nth + times - 1;
    fault.firstFailing = fault.calls + nth;
}

void FaultPlan::Before(Service service, std::function<void()> act, int nth)
{
    SPlannedFault& fault = FaultOf(service);
    fault.actingCall = 0;
    m_Act = std::move(act);
    g_PlannedAct = &m_Act;
    fault.actingCall = fault.calls + nth;
}

int FaultPlan::Calls(Service service) const { return FaultOf(service).calls; }

FakeClock::FakeClock(Sleeping sleeping)
{
    g_Clock.realTime = 0;
    g_Clock.monotonic = 0;
    g_Clock.sleeps = 0;
    g_Clock.slept = 0;
    g_Clock.blocking = sleeping == Sleeping::BlocksThread;
    g_Clock.released = false;
    g_Clock.hook = nullptr;
    g_Clock.adjustment = {};
    g_Clock.setting = {};
    g_Clock.active = true;
}

FakeClock::~FakeClock()
{
    g_Clock.hook = nullptr;
    g_Clock.active = false;
    WakeSleepers();
}

void FakeClock::SetRealTime(std::int64_t seconds, std::int64_t nanoseconds)
{
    g_Clock.realTime = seconds * NS + nanoseconds;
}

void FakeClock::SetMonotonic(std::int64_t seconds, std::int64_t nanoseconds)
{
    g_Clock.monotonic = seconds * NS + nanoseconds;
    WakeSleepers();
}

void FakeClock::Advance(std::int64_t seconds, std::int64_t nanoseconds)
{
    g_Clock.realTime += seconds * NS + nanoseconds;
    g_Clock.monotonic += seconds * NS + nanoseconds;
    WakeSleepers();
}

int FakeClock::Sleeps() const { return g_Clock.sleeps; }

std::int64_t FakeClock::SleptNanoseconds() const { return g_Clock.slept; }

void FakeClock::WaitForSleeps(int sleeps) const
{
    for (int begun = g_Clock.sleeps; begun < sleeps; begun = g_Clock.sleeps) {
        WaitWhile(g_Clock.sleeps, begun);
    }
}

void FakeClock::ReleaseSleepers()
{
    g_Clock.released = true;
    WakeSleepers();
}

void FakeClock::OnSleep(std::function<void(int)> hook)
{
    m_Hook = std::move(hook);
    g_Clock.hook = &m_Hook;
}

std::int64_t FakeClock::RealTime() const { return g_Clock.realTime; }

timespec FakeClock::LastSetting() const { return g_Clock.setting; }

timex FakeClock::LastAdjustment() const { return g_Clock.adjustment; }

FakeDevice::FakeDevice(void* memory)
{
    g_Device = {};
    g_Device.memory = memory;
}

FakeDevice::~FakeDevice() { g_Device.memory = nullptr; }

int FakeDevice::OpenFlags() const { return g_Device.openFlags; }

unsigned int FakeDevice::OpenMode() const { return g_Device.openMode; }

void* FakeDevice::MapAddress() const { return g_Device.mapAddress; }

std::size_t FakeDevice::MappedBytes() const { return g_Device.mappedBytes; }

int FakeDevice::MapProtection() const { return g_Device.mapProtection; }

int FakeDevice::MapFlags() const { return g_Device.mapFlags; }

std::int64_t FakeDevice::MapOffset() const { return g_Device.mapOffset; }

std::size_t FakeDevice::UnmappedBytes() const { return g_Device.unmappedBytes; }

bool FakeDevice::IsOpen() const { return g_Device.open; }

bool FakeDevice::IsMapped() const { return g_Device.mapped; }

int LastMutexProtocol() { return g_LastMutexProtocol; }

int LastMutexType() { return g_LastMutexType; }

} // namespace QuarnTest

using namespace QuarnTest;

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* time);
int __real_clock_settime(clockid_t clock, const timespec* time);
int __real_close(int fd);
int __real_fclose(FILE* stream);
FILE* __real_fopen64(const char* path, const char* mode);
int __real_mkdir(const char* path, mode_t mode);
void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
int __real_munmap(void* address, size_t length);
int __real_nanosleep(const timespec* duration, timespec* rest);
int __real_open(const char* path, int flags, ...);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __real_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol);
int __real_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type);
int __real_rename(const char* from, const char* to);
int __real_stat64(const char* path, struct stat64* status);
int __real_unlink(const char* path);

int __wrap_clock_gettime(clockid_t clock, timespec* time)
{
    if (MustFail(Service::ClockGettime)) {
        return -1;
    }
    if (g_Clock.active) {
        return Read(clock == CLOCK_REALTIME ? g_Clock.realTime : g_Clock.monotonic, *time);
    }
    return __real_clock_gettime(clock, time);
}

// The machine's clock is never set.
int __wrap_clock_settime(clockid_t clock, const timespec* time)
{
    if (MustFail(Service::ClockSettime)) {
        return -1;
    }
    if (g_Clock.active && clock == CLOCK_REALTIME) {
        g_Clock.setting = *time;
        // What a clock cannot stand at wraps around; the kernel refuses it.
        g_Clock.realTime = static_cast<std::int64_t>(static_cast<std::uint64_t>(time->tv_sec) * NS +
                                                     static_cast<std::uint64_t>(time->tv_nsec));
    }
    return 0;
}

int __wrap_close(int fd)
{
    if (fd == DEVICE_FD) {
        g_Device.open = false;
        return MustFail(Service::Close) ? -1 : 0;
    }
    return __real_close(fd);
}

int __wrap_fclose(FILE* stream)
{
    const int result = __real_fclose(stream);
    return MustFail(Service::Fclose) ? EOF : result;
}

FILE* __wrap_fopen64(const char* path, const char* mode)
{
    return MustFail(Service::Fopen) ? nullptr : __real_fopen64(path, mode);
}

int __wrap_mkdir(const char* path, mode_t mode) { return MustFail(Service::Mkdir) ? -1 : __real_mkdir(path, mode); }

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    if (fd != DEVICE_FD) {
        return __real_mmap(address, length, protection, flags, fd, offset);
    }
    g_Device.mapAddress = address;
    g_Device.mapOffset = offset;
    g_Device.mappedBytes = length;
    g_Device.mapProtection = protection;
    g_Device.mapFlags = flags;
    if (MustFail(Service::Mmap)) {
        return MAP_FAILED;
    }
    g_Device.mapped = true;
    return g_Device.memory;
}

int __wrap_munmap(void* address, size_t length)
{
    if (g_Device.memory == nullptr || address != g_Device.memory) {
        return __real_munmap(address, length);
    }
    g_Device.unmappedBytes = length;
    if (MustFail(Service::Munmap)) {
        return -1;
    }
    g_Device.mapped = false;
    return 0;
}

int __wrap_nanosleep(const timespec* duration, timespec* rest)
{
    if (MustFail(Service::Nanosleep)) {
        return -1;
    }
    if (!g_Clock.active) {
        return __real_nanosleep(duration, rest);
    }
    pthread_testcancel(); // as the real one
    const std::int64_t nanoseconds = duration->tv_sec * NS + duration->tv_nsec;
    const std::int64_t end = g_Clock.monotonic + nanoseconds;
    g_Clock.slept += nanoseconds;
    const int number = ++g_Clock.sleeps;
    WakeAll(g_Clock.sleeps);
    if (const std::function<void(int)>* hook = g_Clock.hook) {
        (*hook)(number);
    }
    if (g_Clock.blocking) {
        BlockUntil(end);
    } else {
        g_Clock.realTime += nanoseconds;
        g_Clock.monotonic += nanoseconds;
    }
    return 0;
}

// Nor is it slewed.
int __wrap_ntp_adjtime(timex* adjustment)
{
    if (MustFail(Service::NtpAdjtime)) {
        return -1;
    }
    g_Clock.adjustment = *adjustment;
    return 0;
}

int __wrap_open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = va_arg(args, mode_t);
    va_end(args);
    if (std::strcmp(path, DEVICE_PATH) != 0) {
        return __real_open(path, flags, mode);
    }
    if (MustFail(Service::Open)) {
        return -1;
    }
    if (g_Device.memory == nullptr) {
        errno = ENOENT;
        return -1;
    }
    g_Device.openFlags = flags;
    g_Device.openMode = mode;
    g_Device.open = true;
    return DEVICE_FD;
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex)
{
    const int error = PlannedError(Service::MutexDestroy);
    return error != 0 ? error : __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)
{
    const int error = PlannedError(Service::MutexInit);
    return error != 0 ? error : __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    const int error = PlannedError(Service::MutexLock);
    return error != 0 ? error : __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex)
{
    int error = PlannedError(Service::MutexTrylock);
    if (error == 0) {
        error = PlannedError(Service::MutexLock);
    }
    return error != 0 ? error : __real_pthread_mutex_trylock(mutex);
}

int __wrap_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes)
{
    const int error = PlannedError(Service::MutexattrDestroy);
    return error != 0 ? error : __real_pthread_mutexattr_destroy(attributes);
}

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes)
{
    const int error = PlannedError(Service::MutexattrInit);
    return error != 0 ? error : __real_pthread_mutexattr_init(attributes);
}

int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol)
{
    g_LastMutexProtocol = protocol;
    const int error = PlannedError(Service::MutexattrSetprotocol);
    return error != 0 ? error : __real_pthread_mutexattr_setprotocol(attributes, protocol);
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type)
{
    g_LastMutexType = type;
    const int error = PlannedError(Service::MutexattrSettype);
    return error != 0 ? error : __real_pthread_mutexattr_settype(attributes, type);
}

int __wrap_rename(const char* from, const char* to) { return MustFail(Service::Rename) ? -1 : __real_rename(from, to); }

int __wrap_stat64(const char* path, struct stat64* status)
{
    return MustFail(Service::Stat) ? -1 : __real_stat64(path, status);
}

int __wrap_unlink(const char* path) { return MustFail(Service::Unlink) ? -1 : __real_unlink(path); }

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
