#include "Subject.h"

#include <glog/logging.h>

namespace QuarnBench {

namespace {

void Open(Scene scene, const std::string& directory)
{
    static const bool initialised = (google::InitGoogleLogging("bench"), true);
    static_cast<void>(initialised);
    FLAGS_stderrthreshold = google::FATAL;
    FLAGS_timestamp_in_logfile_name = false;
    FLAGS_logbufsecs = scene == Scene::FLUSHED ? 0 : 30;
    FLAGS_logbuflevel = scene == Scene::FLUSHED ? -1 : google::ERROR; // this level and those below are buffered
    google::SetLogDestination(google::INFO, (directory + "/glog.log").c_str());
}

void Close()
{
    google::FlushLogFiles(google::INFO);
    google::SetLogDestination(google::INFO, "");
}

void Drain() { google::FlushLogFiles(google::INFO); }

void LogStatic(int) { LOG(INFO) << "axis reference run finished without errors"; }
void LogTwoInts(int number) { LOG(INFO) << "axis " << (number & 7) << " stands at position " << number; }
void LogMixed(int number)
{
    LOG(INFO) << "axis " << (number & 7) << " drive "
              << "locked" << ' ' << std::fixed << number * 0.25 << ' ' << std::hex << number;
}

/// VLOG is the guard that glog offers for messages that are mostly off; LOG makes the message before it drops it.
void Filtered(int count)
{
    for (int i = 0; i < count; ++i) {
        VLOG(1) << "axis " << (i & 7) << " stands at position " << i;
        ForgetMemory();
    }
}

} // namespace

SSubject GlogSubject() { return {"glog", Open, Close, {LogStatic, LogTwoInts, LogMixed}, Drain, Filtered, true, true}; }

} // namespace QuarnBench
