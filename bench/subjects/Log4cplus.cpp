#include "Subject.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>

#include <memory>

namespace QuarnBench {

namespace {

log4cplus::Logger& Log()
{
    static const log4cplus::Initializer initializer;
    static log4cplus::Logger logger = log4cplus::Logger::getInstance("bench");
    return logger;
}

void Open(Scene scene, const std::string& directory)
{
    log4cplus::SharedAppenderPtr appender;
    if (scene == Scene::FLUSHED) {
        constexpr bool IMMEDIATE_FLUSH = true;
        appender = new log4cplus::FileAppender(directory + "/log4cplus.log", std::ios_base::trunc, IMMEDIATE_FLUSH);
        appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%Y-%m-%d %H:%M:%S.%q} %p [%t] %m%n"));
    } else {
        appender = new log4cplus::NullAppender;
    }
    Log().setAdditivity(false);
    Log().setLogLevel(log4cplus::INFO_LOG_LEVEL);
    Log().addAppender(appender);
}

void Close() { Log().removeAllAppenders(); }
void Drain() {}

void LogStatic(int) { LOG4CPLUS_INFO_STR(Log(), "axis reference run finished without errors"); }
void LogTwoInts(int number) { LOG4CPLUS_INFO_FMT(Log(), "axis %d stands at position %d", number & 7, number); }
void LogMixed(int number)
{
    LOG4CPLUS_INFO_FMT(Log(), "axis %d %s %s %f %x", number & 7, "drive", "locked", number * 0.25,
                       static_cast<unsigned int>(number));
}

void Filtered(int count)
{
    const log4cplus::Logger& logger = Log();
    for (int i = 0; i < count; ++i) {
        LOG4CPLUS_DEBUG_FMT(logger, "axis %d stands at position %d", i & 7, i);
        ForgetMemory();
    }
}

} // namespace

SSubject Log4cplusSubject()
{
    return {"log4cplus", Open, Close, {LogStatic, LogTwoInts, LogMixed}, Drain, Filtered, false, true};
}

} // namespace QuarnBench
