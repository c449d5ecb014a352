#include "CQLoggerFacade.h"

#include "LogTo.h"
#include "PlatformDoubles.h"
#include "QueueBlock.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;

namespace {

struct SConsole
{
    std::string out;
    std::string err;
};

/// What the console gets while a facade is made, or ended.
template <class Action>
SConsole Capture(Action action)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    action();
    SConsole console;
    console.out = testing::internal::GetCapturedStdout();
    console.err = testing::internal::GetCapturedStderr();
    return console;
}

class CQLoggerFacadeMemoryTest : public testing::Test
{
protected:
    SConsole MakeFacade()
    {
        return Capture([&] { m_pFacade = std::make_unique<CQLoggerFacade>(); });
    }
    SConsole EndFacade()
    {
        return Capture([&] { m_pFacade.reset(); });
    }
    ~CQLoggerFacadeMemoryTest() override { EndFacade(); }

    /// What a logger receives when the text is logged and dispatched.
    std::vector<std::wstring> TextsAfterLogging(const wchar_t* text)
    {
        RecordingLogger logger;
        const SLevelDef all = {-1, 1000};
        m_pFacade->RegisterLogger(&logger, 1, &all);
        LogTo(*m_pFacade, 4000, 1, text);
        m_pFacade->DispatchLogMessages();
        m_pFacade->UnRegisterLogger(&logger);
        return logger.Texts();
    }

    QueueBlock m_Memory;
    FakeDevice m_Device{m_Memory.Bytes()};
    FaultPlan m_Plan;
    std::unique_ptr<CQLoggerFacade> m_pFacade;
};

constexpr const char* MAPPED =
    "Successfully mmapped 0x00200000 (2MB) bytes for CQLogQueue in special reserved memory.\n";
constexpr const char* NOT_MAPPED =
    "Could not mmap 2097152 bytes for CQLogQueue in special reserved memory, using standard memory instead";

TEST_F(CQLoggerFacadeMemoryTest, OpensTheDeviceForReadingAndWritingAndTruncatesIt)
{
    MakeFacade();

    EXPECT_TRUE(m_Device.IsOpen());
    EXPECT_EQ(m_Device.OpenFlags(), O_RDWR | O_TRUNC);
    EXPECT_EQ(m_Device.OpenMode(), 0600u);
    EXPECT_STREQ(CQLoggerFacade::SPECIAL_MEMORY_DEVICE_PATH, "/dev/qiomemmap");
}

TEST_F(CQLoggerFacadeMemoryTest, MapsTwoMebibytesSharedFromTheStartOfTheDevice)
{
    MakeFacade();

    EXPECT_TRUE(m_Device.IsMapped());
    EXPECT_EQ(m_Device.MapAddress(), nullptr);
    EXPECT_EQ(m_Device.MappedBytes(), 0x200000u);
    EXPECT_EQ(m_Device.MapProtection(), PROT_READ | PROT_WRITE);
    EXPECT_EQ(m_Device.MapFlags(), MAP_SHARED);
    EXPECT_EQ(m_Device.MapOffset(), 0);
}

TEST_F(CQLoggerFacadeMemoryTest, ReportsTheMappingOnStandardOutput)
{
    const SConsole console = MakeFacade();

    EXPECT_EQ(console.out, MAPPED);
    EXPECT_EQ(console.err, "");
}

TEST_F(CQLoggerFacadeMemoryTest, MakesTheQueueInTheMapping)
{
    MakeFacade();

    EXPECT_EQ(m_Memory.Get(QueueBlock::Magic1), 0xDEADBEEFu);
    EXPECT_EQ(m_Memory.Get(QueueBlock::Magic2), 0x47110817u);
    EXPECT_EQ(m_Memory.Get(QueueBlock::TotalSize), 0x200000u);
    EXPECT_EQ(m_Memory.Get(QueueBlock::Capacity), 0x1FFFB0u);
}

TEST_F(CQLoggerFacadeMemoryTest, StoresTheStartTimeInTheMapping)
{
    FakeClock clock;
    clock.SetRealTime(1000);
    clock.SetMonotonic(100);

    MakeFacade();

    double startTime = 0;
    std::memcpy(&startTime, m_Memory.Bytes() + QueueBlock::StartTime, sizeof startTime);
    EXPECT_EQ(startTime, 900.0);
}

TEST_F(CQLoggerFacadeMemoryTest, DeviceThatCannotBeOpenedIsPassedOverInSilence)
{
    m_Plan.Fail(Service::Open, EACCES);

    const SConsole console = MakeFacade();

    EXPECT_EQ(console.out, "");
    EXPECT_EQ(console.err, "");
    EXPECT_FALSE(m_Device.IsMapped());
    EXPECT_EQ(m_Memory.Get(QueueBlock::Magic1), 0u);
}

