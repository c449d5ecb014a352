#include <QuarnLogging/Logging.h>

#include <cstdio>

namespace {

/// A logger of the program's own.
class Printer : public Quarn::Logging::IQLogger
{
public:
    void Log(int level, int category, double, unsigned int, const char*, int, const wchar_t* text) override
    {
        std::printf("%d %d: %ls\n", level, category, text);
    }
    void MessagesDropped(unsigned int number) override { std::printf("%u dropped\n", number); }
    void SetErrorHandler(Quarn::Logging::IQErrorHandler*) override {}
};

Printer g_Printer;

} // namespace

void StartPrinting()
{
    const Quarn::Logging::SLevelDef fromInfoOn = {Quarn::Logging::CATEGORY_ALL, Quarn::Logging::LEVEL_INFO};
    RegisterLogger(&g_Printer, 1, &fromInfoOn);
}

void StopPrinting() { UnRegisterLogger(&g_Printer); }
