// A library that logs while it is initialised.

#include <QuarnLogging/Log.h>

#include <cstdio>

namespace {

__attribute__((constructor)) void LogEarly()
{
    std::puts("constructor of the " EARLY_NAME " library");
    SetLogOptions(L"ldebug");
    QUARN_LOG(Quarn::Logging::LEVEL_ERROR, 1, L"from the constructor of the %s library", EARLY_NAME);
    DispatchQueuedLogMessages();
}

} // namespace
