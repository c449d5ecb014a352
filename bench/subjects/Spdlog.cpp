#include "Subject.h"

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <thread>

namespace QuarnBench {

namespace {

std::shared_ptr<spdlog::logger> g_pLogger;
std::shared_ptr<spdlog::details::thread_pool> g_pPool;
std::size_t g_Overrun = 0;

void Open(Scene scene, const std::string& directory)
{
    if (scene == Scene::QUEUED) {
        // Twice what is queued between two waits, so that none is ever overrun.
        g_pPool = std::make_shared<spdlog::details::thread_pool>(2 * QUEUED_MESSAGES, 1);
        auto sink = std::make_shared<spdlog::sinks::null_sink_mt>();
        g_pLogger = std::make_shared<spdlog::async_logger>("bench", std::move(sink), g_pPool,
                                                           spdlog::async_overflow_policy::overrun_oldest);
    } else {
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(directory + "/spdlog.log", true);
        g_pLogger = std::make_shared<spdlog::logger>("bench", std::move(sink));
        g_pLogger->flush_on(spdlog::level::trace);
    }
    g_pLogger->set_pattern("%Y-%m-%d %H:%M:%S.%e %l [%t] %v");
    g_pLogger->set_level(spdlog::level::info);
}

void Close()
{
    g_Overrun += g_pPool != nullptr ? g_pPool->overrun_counter() : 0;
    g_pLogger.reset();
    g_pPool.reset();
}

void Drain()
{
    while (g_pPool != nullptr && g_pPool->queue_size() != 0) {
        std::this_thread::yield();
    }
}

void LogStatic(int) { g_pLogger->info("axis reference run finished without errors"); }
void LogTwoInts(int number) { g_pLogger->info("axis {} stands at position {}", number & 7, number); }
void LogMixed(int number)
{
    g_pLogger->info("axis {} {} {} {:f} {:x}", number & 7, "drive", "locked", number * 0.25, number);
}

/// should_log in front is the cheapest guard that spdlog offers: debug alone also asks whether a backtrace is kept.
void Filtered(int count)
{
    spdlog::logger& logger = *g_pLogger;
    for (int i = 0; i < count; ++i) {
        if (logger.should_log(spdlog::level::debug)) {
            logger.debug("axis {} stands at position {}", i & 7, i);
        }
        ForgetMemory();
    }
}

unsigned int Dropped() { return static_cast<unsigned int>(g_Overrun); }

} // namespace

SSubject SpdlogSubject()
{
    return {"spdlog", Open, Close, {LogStatic, LogTwoInts, LogMixed}, Drain, Filtered, true, true, Dropped};
}

} // namespace QuarnBench
