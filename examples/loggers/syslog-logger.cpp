// A logger that hands messages on to syslog, beside the library's own lines on the console.

#include <QuarnLogging/Log.h>

#include <syslog.h>

#include <clocale>

using namespace Quarn::Logging;

namespace {

constexpr int CATEGORY_AXIS = 12;

/// Runs during dispatch, on the thread that dispatches: syslog() may wait for its daemon, so that must not be a thread
/// with a deadline.
class SyslogLogger : public IQLogger
{
public:
    explicit SyslogLogger(int threshold)
    {
        openlog("syslog-logger", LOG_PID, LOG_USER);
        const SLevelDef level = {CATEGORY_ALL, threshold};
        RegisterLogger(this, 1, &level);
    }
    ~SyslogLogger() override
    {
        UnRegisterLogger(this);
        closelog();
    }

    SyslogLogger(const SyslogLogger&) = delete;
    SyslogLogger& operator=(const SyslogLogger&) = delete;

    /// syslog stamps messages itself, with the time of the dispatch.
    void Log(int level, int category, double, unsigned int, const char* file, int line, const wchar_t* text) override
    {
        syslog(PriorityOf(level), "%s:%d: m=%d: %ls", file, line, category, text);
    }
    void MessagesDropped(unsigned int count) override { syslog(LOG_WARNING, "%u messages dropped", count); }
    void SetErrorHandler(IQErrorHandler*) override {}

private:
    static int PriorityOf(int level)
    {
        return level >= LEVEL_ERROR     ? LOG_ERR
               : level >= LEVEL_WARNING ? LOG_WARNING
               : level >= LEVEL_INFO    ? LOG_INFO
                                        : LOG_DEBUG;
    }
};

} // namespace

int main()
{
    std::setlocale(LC_CTYPE, "C.UTF-8"); // for %ls: the encoding that syslog gets; numbers keep their point
    SetLogOptions(L"linfo");
    const SyslogLogger logger(LEVEL_WARNING);
    QUARN_INFO(CATEGORY_AXIS, L"axis %d up", 2);
    QUARN_WARNING(CATEGORY_AXIS, L"axis %d warm: %.1f \u00b0C", 2, 63.5);
    QUARN_ERROR(CATEGORY_AXIS, L"axis %d stands still", 2);
}
