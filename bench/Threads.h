#ifndef QUARN_BENCH_THREADS_H
#define QUARN_BENCH_THREADS_H

#include <pthread.h>
#include <sched.h>

#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

namespace QuarnBench {

/// The processors that this process may use.
inline std::vector<unsigned int> UsableProcessors()
{
    std::vector<unsigned int> processors;
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    for (unsigned int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &set)) {
            processors.push_back(i);
        }
    }
    return processors;
}

inline void PinThisThread(unsigned int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    if (pthread_setaffinity_np(pthread_self(), sizeof set, &set) != 0) {
        std::abort();
    }
}

/// A meeting point of a number of threads.
class Barrier
{
public:
    explicit Barrier(int threads) { pthread_barrier_init(&m_Barrier, nullptr, static_cast<unsigned int>(threads)); }
    ~Barrier() { pthread_barrier_destroy(&m_Barrier); }
    Barrier(const Barrier&) = delete;
    Barrier& operator=(const Barrier&) = delete;
    void Wait() { pthread_barrier_wait(&m_Barrier); }

private:
    pthread_barrier_t m_Barrier{};
};

/// Runs the work on so many threads at once, with their numbers; the last processor gets the first thread, since
/// interrupts tend to be served by the first.
inline void RunThreads(int count, bool pinned, const std::function<void(int)>& work)
{
    const std::vector<unsigned int> processors = UsableProcessors();
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            if (pinned) {
                const auto usable = static_cast<int>(processors.size());
                PinThisThread(processors[static_cast<std::size_t>(usable - 1 - i % usable)]);
            }
            work(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace QuarnBench

#endif
