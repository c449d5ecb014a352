#include <QuarnLogging/CQAllocationInfo.h>
#include <QuarnLogging/Log.h>

void StartPrinting();
void StopPrinting();

int main()
{
    StartPrinting();
    QUARN_DEBUG(12, L"not wanted");
    QUARN_INFO(12, L"axis %d at %.1f mm", 2, 3.5);

    Quarn::Logging::CQAllocationInfo registry;
    registry.EnableAddInfo(true);
    registry.AddInfo(L"main.cpp", 7, &registry, 4);
    registry.DumpInfo(13);
    StopPrinting();
    return GetStartTime() > 0.0 ? 0 : 1;
}
