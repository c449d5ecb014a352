#include "LatencyRecorder.h"

#include <gtest/gtest.h>

#include <cstdint>

using QuarnBench::LatencyHistogram;
using QuarnBench::TickCounter;

namespace {

TEST(LatencyRecorderTest, EmptyHistogramHasZeros)
{
    const LatencyHistogram histogram;

    EXPECT_EQ(histogram.Count(), 0U);
    EXPECT_EQ(histogram.Mean(), 0.0);
    EXPECT_EQ(histogram.Percentile(5000), 0U);
    EXPECT_EQ(histogram.Median(), 0.0);
    EXPECT_EQ(histogram.Max(), 0U);
}

TEST(LatencyRecorderTest, ShortDurationsAreExact)
{
    LatencyHistogram histogram;

    for (std::uint64_t duration = 1; duration <= 100; ++duration) {
        histogram.Record(duration);
    }

    EXPECT_EQ(histogram.Percentile(100), 1U);
    EXPECT_EQ(histogram.Percentile(5000), 50U);
    EXPECT_EQ(histogram.Percentile(9900), 99U);
    EXPECT_EQ(histogram.Percentile(10000), 100U);
    EXPECT_EQ(histogram.Mean(), 50.5);
}

TEST(LatencyRecorderTest, LastExactAndFirstWideClassMeet)
{
    LatencyHistogram histogram;

    histogram.Record(127);
    histogram.Record(128);
    histogram.Record(129);

    EXPECT_EQ(histogram.Percentile(3000), 127U);
    EXPECT_EQ(histogram.Percentile(6000), 128U);
    EXPECT_EQ(histogram.Percentile(10000), 128U);
    EXPECT_EQ(histogram.Max(), 129U);
}

TEST(LatencyRecorderTest, LongDurationIsFoundAtTheLowerEndOfItsClass)
{
    LatencyHistogram histogram;

    histogram.Record(1000003); // classes of 8192 here, this one from 999424 on

    EXPECT_EQ(histogram.Percentile(5000), 999424U);
    EXPECT_EQ(histogram.Max(), 1000003U);
    EXPECT_EQ(histogram.Mean(), 1000003.0);
}

TEST(LatencyRecorderTest, LongestDurationHasAClass)
{
    LatencyHistogram histogram;

    histogram.Record(UINT64_MAX);

    EXPECT_EQ(histogram.Percentile(10000), 0xFE00000000000000U);
}

TEST(LatencyRecorderTest, RareOutlierShowsInTheTailOnly)
{
    LatencyHistogram histogram;

    for (int i = 0; i < 999; ++i) {
        histogram.Record(10);
    }
    histogram.Record(64001); // classes of 512 here, this one from 64000 on

    EXPECT_EQ(histogram.Percentile(9990), 10U);
    EXPECT_EQ(histogram.Percentile(9999), 64000U);
}

TEST(LatencyRecorderTest, MedianLiesBetweenTheStepsOfACoarseCounter)
{
    LatencyHistogram histogram;

    for (int i = 0; i < 40; ++i) {
        histogram.Record(90);
    }
    for (int i = 0; i < 60; ++i) {
        histogram.Record(100);
    }

    EXPECT_EQ(histogram.Median(), 96.0); // the middles of the two have the ranks 20 and 70, the median has 50
}

TEST(LatencyRecorderTest, MedianOfOneValueIsThatValue)
{
    LatencyHistogram histogram;

    histogram.Record(77);
    histogram.Record(77);

    EXPECT_EQ(histogram.Median(), 77.0);
}

TEST(LatencyRecorderTest, MergedHistogramsCountTogether)
{
    LatencyHistogram histogram;
    histogram.Record(10);
    LatencyHistogram other;
    other.Record(20);
    other.Record(90);

    histogram.Merge(other);

    EXPECT_EQ(histogram.Count(), 3U);
    EXPECT_EQ(histogram.Percentile(5000), 20U);
    EXPECT_EQ(histogram.Mean(), 40.0);
    EXPECT_EQ(histogram.Max(), 90U);
}

TEST(LatencyRecorderTest, ElapsedIsNeverNegative)
{
    const TickCounter counter;

    EXPECT_EQ(counter.Elapsed(1000, 1000), 0U);
    EXPECT_GT(counter.Elapsed(0, 1000000000), 999000000U);
}

} // namespace
