// Compiled, never run: check-guard looks at the instructions.

#include <QuarnLogging/Log.h>

extern "C" void OneMessage(int axis, double position) { QUARN_INFO(12, L"axis %d stands at %f", axis, position); }

extern "C" void ThrottledMessage(const wchar_t* text)
{
    QUARN_LOG_EVERY_NTH(100, Quarn::Logging::LEVEL_DEBUG, 12, L"%ls", text);
}

extern "C" int MessageOfSomeCategory(int category)
{
    QUARN_ERROR(category, L"text");
    return category;
}
