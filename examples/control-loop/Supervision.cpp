#include "Log.h"
#include "Machine.h"
#include "Periodic.h"

namespace {

constexpr unsigned int PERIOD = 50;     // ms
constexpr unsigned int TRACE_EVERY = 4; // cycles
constexpr double WARM = 60;             // degrees Celsius
constexpr double HOT = 85;              // degrees Celsius

} // namespace

void RunSupervision(SMachine& machine)
{
    const unsigned int cycles = machine.settings.milliseconds / PERIOD;
    Periodic periodic(PERIOD, machine.settings.paced);
    bool warned = false;
    for (unsigned int cycle = 0; cycle < cycles && !machine.stop; ++cycle) {
        const double temperature = static_cast<double>(machine.motorTemperature.load());
        if (cycle % TRACE_EVERY == 0) {
            QUARN_DEBUG(CATEGORY_THERMAL, L"motor at %.1f C", temperature);
        }
        if (temperature > WARM && !warned) {
            warned = true;
            QUARN_WARNING(CATEGORY_THERMAL, L"motor warm: %.1f C", temperature);
        }
        if (temperature > HOT && !machine.powerOff) {
            machine.powerOff = true;
            QUARN_ERROR(CATEGORY_THERMAL, L"motor too hot: %.1f C, power switched off", temperature);
        }
        periodic.WaitForNextCycle();
    }
}
