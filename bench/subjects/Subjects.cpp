#include "Subject.h"

#include <algorithm>
#include <cstdio>
#include <random>

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

std::vector<SSubject> SubjectsInTurn(Scene scene, int repetition)
{
    std::vector<SSubject> subjects;
    for (const SSubject& subject : Subjects()) {
        if (scene == Scene::QUEUED ? subject.queues : subject.flushes) {
            subjects.push_back(subject);
        }
    }
    if (repetition > 0) {
        std::shuffle(subjects.begin(), subjects.end(), std::mt19937(static_cast<unsigned int>(repetition)));
    }
    return subjects;
}

bool NoneDropped()
{
    bool none = true;
    for (const SSubject& subject : Subjects()) {
        const unsigned int dropped = subject.dropped == nullptr ? 0 : subject.dropped();
        if (dropped != 0) {
            std::fprintf(stderr, "%s: %u messages found no room in the queue\n", subject.name.c_str(), dropped);
            none = false;
        }
    }
    return none;
}

} // namespace QuarnBench
