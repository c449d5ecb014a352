#include <QuarnLogging/CQAllocationInfo.h>

#include "RunProgram.h"

#include <gtest/gtest.h>

using Quarn::Logging::CQAllocationInfo;
using namespace QuarnTest;

namespace {

TEST(CQAllocationInfoExportTest, OperationsAndConstantsOfTheClassAreExportedAndNothingElseInCplusplus)
{
    // Constructor and destructor have two symbols each, for complete objects and for parts of derived ones.
    const SProgramResult symbols = RunProgram("'" NM_TOOL "' --dynamic --defined-only --demangle '" LIBRARY
                                              "' | cut -d' ' -f2- | grep -E '::|\\(' "
                                              "| LC_ALL=C sort");

    EXPECT_EQ(symbols.output,
              "R Quarn::Logging::CQAllocationInfo::FIRST_VALID_ALLOC_POS_ID\n"
              "R Quarn::Logging::CQAllocationInfo::INVALID_ALLOC_POS_ID\n"
              "T Quarn::Logging::CQAllocationInfo::AddInfo(wchar_t const*, unsigned int, void*, unsigned int)\n"
              "T Quarn::Logging::CQAllocationInfo::AddLineNumberUsedForMemoryDump(unsigned int)\n"
              "T Quarn::Logging::CQAllocationInfo::AddObjectSizeUsedForMemoryDump(unsigned int)\n"
              "T Quarn::Logging::CQAllocationInfo::CQAllocationInfo()\n"
              "T Quarn::Logging::CQAllocationInfo::CQAllocationInfo()\n"
              "T Quarn::Logging::CQAllocationInfo::ClearInfo()\n"
              "T Quarn::Logging::CQAllocationInfo::ClearMemoryDumpSelections()\n"
              "T Quarn::Logging::CQAllocationInfo::DumpInfo(int) const\n"
              "T Quarn::Logging::CQAllocationInfo::EnableAddInfo(bool)\n"
              "T Quarn::Logging::CQAllocationInfo::IsAddInfoEnabled() const\n"
              "T Quarn::Logging::CQAllocationInfo::TryRemoveInfo(void*)\n"
              "T Quarn::Logging::CQAllocationInfo::~CQAllocationInfo()\n"
              "T Quarn::Logging::CQAllocationInfo::~CQAllocationInfo()\n");
}

TEST(CQAllocationInfoExportTest, ConstantsAreFoundInTheLibrary)
{
    const unsigned int* invalid = &CQAllocationInfo::INVALID_ALLOC_POS_ID;
    const unsigned int* first = &CQAllocationInfo::FIRST_VALID_ALLOC_POS_ID;

    EXPECT_EQ(*invalid, 0u);
    EXPECT_EQ(*first, 1u);
}

} // namespace
