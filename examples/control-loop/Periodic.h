#ifndef CONTROL_LOOP_PERIODIC_H
#define CONTROL_LOOP_PERIODIC_H

#include <chrono>
#include <thread>

/// A thread's cycles. Wake-up times are absolute, so that a late cycle does not delay the ones that follow.
class Periodic
{
public:
    Periodic(unsigned int milliseconds, bool paced)
        : m_Period(milliseconds)
        , m_Paced(paced)
    {
    }

    void WaitForNextCycle()
    {
        if (m_Paced) {
            m_Next += m_Period;
            std::this_thread::sleep_until(m_Next);
        }
    }

    /// How long after its time the cycle began; 0 without pace.
    double LateMilliseconds() const
    {
        const std::chrono::duration<double, std::milli> late = std::chrono::steady_clock::now() - m_Next;
        return m_Paced ? late.count() : 0;
    }

private:
    std::chrono::steady_clock::time_point m_Next = std::chrono::steady_clock::now();
    std::chrono::milliseconds m_Period;
    bool m_Paced;
};

#endif
