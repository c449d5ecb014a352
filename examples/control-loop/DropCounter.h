#ifndef CONTROL_LOOP_DROP_COUNTER_H
#define CONTROL_LOOP_DROP_COUNTER_H

#include <QuarnLogging/Logging.h>

#include <atomic>

/// @brief A logger of the application's own: it takes no message and counts the lost ones.
///
/// Drops are reported to every logger, whatever its filter. A machine would show the number to its operator.
class DropCounter : public Quarn::Logging::IQLogger
{
public:
    DropCounter()
    {
        const Quarn::Logging::SLevelDef nothing = {Quarn::Logging::CATEGORY_ALL, Quarn::Logging::LEVEL_NONE};
        RegisterLogger(this, 1, &nothing);
    }
    ~DropCounter() override { UnRegisterLogger(this); }

    DropCounter(const DropCounter&) = delete;
    DropCounter& operator=(const DropCounter&) = delete;

    void Log(int, int, double, unsigned int, const char*, int, const wchar_t*) override {}
    void MessagesDropped(unsigned int count) override { m_Dropped += count; }
    void SetErrorHandler(Quarn::Logging::IQErrorHandler*) override {}

    unsigned int Dropped() const { return m_Dropped; }

private:
    std::atomic<unsigned int> m_Dropped{0};
};

#endif
