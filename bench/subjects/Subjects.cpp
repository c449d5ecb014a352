#include "Subject.h"

namespace QuarnBench {

std::vector<SSubject> Subjects()
{
    std::vector<SSubject> subjects = {QuarnSubject(), PartsSubject(), WriteSubject(), EmptyLoopSubject(),
                                      BareArraySubject()};
#ifdef QUARN_BENCH_SPDLOG
    subjects.push_back(SpdlogSubject());
#endif
#ifdef QUARN_BENCH_GLOG
    subjects.push_back(GlogSubject());
#endif
#ifdef QUARN_BENCH_LOG4CPLUS
    subjects.push_back(Log4cplusSubject());
#endif
#ifdef QUARN_BENCH_BOOSTLOG
    subjects.push_back(BoostLogSubject());
#endif
    return subjects;
}

std::vector<std::string> MissingPeers()
{
    std::vector<std::string> missing;
#ifndef QUARN_BENCH_SPDLOG
    missing.emplace_back("spdlog");
#endif
#ifndef QUARN_BENCH_GLOG
    missing.emplace_back("glog");
#endif
#ifndef QUARN_BENCH_LOG4CPLUS
    missing.emplace_back("log4cplus");
#endif
#ifndef QUARN_BENCH_BOOSTLOG
    missing.emplace_back("Boost.Log");
#endif
    return missing;
}

} // namespace QuarnBench