TEST_F(CQLoggerFacadeMemoryTest, FacadeWithoutTheDeviceLogsInOrdinaryMemory)
{
    m_Plan.Fail(Service::Open, EACCES);
    MakeFacade();

    EXPECT_THAT(TextsAfterLogging(L"text"), ElementsAre(L"text"));
}

TEST_F(CQLoggerFacadeMemoryTest, EndingWithoutTheDeviceUnmapsAndClosesNothing)
{
    m_Plan.Fail(Service::Open, EACCES);
    MakeFacade();

    const SConsole console = EndFacade();

    EXPECT_EQ(m_Plan.Calls(Service::Munmap), 0);
    EXPECT_EQ(m_Plan.Calls(Service::Close), 0);
    EXPECT_EQ(console.out + console.err, "");
}

TEST_F(CQLoggerFacadeMemoryTest, MappingThatFailsIsReportedOnBothStreams)
{
    m_Plan.Fail(Service::Mmap, ENOMEM);

    const SConsole console = MakeFacade();

    EXPECT_EQ(console.err, "Error mmapping the protected memory for log queue.: Cannot allocate memory\n");
    EXPECT_EQ(console.out, NOT_MAPPED) << "no line feed follows";
}

TEST_F(CQLoggerFacadeMemoryTest, MappingThatFailsClosesTheDeviceAtOnce)
{
    m_Plan.Fail(Service::Mmap, ENOMEM);

    MakeFacade();

    EXPECT_FALSE(m_Device.IsOpen());
    EXPECT_EQ(m_Plan.Calls(Service::Close), 1);
    EXPECT_EQ(m_Memory.Get(QueueBlock::Magic1), 0u);
}

TEST_F(CQLoggerFacadeMemoryTest, FacadeWithoutTheMappingLogsInOrdinaryMemory)
{
    m_Plan.Fail(Service::Mmap, ENOMEM);
    MakeFacade();

    EXPECT_THAT(TextsAfterLogging(L"text"), ElementsAre(L"text"));
}

TEST_F(CQLoggerFacadeMemoryTest, EndingWithoutTheMappingUnmapsNothingAndClosesNothingAgain)
{
    m_Plan.Fail(Service::Mmap, ENOMEM);
    MakeFacade();

    const SConsole console = EndFacade();

    EXPECT_EQ(m_Plan.Calls(Service::Munmap), 0);
    EXPECT_EQ(m_Plan.Calls(Service::Close), 1);
    EXPECT_EQ(console.out + console.err, "");
}

TEST_F(CQLoggerFacadeMemoryTest, EndingUnmapsAndCloses)
{
    MakeFacade();

    const SConsole console = EndFacade();

    EXPECT_FALSE(m_Device.IsMapped());
    EXPECT_FALSE(m_Device.IsOpen());
    EXPECT_EQ(m_Device.UnmappedBytes(), 0x200000u);
    EXPECT_EQ(console.out + console.err, "");
}

TEST_F(CQLoggerFacadeMemoryTest, UnmappingThatFailsIsReportedAndTheDeviceIsClosed)
{
    MakeFacade();
    m_Plan.Fail(Service::Munmap, EINVAL);

    const SConsole console = EndFacade();

    EXPECT_EQ(console.err, "Error un-mmapping the protected memory for log queue.: Invalid argument\n");
    EXPECT_EQ(console.out, "");
    EXPECT_FALSE(m_Device.IsOpen());
}

TEST_F(CQLoggerFacadeMemoryTest, ClosingThatFailsIsIgnored)
{
    MakeFacade();
    m_Plan.Fail(Service::Close, EIO);

    const SConsole console = EndFacade();

    EXPECT_EQ(console.out + console.err, "");
}

/// The words of the first record's fields, and the texts behind them, of a block whose facade has ended.
class CQLoggerFacadeRecordsTest : public CQLoggerFacadeMemoryTest
{
protected:
    std::wstring TextAt(std::uint32_t position) const
    {
        std::wstring text;
        for (std::uint32_t offset = 52; m_Memory.GetRecord(position, offset) != 0; offset += 4) {
            text += static_cast<wchar_t>(m_Memory.GetRecord(position, offset));
        }
        return text;
    }
};

TEST_F(CQLoggerFacadeRecordsTest, UndeliveredRecordsSurviveTheFacade)
{
    MakeFacade();
    LogTo(*m_pFacade, 4000, 12, L"ab");
    LogTo(*m_pFacade, 3000, 13, L"cd");

    EndFacade();

    // 52 + 4 * 3 + 9 = 73, rounded up to 76
    EXPECT_EQ(m_Memory.Get(QueueBlock::Count), 2u);
    EXPECT_EQ(m_Memory.Get(QueueBlock::Magic1), 0xDEADBEEFu);
    EXPECT_EQ(m_Memory.GetRecord(0, 0), 0x7B7B7B7Bu);
    EXPECT_EQ(m_Memory.GetRecord(0, 8), 0x7D7D7D7Du);
    EXPECT_EQ(m_Memory.GetRecord(0, 12), 4000u);
    EXPECT_EQ(m_Memory.GetRecord(0, 16), 12u);
    EXPECT_EQ(m_Memory.GetRecord(0, 48), 76u);
    EXPECT_EQ(TextAt(0), L"ab");
    EXPECT_EQ(m_Memory.GetRecord(76, 0), 0x7B7B7B7Bu);
    EXPECT_EQ(m_Memory.GetRecord(76, 12), 3000u);
    EXPECT_EQ(TextAt(76), L"cd");
}

