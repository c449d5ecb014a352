#include "InputFile.h"

#include "PlatformDoubles.h"
#include "TempDir.h"
#include "ToolTest.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <vector>

using namespace Quarn::Logging::Tool;
using namespace QuarnTest;

namespace {

TEST(InputFileTest, DeviceThatCannotBeReadIsMapped)
{
    Image image;
    image.Write(L"a text");
    const FakeDevice device(image.m_Block.Bytes()); // its descriptor is none that read() knows
    std::vector<unsigned char> bytes(3 * 1024 * 1024);
    InputFile input("/dev/qiomemmap");

    const std::size_t got = input.Read(bytes.data(), bytes.size());

    EXPECT_EQ(got, 2097152U);
    EXPECT_EQ(input.Error(), 0);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + 2097152, image.m_Block.Bytes()));
    EXPECT_EQ(device.OpenFlags() & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(device.OpenFlags() & O_TRUNC, 0);
    EXPECT_EQ(device.MapProtection(), PROT_READ);
    EXPECT_EQ(input.Read(bytes.data(), bytes.size()), 0U) << "behind its end";
}

TEST(InputFileTest, MappingIsReadAtAnyPlace)
{
    Image image;
    const FakeDevice device(image.m_Block.Bytes());
    unsigned char bytes[8] = {};
    InputFile input("/dev/qiomemmap");
    input.Read(bytes, 8);

    EXPECT_EQ(input.ReadAt(32, bytes, 4), 4U);
    EXPECT_EQ(bytes[3], 0xDE);
    EXPECT_EQ(input.ReadAt(2097150, bytes, 8), 2U);
}

TEST(InputFileTest, DeviceThatCannotBeMappedEitherIsAnError)
{
    Image image;
    const FakeDevice device(image.m_Block.Bytes());
    FaultPlan plan;
    plan.Fail(Service::Mmap, ENODEV);
    unsigned char byte = 0;
    InputFile input("/dev/qiomemmap");

    EXPECT_EQ(input.Read(&byte, 1), 0U);
    EXPECT_EQ(input.Error(), EBADF) << "of the read";
}

TEST(InputFileTest, PlacesAreReadIndependently)
{
    const TempDir dir;
    dir.Write("file", "0123456789");
    unsigned char bytes[4] = {};
    InputFile input(dir.File("file"));
    input.Read(bytes, 4);

    EXPECT_EQ(input.ReadAt(8, bytes, 4), 2U);
    EXPECT_EQ(bytes[0], '8');
    EXPECT_EQ(input.Read(bytes, 4), 4U);
    EXPECT_EQ(bytes[0], '4');
    EXPECT_EQ(input.Offset(), 8U);
}

} // namespace
