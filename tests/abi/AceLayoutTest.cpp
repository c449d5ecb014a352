#include "AceLayout.h"

#include <gtest/gtest.h>

namespace {

// libACE has short times, and the library's come with the headers that the library includes.
TEST(AceLayoutTest, ClassesSharedWithLibAceDoNotDependOnTheWidthOfTimes)
{
    const SAceLayout longTimes = LayoutWithLongTimes();
    const SAceLayout shortTimes = LayoutWithShortTimes();

    ASSERT_NE(longTimes.timeValue, shortTimes.timeValue) << "the widths are the same: this compares nothing";
    EXPECT_EQ(longTimes.shared, shortTimes.shared);
}

} // namespace
