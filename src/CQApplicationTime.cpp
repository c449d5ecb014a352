#include "CQApplicationTime.h"

#include "LockGuard.h"
#include "NoCancellation.h"
#include "SystemClocks.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/timex.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace Quarn::Logging {

namespace {

constexpr std::uint64_t NS_PER_SECOND = 1000000000;
constexpr int SECONDS_BETWEEN_UPDATES = 60;

/// What the kernel keeps of a thread's name, terminator included. It refuses a longer one instead of cutting it.
constexpr std::size_t THREAD_NAME_SIZE = 16;

constexpr long double TWO_TO_63 = 9223372036854775808.0L;
constexpr long double TWO_TO_64 = 18446744073709551616.0L;

void* EndAtOnce(void* /*argument*/) { return nullptr; }

/// Whether a new thread can be made and named; only then may libACE be given a name. Version 7.0.8 names a thread that
/// the system has refused to make, too, by an id that was never set. And for one that cannot be named it reports a
/// failed start, never joins it and takes its records away from under it. The C library names a thread through a file
/// like this one: there is none without /proc, it cannot be written in a program with file capabilities, and it takes a
/// free descriptor.
bool CanStartNamedThread()
{
    const NoCancellation scope;
    const int name = open("/proc/self/comm", O_RDWR | O_CLOEXEC);
    if (name < 0) {
        return false;
    }
    close(name);
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, EndAtOnce, nullptr) != 0) {
        return false;
    }
    pthread_join(thread, nullptr);
    return true;
}

// The readings are plain 64-bit numbers of which differences are taken modulo 2^64, so all sums and products are
// unsigned here, where an overflow is defined. The bits are those of signed arithmetic.

std::uint64_t ToNanoseconds(const timespec& t)
{
    return static_cast<std::uint64_t>(t.tv_sec) * NS_PER_SECOND + static_cast<std::uint64_t>(t.tv_nsec);
}

std::uint64_t ReadRealTimeNs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return ToNanoseconds(now);
}

// Rounded to a double first, as the processor's conversion of an unsigned number has it. All that follows is computed
// in extended precision and rounded once, so that a time is the same on every processor.
long double Rounded(std::uint64_t number) { return static_cast<long double>(static_cast<double>(number)); }

double MillisecondsToSeconds(std::uint64_t milliseconds)
{
    return static_cast<double>(Rounded(milliseconds) / 1000.0L);
}

/// Truncates. What does not fit is what the x87 makes of it with the conversion of an unsigned number that takes 2^63
/// off and adds it back: its "indefinite" is -2^63.
std::uint64_t ToUnsigned(long double number)
{
    if (number >= TWO_TO_64) {
        return 0;
    }
    if (number >= TWO_TO_63) {
        return static_cast<std::uint64_t>(number);
    }
    return number >= -TWO_TO_63 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(number))
                                : static_cast<std::uint64_t>(INT64_MIN); // or not a number
}

/// The low 32 bits with their sign: what the fields of a timex hold where they have 32 bits. Where they are wider the
/// kernel is told the same number, so that a clock is corrected alike everywhere.
std::int32_t ToField(std::uint64_t number) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(number)); }

/// Truncates towards zero. What does not fit becomes the smallest time, as the processor's own conversion has it.
std::int32_t ToTime32(double seconds)
{
    return seconds > -2147483649.0 && seconds < 2147483648.0 ? static_cast<std::int32_t>(seconds) : INT32_MIN;
}

/// Parts per million by which the system clock ran slow (positive) or fast between two requests.
std::uint64_t FrequencyError(std::uint64_t targetStep, std::uint64_t systemStep)
{
    const auto difference = static_cast<std::int64_t>((targetStep - systemStep) * 1000000);
    const auto divisor = static_cast<std::int64_t>(targetStep);
    // Callers do not request the same time twice in a row. For one that does no frequency can be told; to take it as
    // right serves a control process better than the fatal signal of a division by zero.
    if (divisor == 0) {
        return 0;
    }
    // The division instruction of 64 bits traps for -2^63 / -1, which wraps around in 32-bit code.
    return divisor == -1 ? 0 - static_cast<std::uint64_t>(difference)
                         : static_cast<std::uint64_t>(difference / divisor);
}

} // namespace

CQApplicationTime::CQApplicationTime()
{
    m_pMutex = std::make_unique<RecursiveMutex>(m_MutexAttributes);
    UpdateClockTime(m_Reference);
    m_BaseTime = MillisecondsToSeconds(m_Reference.m_RealTimeMs);
    m_BaseMonotonicNs = m_Reference.m_MonotonicNs;
    m_pUpdateThread = std::make_unique<CQUpdateThread>();
    m_pUpdateThread->Start(this); // without a thread the clock keeps its first anchor
}

CQApplicationTime::~CQApplicationTime()
{
    const NoCancellation scope; // the thread is waited for
    try {
        m_pUpdateThread->Stop();
        m_pUpdateThread.reset();
        m_pMutex.reset();
    } catch (...) { // unreachable: nothing throws here, and nobody could be told
    }
}

void CQApplicationTime::UpdateClockTime(SQTimeUpdate& out)
{
    out.m_RealTimeMs = ReadRealTimeMs();
    out.m_MonotonicNs = ReadMonotonicNs();
}

