#include <QuarnLogging/CQAllocationInfo.h>

#include <gtest/gtest.h>

using Quarn::Logging::CQAllocationInfo;

namespace {

TEST(CQAllocationInfoExportTest, ConstantsAreFoundInTheLibrary)
{
    const unsigned int* invalid = &CQAllocationInfo::INVALID_ALLOC_POS_ID;
    const unsigned int* first = &CQAllocationInfo::FIRST_VALID_ALLOC_POS_ID;

    EXPECT_EQ(*invalid, 0u);
    EXPECT_EQ(*first, 1u);
}

} // namespace
