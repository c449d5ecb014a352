#include "Subject.h"

#include <boost/core/null_deleter.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/log/attributes.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include <fstream>

namespace logging = boost::log;
namespace expressions = boost::log::expressions;

namespace QuarnBench {

namespace {

enum Severity : int { SEVERITY_DEBUG, SEVERITY_INFO };

using Backend = logging::sinks::text_ostream_backend;
using Sink = logging::sinks::synchronous_sink<Backend>;

boost::shared_ptr<Sink> g_pSink;

/// One for each thread, which spares them the lock of a shared one.
logging::sources::severity_logger<Severity>& Log()
{
    static thread_local logging::sources::severity_logger<Severity> logger;
    return logger;
}

void Open(Scene scene, const std::string& directory)
{
    const auto core = logging::core::get();
    core->add_global_attribute("TimeStamp", logging::attributes::local_clock());
    core->add_global_attribute("ThreadID", logging::attributes::current_thread_id());
    core->set_filter(expressions::attr<Severity>("Severity") >= SEVERITY_INFO);
    if (scene == Scene::QUEUED) {
        return;
    }
    const auto backend = boost::make_shared<Backend>();
    backend->add_stream(boost::make_shared<std::ofstream>(directory + "/boost.log"));
    backend->auto_flush(true);
    g_pSink = boost::make_shared<Sink>(backend);
    g_pSink->set_formatter(expressions::stream
                           << expressions::format_date_time<boost::posix_time::ptime>("TimeStamp",
                                                                                      "%Y-%m-%d %H:%M:%S.%f")
                           << ' ' << expressions::attr<Severity>("Severity") << " ["
                           << expressions::attr<logging::attributes::current_thread_id::value_type>("ThreadID") << "] "
                           << expressions::smessage);
    core->add_sink(g_pSink);
}

void Close()
{
    const auto core = logging::core::get();
    if (g_pSink != nullptr) {
        core->remove_sink(g_pSink);
        g_pSink.reset();
    }
    core->set_global_attributes({});
}

void Drain() {}

void LogStatic(int) { BOOST_LOG_SEV(Log(), SEVERITY_INFO) << "axis reference run finished without errors"; }
void LogTwoInts(int number)
{
    BOOST_LOG_SEV(Log(), SEVERITY_INFO) << "axis " << (number & 7) << " stands at position " << number;
}
void LogMixed(int number)
{
    BOOST_LOG_SEV(Log(), SEVERITY_INFO) << "axis " << (number & 7) << " drive "
                                        << "locked" << ' ' << std::fixed << number * 0.25 << ' ' << std::hex << number;
}

void Filtered(int count)
{
    auto& logger = Log();
    for (int i = 0; i < count; ++i) {
        BOOST_LOG_SEV(logger, SEVERITY_DEBUG) << "axis " << (i & 7) << " stands at position " << i;
        ForgetMemory();
    }
}

} // namespace

SSubject BoostLogSubject()
{
    return {"Boost.Log", Open, Close, {LogStatic, LogTwoInts, LogMixed}, Drain, Filtered, false, true};
}

} // namespace QuarnBench
