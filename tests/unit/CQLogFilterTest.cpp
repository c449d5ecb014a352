#include "CQLogFilter.h"

#include "PlatformDoubles.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <climits>
#include <initializer_list>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

void ApplyTo(CQLogFilter& filter, std::initializer_list<SLevelDef> levels)
{
    filter.SetFilter(static_cast<unsigned int>(levels.size()), levels.begin());
}

TEST(CQLogFilterTest, NewFilterStopsAllNamedLevels)
{
    const CQLogFilter filter;

    EXPECT_EQ(filter.GetLevel(0), 9999);
    EXPECT_EQ(filter.GetLevel(-77), 9999);
    EXPECT_FALSE(filter.MustLog(5, 4000));
    EXPECT_TRUE(filter.MustLog(5, 9999));
}

TEST(CQLogFilterTest, DefaultAppliesToCategoriesWithoutAThreshold)
{
    CQLogFilter filter;

    ApplyTo(filter, {{-2, 2000}, {7, 4000}});

    EXPECT_FALSE(filter.MustLog(7, 3999));
    EXPECT_TRUE(filter.MustLog(7, 4000));
    EXPECT_FALSE(filter.MustLog(8, 1999));
    EXPECT_TRUE(filter.MustLog(8, 2000));
}

TEST(CQLogFilterTest, ThresholdsCompareAsSignedNumbers)
{
    CQLogFilter filter;

    ApplyTo(filter, {{7, -5}, {8, INT_MIN}, {9, INT_MAX}});

    EXPECT_FALSE(filter.MustLog(7, -6));
    EXPECT_TRUE(filter.MustLog(7, -5));
    EXPECT_TRUE(filter.MustLog(8, INT_MIN));
    EXPECT_FALSE(filter.MustLog(9, INT_MAX - 1));
}

TEST(CQLogFilterTest, LaterSettingOfACategoryHoldsAlsoWhenItIsHigher)
{
    CQLogFilter filter;

    ApplyTo(filter, {{7, 1000}, {7, 4000}});

    EXPECT_EQ(filter.GetLevel(7), 4000);
}

TEST(CQLogFilterTest, SettingAllForgetsTheCategoriesBeforeIt)
{
    CQLogFilter filter;

    ApplyTo(filter, {{7, 4000}, {-1, 1000}});

    EXPECT_EQ(filter.GetLevel(7), 1000);
    EXPECT_EQ(filter.GetLevel(8), 1000);
}

TEST(CQLogFilterTest, SettingAllLeavesTheCategoriesBehindIt)
{
    CQLogFilter filter;

    ApplyTo(filter, {{6, 4000}, {-1, 1000}, {7, 3000}});

    EXPECT_EQ(filter.GetLevel(6), 1000);
    EXPECT_EQ(filter.GetLevel(7), 3000);
}

TEST(CQLogFilterTest, DefaultBehindASettingOfAllReplacesItsDefault)
{
    CQLogFilter filter;

    ApplyTo(filter, {{-1, 1000}, {-2, 3000}});

    EXPECT_EQ(filter.GetLevel(0), 3000);
}

TEST(CQLogFilterTest, SettingTheDefaultKeepsTheCategories)
{
    CQLogFilter filter;
    ApplyTo(filter, {{7, 4000}});

    filter.SetLevel(-2, 1000);

    EXPECT_EQ(filter.GetLevel(7), 4000);
    EXPECT_EQ(filter.GetLevel(8), 1000);
}

TEST(CQLogFilterTest, MinusThreeIsAnOrdinaryCategory)
{
    CQLogFilter filter;

    filter.SetLevel(-3, 1000);

    EXPECT_EQ(filter.GetLevel(-3), 1000);
    EXPECT_EQ(filter.GetLevel(-4), 9999);
}

TEST(CQLogFilterTest, ExtremeNumbersAreOrdinaryCategories)
{
    CQLogFilter filter;

    ApplyTo(filter, {{INT_MIN, 1000}, {INT_MAX, 2000}, {0, 3000}});

    EXPECT_EQ(filter.GetLevel(INT_MIN), 1000);
    EXPECT_EQ(filter.GetLevel(INT_MAX), 2000);
    EXPECT_EQ(filter.GetLevel(0), 3000);
}

