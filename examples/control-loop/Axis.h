#ifndef CONTROL_LOOP_AXIS_H
#define CONTROL_LOOP_AXIS_H

/// A linear axis with a motor that warms up. Metres, seconds, newtons, degrees Celsius.
class Axis
{
public:
    /// Lets time pass under a motor force.
    void Advance(double seconds, double force);

    /// A bearing that runs dry: friction grows to the factor.
    void SetFrictionFactor(double factor) { m_FrictionFactor = factor; }

    double Position() const { return m_Position; }
    double Velocity() const { return m_Velocity; }
    double MotorTemperature() const { return m_MotorTemperature; }

private:
    double m_Position = 0;
    double m_Velocity = 0;
    double m_MotorTemperature = 25;
    double m_FrictionFactor = 1;
};

/// Where the axis shall be at a moment of a move.
struct SSetpoint
{
    double position;
    double velocity;
    double acceleration;
};

/// A move from start to end without a step in acceleration. Before and after it the setpoint rests.
struct SMove
{
    double start;
    double end;
    double duration;

    SSetpoint At(double seconds) const;
};

/// The motor force that keeps the axis at a setpoint.
double ControlForce(const SSetpoint& setpoint, const Axis& axis);

#endif
