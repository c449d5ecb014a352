#ifndef QUARN_LOGGING_APPLICATION_TIME_H
#define QUARN_LOGGING_APPLICATION_TIME_H

#include <QuarnLogging/Export.h>

/// @file
/// The application clock: seconds since 1970-01-01 UTC, cheap to read from any thread, and the setting of the system
/// clock. It exists from InitApplicationTime() to FiniApplicationTime(). docs/application-clock.md describes it.

extern "C" {

/// @brief Creates the clock and starts the thread that anchors it to the system clock about every 60 seconds.
///
/// To be called once. A second call before FiniApplicationTime() makes a second clock, and the first one with its
/// thread can no longer be stopped.
///
/// @par Threads    to be called during start-up, before any thread uses the clock
/// @par Real time  no: allocates, starts a thread
/// @par Failure    memory exhausted: throws std::bad_alloc, there is no clock; thread refused: the clock stays anchored
///                 to the moment of this call
QUARN_LOGGING_API void InitApplicationTime(void);

/// @brief Stops the thread and removes the clock. Without a clock it does nothing.
///
/// The library does not do this at exit; an application that called InitApplicationTime() calls this too.
///
/// @par Threads    when no other thread uses the clock any more
/// @par Real time  no: waits up to about a second for the thread to end
QUARN_LOGGING_API void FiniApplicationTime(void);

/// @brief The application time.
///
/// @return         seconds since 1970-01-01 UTC
/// @par Threads    any, between InitApplicationTime() and FiniApplicationTime(); otherwise the process crashes
/// @par Real time  yes: one clock reading, one short priority-inheriting lock, no heap
QUARN_LOGGING_API double GetClockTime(void);

/// @brief The local date of the application time, packed: the day (1 to 31) in bits 31 to 24, the month (1 to 12) in
///        bits 23 to 16, the full year in bits 15 to 0. 15 November 2026 is 0x0F0B07EA.
///
/// @par Threads    any, between InitApplicationTime() and FiniApplicationTime(); otherwise the process crashes
/// @par Real time  no: the C library may load the time zone, and guards it with a lock of its own
QUARN_LOGGING_API unsigned int GetEepromDate(void);

/// @brief Sets the system clock: the first call steps it, every later one slews it by ntp_adjtime.
///
/// The application clock follows the system clock with its next update. Needs the privilege to set the clock; without
/// it nothing happens, and nothing is reported.
///
/// @param[in] time  seconds since 1970-01-01 UTC; not negative, and not the time that the previous call had
/// @par Threads     one at a time, between InitApplicationTime() and FiniApplicationTime(); otherwise the process
///                  crashes
/// @par Real time   no: system calls
QUARN_LOGGING_API void SetClockTime(double time);

} // extern "C"

#endif
