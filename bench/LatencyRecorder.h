#ifndef QUARN_BENCH_LATENCY_RECORDER_H
#define QUARN_BENCH_LATENCY_RECORDER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <time.h>

/// @file
/// Times single calls: a counter that is read around each, and a histogram that takes a reading without the heap.

namespace QuarnBench {

/// @brief Counts of durations, in classes that are exact below 128 and at most 1/64 wide from there on.
///
/// The unit is the caller's. Sum and maximum are exact.
class LatencyHistogram
{
public:
    void Record(std::uint64_t duration)
    {
        ++m_Counts[ClassOf(duration)];
        ++m_Count;
        m_Sum += duration;
        m_Max = std::max(m_Max, duration);
    }

    void Merge(const LatencyHistogram& other)
    {
        for (std::size_t i = 0; i < m_Counts.size(); ++i) {
            m_Counts[i] += other.m_Counts[i];
        }
        m_Count += other.m_Count;
        m_Sum += other.m_Sum;
        m_Max = std::max(m_Max, other.m_Max);
    }

    std::uint64_t Count() const { return m_Count; }
    std::uint64_t Max() const { return m_Max; }
    double Mean() const { return m_Count == 0 ? 0 : static_cast<double>(m_Sum) / static_cast<double>(m_Count); }

    /// The smallest duration that so many of ten thousand calls did not exceed: the lower end of its class. In whole
    /// numbers, which have no rounding that differs between processors.
    std::uint64_t Percentile(std::uint64_t ofTenThousand) const
    {
        const std::uint64_t rank = (ofTenThousand * m_Count + 9999) / 10000;
        std::uint64_t seen = 0;
        for (std::size_t i = 0; i < m_Counts.size(); ++i) {
            seen += m_Counts[i];
            if (seen != 0 && seen >= rank) {
                return LowerEnd(i);
            }
        }
        return 0;
    }

    /// The median, interpolated between the classes that lie around it. A counter that advances in steps of several
    /// nanoseconds rounds each duration to one of few values; what lies between them shows in how often each occurs.
    double Median() const
    {
        double previousValue = 0;
        double previousRank = 0;
        double before = 0;
        const double half = static_cast<double>(m_Count) / 2;
        for (std::size_t i = 0; i < m_Counts.size(); ++i) {
            if (m_Counts[i] == 0) {
                continue;
            }
            const auto count = static_cast<double>(m_Counts[i]);
            const auto value = static_cast<double>(LowerEnd(i));
            const double rank = before + count / 2;
            if (rank >= half) {
                return before == 0
                           ? value
                           : previousValue + (value - previousValue) * (half - previousRank) / (rank - previousRank);
            }
            previousValue = value;
            previousRank = rank;
            before += count;
        }
        return previousValue;
    }

private:
    static constexpr unsigned int SUB_BITS = 6; ///< 64 classes for each power of two.

    static std::size_t ClassOf(std::uint64_t duration)
    {
        if (duration < (2U << SUB_BITS)) {
            return static_cast<std::size_t>(duration);
        }
        const unsigned int shift = 63U - static_cast<unsigned int>(__builtin_clzll(duration)) - SUB_BITS;
        return static_cast<std::size_t>((shift << SUB_BITS) + (duration >> shift));
    }

    static std::uint64_t LowerEnd(std::size_t index)
    {
        if (index < (2U << SUB_BITS)) {
            return index;
        }
        const std::size_t shift = (index >> SUB_BITS) - 1;
        return static_cast<std::uint64_t>(index - (shift << SUB_BITS)) << shift;
    }

    std::array<std::uint64_t, (65 - SUB_BITS) << SUB_BITS> m_Counts{};
    std::uint64_t m_Count = 0;
    std::uint64_t m_Sum = 0;
    std::uint64_t m_Max = 0;
};

/// @brief The time stamp counter, calibrated against CLOCK_MONOTONIC.
///
/// The fences keep the timed instructions between the two readings. A reading pair takes some 20 ns, which Elapsed()
/// subtracts: the median of many pairs with nothing between them.
class TickCounter
{
public:
    TickCounter()
    {
        const std::uint64_t startNs = MonotonicNs();
        const std::uint64_t start = Start();
        MeasureCost();
        while (MonotonicNs() - startNs < 50000000) { // long enough that the readings' own time does not count
        }
        const std::uint64_t endNs = MonotonicNs();
        m_NsPerTick = static_cast<double>(endNs - startNs) / static_cast<double>(Stop() - start);
    }

    static std::uint64_t Start()
    {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        asm volatile("lfence\n\trdtsc\n\tlfence" : "=a"(low), "=d"(high) : : "memory");
        return std::uint64_t{high} << 32U | low;
    }

    static std::uint64_t Stop()
    {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        asm volatile("rdtscp\n\tlfence" : "=a"(low), "=d"(high) : : "memory", "ecx");
        return std::uint64_t{high} << 32U | low;
    }

    /// Ticks from a Start() to a Stop(), without what the readings take.
    std::uint64_t Elapsed(std::uint64_t start, std::uint64_t stop) const
    {
        return stop - start > m_Cost ? stop - start - m_Cost : 0;
    }

    double Nanoseconds(double ticks) const { return ticks * m_NsPerTick; }
    double CostNs() const { return Nanoseconds(static_cast<double>(m_Cost)); }
    double StepNs() const { return Nanoseconds(static_cast<double>(m_Step)); }

    static std::uint64_t MonotonicNs()
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
    }

private:
    void MeasureCost()
    {
        LatencyHistogram costs;
        std::uint64_t shortest = UINT64_MAX;
        std::uint64_t longer = UINT64_MAX;
        for (int i = 0; i < 20000; ++i) {
            const std::uint64_t start = Start();
            const std::uint64_t cost = Stop() - start;
            costs.Record(cost);
            if (cost < shortest) {
                longer = shortest;
                shortest = cost;
            } else if (cost > shortest && cost < longer) {
                longer = cost;
            }
        }
        m_Cost = static_cast<std::uint64_t>(costs.Median());
        m_Step = longer - shortest;
    }

    std::uint64_t m_Cost = 0;
    std::uint64_t m_Step = 0;
    double m_NsPerTick = 0;
};

} // namespace QuarnBench

#endif
