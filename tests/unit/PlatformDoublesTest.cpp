#include "CQAceLogger.h"
#include "CQApplicationTime.h"
#include "CQLoggerFacade.h"

#include "PlatformDoubles.h"
#include "QueueBlock.h"
#include "RefusedThreads.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

void UseReservedMemory()
{
    QueueBlock memory;
    const FakeDevice device(memory.Bytes());
    testing::internal::CaptureStdout();
    CQLoggerFacade().DispatchLogMessages();
    testing::internal::GetCapturedStdout();
}

/// Files that are full after each line, of which one old one is kept; two of them in one second.
void RotateFiles()
{
    const TempDir folder;
    const std::filesystem::path home = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    {
        CQAceLogger logger;
        logger.SetOutputStream(L"log/app-%T.txt", 1, 1);
        logger.Log(2000, 5, 0.0, 1, "f", 2, L"x");
        logger.Log(2000, 5, 0.0, 1, "f", 2, L"x");
    }
    std::filesystem::current_path(home);
}

void SetTheClock()
{
    const RefusedThreads noThreads;
    CQApplicationTime time;
    time.SetClockTime(1700000000.0);
    time.SetClockTime(1700000100.0);
}

// Whatever else is wrong with the doubles.
TEST(PlatformDoublesTest, MachinesClockCannotBeSet)
{
    __user_cap_header_struct header{};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct capabilities[_LINUX_CAPABILITY_U32S_3]{};

    ASSERT_EQ(syscall(SYS_capget, &header, capabilities), 0);

    EXPECT_EQ(capabilities[CAP_TO_INDEX(CAP_SYS_TIME)].effective & CAP_TO_MASK(CAP_SYS_TIME), 0U);
    EXPECT_EQ(capabilities[CAP_TO_INDEX(CAP_SYS_TIME)].permitted & CAP_TO_MASK(CAP_SYS_TIME), 0U);
}

// The C library's headers may give a function another symbol: one for files or times of 64 bits, or a checked one.
// Under the name that is wrapped it would then never be called, and tests would go to the system unnoticed.
TEST(PlatformDoublesTest, EveryServiceIsReached)
{
    const FakeClock clock;
    const FaultPlan plan;

    UseReservedMemory();
    RotateFiles();
    SetTheClock();

    for (int service = 0; service < static_cast<int>(Service::Count); ++service) {
        EXPECT_GT(plan.Calls(static_cast<Service>(service)), 0) << "the service of number " << service;
    }
}

} // namespace
