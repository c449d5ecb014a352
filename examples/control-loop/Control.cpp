#include "Axis.h"
#include "Log.h"
#include "Machine.h"
#include "Periodic.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr unsigned int PERIOD = 1;             // ms
constexpr unsigned int MOVE_EVERY = 500;       // cycles
constexpr double MOVE_DURATION = 0.4;          // s
constexpr double TRAVEL = 0.24;                // m
constexpr unsigned int TRACE_EVERY = 100;      // cycles
constexpr double MAX_FOLLOWING_ERROR = 0.0015; // m
constexpr double DRY_BEARING = 6;              // times the friction

/// The controller with what it remembers from cycle to cycle.
class Controller
{
public:
    /// One cycle: no heap, no output, no lock but the log queue's.
    void Step(unsigned int cycle, bool powerOff);

    Axis m_Axis;

private:
    void BeginMove();
    void EndMove() const;
    void CheckFollowingError(double error);

    SMove m_Move = {0, 0, MOVE_DURATION};
    unsigned int m_Moves = 0;
    double m_LargestError = 0; // m, in this move
    bool m_LagReported = false;
    bool m_PowerOffReported = false;
};

void Controller::Step(unsigned int cycle, bool powerOff)
{
    if (powerOff) {
        m_Axis.Advance(PERIOD * 0.001, 0);
        if (!m_PowerOffReported) {
            m_PowerOffReported = true;
            QUARN_ERROR(CATEGORY_CONTROL, L"move %u given up at %.1f mm: no power", m_Moves, m_Axis.Position() * 1000);
        }
        return;
    }
    const unsigned int cycleOfMove = cycle % MOVE_EVERY;
    if (cycleOfMove == 0) {
        BeginMove();
    }
    const double time = cycleOfMove * PERIOD * 0.001;
    const SSetpoint setpoint = m_Move.At(time);
    const double force = ControlForce(setpoint, m_Axis);
    m_Axis.Advance(PERIOD * 0.001, force);
    CheckFollowingError(setpoint.position - m_Axis.Position());
    if (cycle % TRACE_EVERY == 0) {
        QUARN_DEBUG(CATEGORY_CONTROL, L"cycle %u: %.2f mm, %.3f m/s, %.1f N", cycle, m_Axis.Position() * 1000,
                    m_Axis.Velocity(), force);
    }
    if (cycleOfMove == MOVE_EVERY - 1) {
        EndMove();
    }
}

void Controller::BeginMove()
{
    m_Move.start = m_Move.end;
    m_Move.end = m_Moves % 2 == 0 ? TRAVEL : 0;
    ++m_Moves;
    m_LargestError = 0;
    m_LagReported = false;
    QUARN_INFO(CATEGORY_CONTROL, L"move %u: %.0f mm to %.0f mm in %.1f s", m_Moves, m_Move.start * 1000,
               m_Move.end * 1000, m_Move.duration);
}

void Controller::EndMove() const
{
    QUARN_INFO(CATEGORY_CONTROL, L"move %u done at %.2f mm, largest following error %.2f mm", m_Moves,
               m_Axis.Position() * 1000, m_LargestError * 1000);
}

/// Once in a move: a condition that lasts must not write a line in each of a thousand cycles a second.
void Controller::CheckFollowingError(double error)
{
    m_LargestError = std::max(m_LargestError, std::fabs(error));
    if (m_LargestError > MAX_FOLLOWING_ERROR && !m_LagReported) {
        m_LagReported = true;
        QUARN_WARNING(CATEGORY_CONTROL, L"axis lags behind by more than %.1f mm", MAX_FOLLOWING_ERROR * 1000);
    }
}

} // namespace

void RunControl(SMachine& machine)
{
    const unsigned int cycles = machine.settings.milliseconds / PERIOD;
    Controller controller;
    Periodic periodic(PERIOD, machine.settings.paced);
    double latest = 0;
    for (unsigned int cycle = 0; cycle < cycles && !machine.stop; ++cycle) {
        if (machine.settings.scenario == EScenario::FAULT && cycle == cycles / 4) {
            controller.m_Axis.SetFrictionFactor(DRY_BEARING);
        }
        controller.Step(cycle, machine.powerOff);
        machine.position = static_cast<float>(controller.m_Axis.Position());
        machine.motorTemperature = static_cast<float>(controller.m_Axis.MotorTemperature());
        periodic.WaitForNextCycle();
        latest = std::max(latest, periodic.LateMilliseconds());
    }
    QUARN_INFO(CATEGORY_CONTROL, L"control ends; the latest of %u cycles began %.2f ms late", cycles, latest);
}