TEST(CQLogFilterTest, SpecialCategoriesAlwaysHaveTheDefault)
{
    CQLogFilter filter;

    ApplyTo(filter, {{-1, 3000}, {-2, 2000}, {5, 1000}});

    EXPECT_EQ(filter.GetLevel(-1), 2000);
    EXPECT_EQ(filter.GetLevel(-2), 2000);
}

TEST(CQLogFilterTest, KeepsManyMoreCategoriesThanTheMapHasBuckets)
{
    CQLogFilter filter;

    for (int category = 0; category < 500; ++category) {
        filter.SetLevel(category, 10000 + category);
    }

    for (int category = 0; category < 500; ++category) {
        ASSERT_EQ(filter.GetLevel(category), 10000 + category);
    }
    EXPECT_EQ(filter.GetLevel(500), 9999);
}

TEST(CQLogFilterTest, FilterOfNoSettingsChangesNothing)
{
    CQLogFilter filter;
    ApplyTo(filter, {{-2, 2000}, {7, 4000}});

    filter.SetFilter(0, nullptr);

    EXPECT_EQ(filter.GetLevel(7), 4000);
    EXPECT_EQ(filter.GetLevel(8), 2000);
}

TEST(CQLogFilterTest, ResetForgetsEverything)
{
    CQLogFilter filter;
    ApplyTo(filter, {{-2, 1000}, {7, 2000}, {-9, 3000}});

    filter.Reset();

    EXPECT_EQ(filter.GetLevel(0), 9999);
    EXPECT_EQ(filter.GetLevel(7), 9999);
    EXPECT_EQ(filter.GetLevel(-9), 9999);
}

TEST(CQLogFilterTest, CombineTakesTheLowerDefault)
{
    CQLogFilter high;
    CQLogFilter low;
    high.SetLevel(-2, 3000);
    low.SetLevel(-2, 1000);

    high.Combine(low);

    EXPECT_EQ(high.GetLevel(0), 1000);
}

TEST(CQLogFilterTest, CombineKeepsItsOwnDefaultIfThatIsLower)
{
    CQLogFilter high;
    CQLogFilter low;
    high.SetLevel(-2, 3000);
    low.SetLevel(-2, 1000);

    low.Combine(high);

    EXPECT_EQ(low.GetLevel(0), 1000);
}

TEST(CQLogFilterTest, CombineTakesTheLowerThresholdOfACategoryThatBothName)
{
    CQLogFilter one;
    CQLogFilter other;
    ApplyTo(one, {{3, 3000}, {4, 1000}});
    ApplyTo(other, {{3, 2000}, {4, 4000}});

    one.Combine(other);

    EXPECT_EQ(one.GetLevel(3), 2000);
    EXPECT_EQ(one.GetLevel(4), 1000);
}

// Not the union of what the two pass: this filter alone would let debug messages of category 5 through.
TEST(CQLogFilterTest, CombineAddsACategoryOfTheOtherAboveItsOwnDefault)
{
    CQLogFilter filter;
    CQLogFilter other;
    filter.SetLevel(-2, 1000);
    other.SetLevel(5, 4000);

    filter.Combine(other);

    EXPECT_EQ(filter.GetLevel(5), 4000);
    EXPECT_EQ(filter.GetLevel(6), 1000);
}

TEST(CQLogFilterTest, CombineDoesNotLowerItsOwnCategoryToTheOthersDefault)
{
    CQLogFilter filter;
    CQLogFilter other;
    filter.SetLevel(5, 4000);
    other.SetLevel(-2, 1000);

    filter.Combine(other);

    EXPECT_EQ(filter.GetLevel(5), 4000);
    EXPECT_EQ(filter.GetLevel(6), 1000);
}

