// Logs and ends in the way that its first argument names: exit-ways <way> <options>. Its reserved memory is the file
// that QUARN_MEMORY_FILE names. What it has to say beside the log goes to standard error.

#include <QuarnLogging/Logging.h>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

using namespace Quarn::Logging;

namespace {

void LogText(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    g_pLogFunc(LEVEL_ERROR, 1, "exit-ways.cpp", 7, format, args);
    va_end(args);
}

/// Does something while it is called with a message, after it has told what the message was.
class ActingLogger : public IQLogger
{
public:
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t* text) override
    {
        std::fprintf(stderr, "acting on %ls\n", text);
        if (const auto act = std::exchange(m_Act, nullptr)) {
            act();
        }
    }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}

    std::function<void()> m_Act;
};

ActingLogger g_ActingLogger;

/// Logs on a thread that a logger ends or on which it acts in another way; then once more on the main thread.
void LogOnAThread(const std::function<void()>& act)
{
    const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
    RegisterLogger(&g_ActingLogger, 1, &all); // in front of the built-in one
    g_ActingLogger.m_Act = act;
    std::thread([] {
        LogText(L"first");
        std::fputs("the thread went on\n", stderr);
    }).join();
    LogText(L"second");
    UnRegisterLogger(&g_ActingLogger); // goes through the walks that are under way, if one was left behind
    LogText(L"third");
}

void CancelThisThread()
{
    pthread_cancel(pthread_self());
    pthread_testcancel();
}

void CatchOnTheCallersSide()
{
    const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
    RegisterLogger(&g_ActingLogger, 1, &all);
    g_ActingLogger.m_Act = [] { throw std::runtime_error("out of the logger"); };
    try {
        LogText(L"first");
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "caught %s\n", error.what());
    }
    LogText(L"second");
    UnRegisterLogger(&g_ActingLogger);
}

void ForkAndLog(const std::function<void()>& actAsChild)
{
    LogText(L"before the fork");
    const pid_t child = fork();
    if (child == 0) {
        actAsChild();
    }
    waitpid(child, nullptr, 0);
    LogText(L"after the child");
}

void QueueTwo()
{
    LogText(L"written");
    EnableAutologging(false);
    LogText(L"queued");
}

} // namespace

int main(int, char** argv)
{
    const std::map<std::string, std::function<void()>> ways = {
        {"return", QueueTwo},
        {"exit", [] { QueueTwo(), std::exit(0); }},
        {"exit-on-thread", [] { std::thread([] { QueueTwo(), std::exit(0); }).join(); }},
        {"quick_exit", [] { QueueTwo(), std::quick_exit(0); }},
        {"_exit", [] { QueueTwo(), _exit(0); }},
        {"abort", [] { QueueTwo(), std::abort(); }},
        {"pthread_exit", [] { QueueTwo(), pthread_exit(nullptr); }},
        {"throw-in-logger", CatchOnTheCallersSide},
        {"pthread_exit-in-logger", [] { LogOnAThread([] { pthread_exit(nullptr); }); }},
        {"cancel-in-logger", [] { LogOnAThread(CancelThisThread); }},
        {"fork-child-exits", [] { ForkAndLog([] { std::exit(0); }); }},
        {"fork-child-logs",
         [] {
             ForkAndLog([] {
                 LogText(L"of the child");
                 _exit(0);
             });
         }},
        {"fork-child-queues", [] {
             EnableAutologging(false);
             ForkAndLog([] {
                 LogText(L"of the child");
                 _exit(0);
             });
             DispatchQueuedLogMessages();
         }}};
    SetLogOptions(std::wstring(argv[2], argv[2] + std::char_traits<char>::length(argv[2])).c_str());
    ways.at(argv[1])();
}
