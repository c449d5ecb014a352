#include <QuarnLogging/Log.h>

constexpr int CATEGORY_AXIS = 12;

int main()
{
    SetLogOptions(L"linfo;c"); // from info on, in colour, to the console
    QUARN_WARNING(CATEGORY_AXIS, L"axis %d slow: %.1f mm/s", 2, 3.5);
}