int CQApplicationTime::UpdateClockTime()
{
    UpdateClockTime(m_LastUpdate);
    LockGuard guard(m_pMutex.get());
    if (!guard.Locked()) {
        return -1;
    }
    const long double realMs = Rounded(m_LastUpdate.m_RealTimeMs - m_Reference.m_RealTimeMs);
    const long double monotonicNs = Rounded(m_LastUpdate.m_MonotonicNs - m_Reference.m_MonotonicNs);
    // Milliseconds times 1000 over nanoseconds: for clocks of the same speed that is 0.001, not 1, and between two
    // updates the clock advances by a thousandth of the time. Users of the clock are tuned to that; it is to stay.
    // The reference never moves, so the rate is the mean since construction. Infinite or no number if no time passed.
    m_Rate = static_cast<double>(realMs * 1000.0L / monotonicNs);
    m_BaseTime = MillisecondsToSeconds(m_LastUpdate.m_RealTimeMs);
    m_BaseMonotonicNs = m_LastUpdate.m_MonotonicNs;
    return guard.Unlock();
}

double CQApplicationTime::GetClockTime() const
{
    const std::uint64_t now = ReadMonotonicNs();
    // An anchor that is read without the lock, should that ever fail, is still the best time there is.
    const LockGuard guard(m_pMutex.get());
    // Unsigned: a reader that an update overtakes between its clock reading and its lock sees a time far ahead, once.
    const long double elapsedNs = Rounded(now - m_BaseMonotonicNs);
    return static_cast<double>(static_cast<long double>(m_BaseTime) +
                               elapsedNs * static_cast<long double>(m_Rate) * static_cast<long double>(1e-9));
}

std::uint32_t CQApplicationTime::GetEepromDate() const
{
    const tm calendar = ToLocalDate(ToTime32(GetClockTime()));
    return static_cast<std::uint32_t>((calendar.tm_mday * 256 + calendar.tm_mon + 1) * 65536 + calendar.tm_year + 1900);
}

void CQApplicationTime::SetClockTime(timespec t)
{
    const std::uint64_t target = ToNanoseconds(t);
    if (m_LastSetTargetNs == 0 && m_LastSetSystemNs == 0) {
        StepClock(t, target);
    } else {
        SlewClock(target);
    }
}

void CQApplicationTime::SetClockTime(double seconds)
{
    const std::uint64_t nanoseconds = ToUnsigned(static_cast<long double>(seconds) * 1e9L);
    timespec t{};
    t.tv_sec = static_cast<time_t>(nanoseconds / NS_PER_SECOND); // a time_t of 32 bits takes the low ones
    t.tv_nsec = static_cast<long>(nanoseconds % NS_PER_SECOND);
    SetClockTime(t);
}

void CQApplicationTime::StepClock(const timespec& t, std::uint64_t target)
{
    clock_settime(CLOCK_REALTIME, &t);
    m_LastSetTargetNs = target;
    m_LastSetSystemNs = ReadRealTimeNs();
}

void CQApplicationTime::SlewClock(std::uint64_t target)
{
    const std::uint64_t now = ReadRealTimeNs();
    timex correction{};
    correction.modes = ADJ_OFFSET | ADJ_FREQUENCY;
    // Microseconds by an unsigned division: a target behind the system clock gives a large number, of which the field
    // keeps 32 bits, and no negative one. The frequency is in plain parts per million although the kernel counts in
    // units of 2^-16 of them, a correction 65536 times weaker than measured. Installations are tuned to both; keep.
    correction.offset = ToField((target - now) / 1000);
    correction.freq = ToField(FrequencyError(target - m_LastSetTargetNs, now - m_LastSetSystemNs));
    ntp_adjtime(&correction);
    m_LastSetTargetNs = target;
    m_LastSetSystemNs = now;
}

int CQApplicationTime::CQUpdateThread::Start(CQApplicationTime* owner)
{
    static const char* const pThreadName = "ApplicationTimeUpdate";

    if (owner == nullptr) {
        return -EINVAL;
    }
    m_pApplicationTime = owner;
    m_Running.store(true, std::memory_order_relaxed);
    char name[THREAD_NAME_SIZE] = {};
    std::string_view(pThreadName).copy(name, THREAD_NAME_SIZE - 1);
    const char* names[] = {name};
    return activate(THR_NEW_LWP | THR_JOINABLE | THR_INHERIT_SCHED, 1, 0, ACE_DEFAULT_THREAD_PRIORITY, -1, nullptr,
                    nullptr, nullptr, nullptr, nullptr, CanStartNamedThread() ? names : nullptr);
}

int CQApplicationTime::CQUpdateThread::Stop()
{
    m_Running.store(false, std::memory_order_relaxed);
    // libACE needs memory to wait, and returns at once if there is none. The thread uses this object until it ends.
    for (;;) {
        errno = 0;
        const int result = wait();
        if (result != -1 || errno != ENOMEM) { // unreachable: an error that is another one, of which none is known
            return result;
        }
        const timespec duration = {0, 1000000};
        nanosleep(&duration, nullptr);
    }
}

int CQApplicationTime::CQUpdateThread::svc()
{
    while (m_Running.load(std::memory_order_relaxed)) {
        if (m_pApplicationTime != nullptr) { // unreachable: Start() makes no thread for null
            m_pApplicationTime->UpdateClockTime();
        }
        // Second by second, so that a stop is seen within one.
        for (int second = 0; second < SECONDS_BETWEEN_UPDATES; ++second) {
            if (!m_Running.load(std::memory_order_relaxed)) {
                return 0;
            }
            const timespec duration = {1, 0};
            nanosleep(&duration, nullptr);
        }
    }
    return 0;
}

} // namespace Quarn::Logging
