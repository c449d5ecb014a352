// Uses two libraries that log while they are initialised, logs from a static object of its own, and once from main.

#include <QuarnLogging/Log.h>

#include <cstdio>

namespace {

struct SEarlyObject
{
    SEarlyObject() { QUARN_LOG(Quarn::Logging::LEVEL_ERROR, 1, L"from a static object of the program"); }
};

const SEarlyObject g_EarlyObject;

} // namespace

int main()
{
    std::puts("main");
    QUARN_LOG(Quarn::Logging::LEVEL_ERROR, 1, L"from main");
}
