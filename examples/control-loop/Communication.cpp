#include "Log.h"
#include "Machine.h"
#include "Periodic.h"

#include <array>
#include <cstddef>

namespace {

constexpr unsigned int PERIOD = 20;       // ms
constexpr unsigned int REPORT_EVERY = 25; // cycles
constexpr std::size_t TELEGRAM_SIZE = 128;

/// A telegram as the bus might deliver it, in hexadecimal.
class Telegram
{
public:
    explicit Telegram(unsigned int number)
    {
        static constexpr wchar_t DIGITS[] = L"0123456789abcdef";
        for (std::size_t i = 0; i < TELEGRAM_SIZE; ++i) {
            const unsigned int byte = (number + static_cast<unsigned int>(i) * 37) % 256;
            m_Text[3 * i] = DIGITS[byte / 16];
            m_Text[3 * i + 1] = DIGITS[byte % 16];
            m_Text[3 * i + 2] = L' ';
        }
        m_Text.back() = L'\0';
    }

    const wchar_t* Text() const { return m_Text.data(); }

private:
    std::array<wchar_t, 3 * TELEGRAM_SIZE> m_Text;
};

/// More than the queue holds, before the dispatcher comes to read: the rest is counted and reported as dropped.
void ReceiveBurst(SMachine& machine)
{
    QUARN_WARNING(CATEGORY_BUS, L"burst of %u telegrams while the log is not written", machine.settings.burst);
    const std::unique_lock<std::mutex> hold = machine.log.HoldOutput();
    for (unsigned int number = 1; number <= machine.settings.burst; ++number) {
        QUARN_DEBUG(CATEGORY_BUS, L"telegram %u: %ls", number, Telegram(number).Text());
    }
}

} // namespace

void RunCommunication(SMachine& machine)
{
    const SSettings& settings = machine.settings;
    const unsigned int cycles = settings.milliseconds / PERIOD;
    Periodic periodic(PERIOD, settings.paced);
    QUARN_INFO(CATEGORY_BUS, L"bus up");
    for (unsigned int cycle = 0; cycle < cycles && !machine.stop; ++cycle) {
        if (cycle == cycles / 2 && !settings.laterOptions.empty()) {
            // As if an operator had sent it: this thread hands it on, the dispatcher applies it.
            QUARN_INFO(CATEGORY_BUS, L"new log options: %ls", settings.laterOptions.c_str());
            machine.log.ApplyOptions(settings.laterOptions);
        }
        if (cycle == cycles * 3 / 4 && settings.scenario == EScenario::OVERLOAD) {
            ReceiveBurst(machine);
        }
        if (cycle % REPORT_EVERY == REPORT_EVERY - 1) {
            QUARN_DEBUG(CATEGORY_BUS, L"position %.1f mm sent", static_cast<double>(machine.position) * 1000);
        }
        periodic.WaitForNextCycle();
    }
    QUARN_INFO(CATEGORY_BUS, L"bus down");
}
