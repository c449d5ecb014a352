#include "DropCounter.h"
#include "Log.h"
#include "LogDispatcher.h"
#include "Machine.h"
#include "SentCounter.h"
#include "Settings.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

namespace {

/// What an interrupt sets; a log call is not allowed in a signal handler.
std::atomic<bool>* g_pStop = nullptr;

void RequestStop(int /*signal*/) { *g_pStop = true; }

/// The log dispatcher keeps its ordinary priority: it has the time that the others leave.
std::thread StartThread(void (*run)(SMachine&), SMachine& machine, int priority)
{
    std::thread thread(run, std::ref(machine));
    if (machine.settings.realTime) {
        const sched_param parameters = {priority};
        if (pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &parameters) != 0) {
            QUARN_WARNING(CATEGORY_MACHINE, L"no privilege for real-time priority %d", priority);
        }
    }
    return thread;
}

void RunMachine(SMachine& machine)
{
    QUARN_INFO(CATEGORY_MACHINE, L"start: %u ms, scenario %s", machine.settings.milliseconds,
               machine.settings.scenarioName.c_str());
    if (machine.settings.realTime && mlockall(MCL_CURRENT | MCL_FUTURE) != 0) {
        QUARN_WARNING(CATEGORY_MACHINE, L"no privilege to lock memory");
    }
    std::thread control = StartThread(RunControl, machine, 80);
    std::thread supervision = StartThread(RunSupervision, machine, 60);
    std::thread communication = StartThread(RunCommunication, machine, 40);
    communication.join();
    supervision.join();
    control.join();
    QUARN_INFO(CATEGORY_MACHINE, L"end");
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 2 && std::string(arguments[1]) == "--help") {
        PrintUsage(stdout);
        return 0;
    }
    SSettings settings;
    if (!ReadCommandLine(count, arguments, settings)) {
        PrintUsage(stderr);
        return 2;
    }
    std::setlocale(LC_CTYPE, "C.UTF-8"); // the encoding in which lines are written; numbers keep their point

    SentCounter sentCounter;
    DropCounter dropCounter;
    {
        LogDispatcher log(settings.options);
        SMachine machine{settings, log};
        g_pStop = &machine.stop;
        std::signal(SIGINT, RequestStop);
        std::signal(SIGTERM, RequestStop);
        RunMachine(machine);
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
        log.Stop();
    }
    std::printf("control-loop: %u messages sent, %u dropped\n", sentCounter.Sent(), dropCounter.Dropped());
    return 0;
}
