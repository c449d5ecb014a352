#include "Axis.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double MASS = 5;                 // kg
constexpr double FRICTION = 20;            // N s/m
constexpr double MAX_FORCE = 300;          // N
constexpr double STIFFNESS = 40000;        // N/m, of the controller
constexpr double DAMPING = 600;            // N s/m, of the controller
constexpr double HEATING = 0.012;          // K per N^2 s
constexpr double COOLING_TIME = 2;         // s
constexpr double AIR_TEMPERATURE = 25;     // degrees Celsius
constexpr double TURN = 6.283185307179586; // 2 pi

} // namespace

void Axis::Advance(double seconds, double force)
{
    const double friction = m_FrictionFactor * FRICTION * m_Velocity;
    m_Velocity += (force - friction) / MASS * seconds;
    m_Position += m_Velocity * seconds;
    m_MotorTemperature += (HEATING * force * force - (m_MotorTemperature - AIR_TEMPERATURE) / COOLING_TIME) * seconds;
}

SSetpoint SMove::At(double seconds) const
{
    const double part = std::clamp(seconds / duration, 0.0, 1.0);
    const double distance = end - start;
    return {start + distance * (part - std::sin(TURN * part) / TURN), distance / duration * (1 - std::cos(TURN * part)),
            distance / duration / duration * TURN * std::sin(TURN * part)};
}

double ControlForce(const SSetpoint& setpoint, const Axis& axis)
{
    const double force = MASS * setpoint.acceleration + STIFFNESS * (setpoint.position - axis.Position()) +
                         DAMPING * (setpoint.velocity - axis.Velocity());
    return std::clamp(force, -MAX_FORCE, MAX_FORCE);
}
