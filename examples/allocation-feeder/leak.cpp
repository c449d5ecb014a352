// A program that loses memory, and the report that shows where.

#include "AllocationFeeder.h"
#include "Curve.h"

#include <QuarnLogging/Logging.h>

#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int CATEGORY_MEMORY = 7;

struct SSetPoint
{
    double value;
};

/// Allocates and releases all the time, and loses nothing.
void Work()
{
    for (int i = 0; i < 2000; ++i) {
        const std::string name(static_cast<std::size_t>(100 + i % 7), 'x');
        delete FEEDER_NEW SSetPoint{0.25};
    }
}

} // namespace

int main(int argc, char** /*argv*/)
{
    SetLogOptions(L"1"); // errors, to the console
    AllocationFeeder::Start();
    AllocationFeeder::DumpObjectsOfSize(sizeof(SSetPoint));

    std::vector<std::thread> workers(4);
    for (std::thread& worker : workers) {
        worker = std::thread(Work);
    }
    SSetPoint* setPoint = FEEDER_NEW SSetPoint{1.5};
    Curve* curves[3];
    for (Curve*& curve : curves) {
        curve = MakeCurve(argc);
    }
    delete curves[1];
    for (std::thread& worker : workers) {
        worker.join();
    }

    AllocationFeeder::Report(CATEGORY_MEMORY);
    return setPoint == nullptr || curves[0] == curves[2] ? 1 : 0;
}
