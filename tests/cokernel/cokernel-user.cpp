// Uses each part of the library, so that each of its platform calls is made.

#include <QuarnLogging/ApplicationTime.h>
#include <QuarnLogging/CQAllocationInfo.h>
#include <QuarnLogging/Log.h>

int main()
{
    EnableAutologging(false);
    QUARN_ERROR(1, L"before");
    SetLogOptions(L"linfo;Lfull-%T.txt;S1"); // two full files in one second: the logger sleeps until the next
    QUARN_INFO(1, L"to a file");
    QUARN_INFO(1, L"to another file");
    DispatchQueuedLogMessages();
    SetLogOptions(L"linfo");

    InitApplicationTime();
    SetClockTime(GetClockTime() + 60.0);
    FiniApplicationTime();

    Quarn::Logging::CQAllocationInfo registry;
    registry.DumpInfo(1);
    DispatchQueuedLogMessages();
}