TEST(CQLogFilterTest, CombineLeavesTheOtherFilterAsItWas)
{
    CQLogFilter filter;
    CQLogFilter other;
    ApplyTo(filter, {{-2, 1000}, {3, 1000}, {4, 1000}});
    ApplyTo(other, {{-2, 3000}, {3, 2000}});

    filter.Combine(other);

    EXPECT_EQ(other.GetLevel(0), 3000);
    EXPECT_EQ(other.GetLevel(3), 2000);
    EXPECT_EQ(other.GetLevel(4), 3000);
}

TEST(CQLogFilterTest, CombineReadsTheOtherFilterWithoutItsLock)
{
    CQLogFilter filter;
    CQLogFilter other;
    ApplyTo(other, {{-2, 3000}, {3, 2000}, {4, 2000}});
    const FaultPlan plan;

    filter.Combine(other);

    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST(CQLogFilterTest, QuestionLocksOnce)
{
    const CQLogFilter filter;
    const FaultPlan plan;

    const bool mustLog = filter.MustLog(1, 9999);

    EXPECT_TRUE(mustLog);
    EXPECT_EQ(plan.Calls(Service::MutexLock), 1);
}

TEST(CQLogFilterTest, MissingCategoryLeavesErrnoAlone)
{
    const CQLogFilter filter;
    errno = EDOM;

    const int level = filter.GetLevel(7);

    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(level, 9999);
}

TEST(CQLogFilterTest, LockThatCannotBeTakenAnswersWithTheDefault)
{
    CQLogFilter filter;
    ApplyTo(filter, {{-2, 2000}, {7, 4000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    EXPECT_EQ(filter.GetLevel(7), 2000);
    EXPECT_EQ(filter.GetLevel(7), 4000) << "the fault was for one call";
}

TEST(CQLogFilterTest, LockThatCannotBeTakenKeepsASettingFromTakingEffect)
{
    CQLogFilter filter;
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    filter.SetLevel(7, 1000);

    EXPECT_EQ(filter.GetLevel(7), 9999);
}

TEST(CQLogFilterTest, LockThatFailsInTheMiddleOfAnArraySkipsThatSettingOnly)
{
    CQLogFilter filter;
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL, 2);

    ApplyTo(filter, {{1, 1000}, {2, 1000}, {3, 1000}});

    EXPECT_EQ(filter.GetLevel(1), 1000);
    EXPECT_EQ(filter.GetLevel(2), 9999);
    EXPECT_EQ(filter.GetLevel(3), 1000);
}

TEST(CQLogFilterTest, InnerLockThatFailsWhileAllAreSetLeavesTheOldDefault)
{
    CQLogFilter filter;
    ApplyTo(filter, {{-2, 2000}, {7, 4000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EAGAIN, 2);

    filter.SetLevel(-1, 1000);

    EXPECT_EQ(filter.GetLevel(7), 2000) << "the categories are gone, the default was set under a lock of its own";
}

TEST(CQLogFilterTest, LockThatCannotBeTakenKeepsACombinationFromTakingEffect)
{
    CQLogFilter filter;
    CQLogFilter other;
    ApplyTo(other, {{-2, 1000}, {7, 2000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    filter.Combine(other);

    EXPECT_EQ(filter.GetLevel(7), 9999);
    EXPECT_EQ(filter.GetLevel(8), 9999);
}

TEST(CQLogFilterTest, MakesItsLockRecursiveAndPriorityInheriting)
{
    FaultPlan plan;

    const CQLogFilter filter;

    EXPECT_EQ(plan.Calls(Service::MutexattrInit), 1);
    EXPECT_EQ(LastMutexType(), PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(LastMutexProtocol(), PTHREAD_PRIO_INHERIT);
}

TEST(CQLogFilterTest, KeepsTheAttributesOfItsLockUntilItsEnd)
{
    FaultPlan plan;
    int destroyedBefore = 0;

    {
        const CQLogFilter filter;
        destroyedBefore = plan.Calls(Service::MutexattrDestroy);
    }

    EXPECT_EQ(destroyedBefore, 0);
    EXPECT_EQ(plan.Calls(Service::MutexattrDestroy), 1);
}

} // namespace
