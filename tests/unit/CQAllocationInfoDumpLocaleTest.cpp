#include <QuarnLogging/CQAllocationInfo.h>

#include "LogCapture.h"

#include <gmock/gmock.h>

#include <cctype>

using namespace Quarn::Logging;
using namespace QuarnTest;
using ::testing::Contains;
using ::testing::EndsWith;

// As in a locale with an 8-bit character set, which a test machine need not have installed.
extern "C" int isprint(int character) noexcept { return character >= 0xA0 || (character >= 0x20 && character < 0x7F); }

namespace {

TEST(CQAllocationInfoDumpLocaleTest, PrintableByteBecomesTheWideCharacterOfItsCode)
{
    unsigned char object[] = {0x41, 0x9F, 0xE4};
    LogCapture capture;
    CQAllocationInfo registry;
    registry.EnableAddInfo(true);
    registry.AddInfo(L"a.cpp", 12, object, sizeof object);
    registry.AddObjectSizeUsedForMemoryDump(3);

    registry.DumpInfo(-1);

    EXPECT_THAT(capture.Texts(), Contains(EndsWith(L"hex(41 9f e4 ) | string(A.\u00e4)")));
}

} // namespace
