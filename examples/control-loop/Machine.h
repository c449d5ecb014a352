#ifndef CONTROL_LOOP_MACHINE_H
#define CONTROL_LOOP_MACHINE_H

#include "LogDispatcher.h"
#include "Settings.h"

#include <atomic>

/// What the threads share. Single words, so that the control loop never waits for another thread: a double is not
/// lock-free on every 32-bit processor.
struct SMachine
{
    const SSettings settings;
    LogDispatcher& log;

    std::atomic<float> position{0};          ///< m; written by the control loop.
    std::atomic<float> motorTemperature{25}; ///< Degrees Celsius; written by the control loop.
    std::atomic<bool> powerOff{false};       ///< Set by the supervision.
    std::atomic<bool> stop{false};           ///< Everything ends at its next cycle.
};

static_assert(std::atomic<float>::is_always_lock_free);

// The threads' functions; each returns at the end of the run.
void RunControl(SMachine& machine);
void RunSupervision(SMachine& machine);
void RunCommunication(SMachine& machine);

#endif