TEST_F(CQLoggerFacadeRecordsTest, DeliveredRecordsSurviveTheFacadeToo)
{
    MakeFacade();
    LogTo(*m_pFacade, 4000, 12, L"ab");
    m_pFacade->DispatchLogMessages();

    EndFacade();

    EXPECT_EQ(m_Memory.Get(QueueBlock::Count), 0u);
    EXPECT_EQ(m_Memory.GetRecord(0, 0), 0x7B7B7B7Bu);
    EXPECT_EQ(m_Memory.GetRecord(0, 8), 0x7D7D7D7Du);
    EXPECT_EQ(TextAt(0), L"ab");
}

TEST_F(CQLoggerFacadeRecordsTest, EndingDeliversNothing)
{
    MakeFacade();
    RecordingLogger logger;
    const SLevelDef all = {-1, 1000};
    m_pFacade->RegisterLogger(&logger, 1, &all);
    LogTo(*m_pFacade, 4000, 12, L"ab");

    EndFacade();

    EXPECT_THAT(logger.Texts(), ElementsAre());
}

TEST_F(CQLoggerFacadeRecordsTest, SecondRunAdoptsTheBlockAndReplacesItsStartTime)
{
    FakeClock clock;
    clock.SetRealTime(1000);
    MakeFacade();
    EndFacade();
    m_Memory.Set(QueueBlock::Sequence, 41); // goes on across runs
    clock.SetRealTime(2000);
    clock.SetMonotonic(500);

    MakeFacade();
    LogTo(*m_pFacade, 4000, 12, L"ab");

    EXPECT_EQ(m_Memory.GetRecord(0, 4), 41u);
    EXPECT_EQ(m_pFacade->GetStartTime(), 1500.0);
}

TEST_F(CQLoggerFacadeRecordsTest, RunOverPositionsThatNoQueueLeftLogs)
{
    for (const std::uint32_t position : {0u, 1u, 58u, 62u, 0x1FFFB1u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(position);
        MakeFacade();
        EndFacade();
        for (const QueueBlock::Field field :
             {QueueBlock::WritePos, QueueBlock::ReadPos, QueueBlock::EndPos, QueueBlock::Count, QueueBlock::Sequence}) {
            m_Memory.Set(field, position);
        }

        const SConsole console = MakeFacade();

        EXPECT_EQ(console.out, MAPPED) << "there is nothing to print";
        EXPECT_EQ(m_Memory.Get(QueueBlock::WritePos), position);
        EXPECT_EQ(m_Memory.Get(QueueBlock::EndPos), position);
        EXPECT_THAT(TextsAfterLogging(L"text"), ElementsAre(L"text"));
        EndFacade();
        std::memset(m_Memory.Bytes(), 0, QueueBlock::SIZE);
    }
}

class CQLoggerFacadeDropCounterTest : public CQLoggerFacadeMemoryTest
{
protected:
    /// What a dispatch reports with the queue's counter at a value.
    std::vector<unsigned int> ReportsAt(std::uint32_t counter)
    {
        m_Memory.Set(QueueBlock::Dropped, counter);
        m_Logger.m_Dropped.clear();
        m_pFacade->DispatchLogMessages();
        return m_Logger.m_Dropped;
    }
    void SetUp() override
    {
        MakeFacade();
        m_pFacade->RegisterLogger(&m_Logger, 0, nullptr);
    }

    RecordingLogger m_Logger;
};

TEST_F(CQLoggerFacadeDropCounterTest, ReportsTheDifferenceToTheLastReport)
{
    EXPECT_THAT(ReportsAt(5), ElementsAre(5u));
    EXPECT_THAT(ReportsAt(5), ElementsAre());
    EXPECT_THAT(ReportsAt(7), ElementsAre(2u));
}

TEST_F(CQLoggerFacadeDropCounterTest, CounterThatWasClearedReportsNothingUntilItExceedsItsOldValue)
{
    ReportsAt(5);

    EXPECT_THAT(ReportsAt(0), ElementsAre());
    EXPECT_THAT(ReportsAt(4), ElementsAre());
    EXPECT_THAT(ReportsAt(5), ElementsAre());
    EXPECT_THAT(ReportsAt(8), ElementsAre(3u));
}

TEST_F(CQLoggerFacadeDropCounterTest, ReportsTheLargestNumber)
{
    EXPECT_THAT(ReportsAt(0xFFFFFFFF), ElementsAre(0xFFFFFFFFu));
}

} // namespace
