#include "CQLogFilter.h"

#include "PlatformDoubles.h"

#include <gtest/gtest.h>

#include <cerrno>

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

TEST(CQLogFilterTest, LockThatCannotBeTakenAnswersWithTheDefault)
{
    CQLogFilter filter;
    ApplyTo(filter, {{-2, 2000}, {7, 4000}});
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    EXPECT_EQ(filter.GetLevel(7), 2000);
    EXPECT_EQ(filter.GetLevel(7), 4000) << "the fault was for one call";
}

} // namespace
