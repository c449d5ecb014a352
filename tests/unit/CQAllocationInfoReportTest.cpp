#include <QuarnLogging/CQAllocationInfo.h>

#include "AllocationInfoAccess.h"
#include "LogCapture.h"
#include "PlatformDoubles.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class CQAllocationInfoReportTest : public ::testing::Test
{
protected:
    CQAllocationInfoReportTest() { m_Registry.EnableAddInfo(true); }

    /// Stands for a heap object; nothing is selected for a dump here unless a test says so.
    void* Object(int number) { return &m_Memory[number]; }

    /// Four messages come of it: its dump, its block size, its site, the total.
    void AddSelectedObject()
    {
        m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
        m_Registry.AddObjectSizeUsedForMemoryDump(8);
    }

    std::vector<std::wstring> Report(int category = -1)
    {
        m_Registry.DumpInfo(category);
        return m_Capture.Texts();
    }

    bool IsLocked()
    {
        bool locked = false;
        std::thread([&] {
            ACE_Thread_Mutex& mutex = m_Registry.*MemberOf(MutexTag{});
            locked = mutex.tryacquire() != 0 && errno == EBUSY;
            if (!locked) {
                mutex.release();
            }
        }).join();
        return locked;
    }

    CQAllocationInfo m_Registry;
    LogCapture m_Capture;

private:
    std::uint64_t m_Memory[8] = {};
};

TEST_F(CQAllocationInfoReportTest, EmptyRegistryWritesOnlyTheTotal)
{
    EXPECT_THAT(Report(), ElementsAre(L"Total memory usage:  0 Bytes in 0 objects"));
}

TEST_F(CQAllocationInfoReportTest, SitesAreReportedWithTheirSizesAndTheTotal)
{
    m_Registry.AddInfo(L"a.cpp", 30, Object(3), 8);
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 16);
    m_Registry.AddInfo(L"a.cpp", 12, Object(1), 40);
    m_Registry.AddInfo(L"a.cpp", 12, Object(2), 16);

    EXPECT_THAT(Report(), ElementsAre(L"BlockSize of 16 bytes 2 times allocated",              //
                                      L"BlockSize of 40 bytes 1 times allocated",              //
                                      L"a.cpp@12 3 objects created - memory usage: 72 Bytes ", //
                                      L"BlockSize of 8 bytes 1 times allocated",               //
                                      L"a.cpp@30 1 objects created - memory usage: 8 Bytes ",  //
                                      L"Total memory usage:  80 Bytes in 4 objects"));
}

TEST_F(CQAllocationInfoReportTest, FilesAreOrderedByCharacterCodeAndLinesAscend)
{
    m_Registry.AddInfo(L"\u00e4.cpp", 1, Object(0), 1);
    m_Registry.AddInfo(L"b.cpp", 100, Object(1), 1);
    m_Registry.AddInfo(L"b.cpp", 20, Object(2), 1);
    m_Registry.AddInfo(L"b.cpp", 4294967295u, Object(3), 1);
    m_Registry.AddInfo(L"Z.cpp", 1, Object(4), 1);

    Report();

    std::vector<std::wstring> sites;
    for (const std::wstring& text : m_Capture.Texts()) {
        if (text.find(L'@') != std::wstring::npos) {
            sites.push_back(text.substr(0, text.find(L' ')));
        }
    }
    EXPECT_THAT(sites, ElementsAre(L"Z.cpp@1", L"b.cpp@-1", L"b.cpp@20", L"b.cpp@100", L"\u00e4.cpp@1"));
}

TEST_F(CQAllocationInfoReportTest, MessagesHaveErrorLevelAndTheCallersCategory)
{
    AddSelectedObject();

    Report(-77);

    ASSERT_THAT(m_Capture.m_Messages, SizeIs(4));
    EXPECT_THAT(m_Capture.m_Messages, Each(Field(&SLoggedMessage::level, 4000)));
    EXPECT_THAT(m_Capture.m_Messages, Each(Field(&SLoggedMessage::category, -77)));
}

TEST_F(CQAllocationInfoReportTest, MessagesNameTheRegistrysSource)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);

    Report();

    EXPECT_THAT(m_Capture.m_Messages, Each(Field(&SLoggedMessage::file, "src/CQAllocationInfo.cpp")));
    EXPECT_THAT(m_Capture.m_Messages, Each(Field(&SLoggedMessage::line, ::testing::Gt(0))));
}

TEST_F(CQAllocationInfoReportTest, ReportChangesNothingAndMayBeRepeated)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);

    Report();
    Report();

    EXPECT_THAT(m_Capture.Texts(), ElementsAre(L"BlockSize of 8 bytes 1 times allocated",              //
                                               L"a.cpp@12 1 objects created - memory usage: 8 Bytes ", //
                                               L"Total memory usage:  8 Bytes in 1 objects",           //
                                               L"BlockSize of 8 bytes 1 times allocated",              //
                                               L"a.cpp@12 1 objects created - memory usage: 8 Bytes ", //
                                               L"Total memory usage:  8 Bytes in 1 objects"));
}

TEST_F(CQAllocationInfoReportTest, ObjectsRecordedEarlierAreReportedWhileRecordingIsOff)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
    m_Registry.EnableAddInfo(false);

    EXPECT_THAT(Report(), ElementsAre(L"BlockSize of 8 bytes 1 times allocated",              //
                                      L"a.cpp@12 1 objects created - memory usage: 8 Bytes ", //
                                      L"Total memory usage:  8 Bytes in 1 objects"));
}

TEST_F(CQAllocationInfoReportTest, StaleEntryOfAMovedAddressIsReportedUntilTheRegistryIsCleared)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
    m_Registry.AddInfo(L"b.cpp", 20, Object(0), 16);
    m_Registry.TryRemoveInfo(Object(0));

    Report();
    m_Registry.ClearInfo();
    Report();

    EXPECT_THAT(m_Capture.Texts(), ElementsAre(L"BlockSize of 8 bytes 1 times allocated",              //
                                               L"a.cpp@12 1 objects created - memory usage: 8 Bytes ", //
                                               L"Total memory usage:  8 Bytes in 1 objects",           //
                                               L"Total memory usage:  0 Bytes in 0 objects"));
}

TEST_F(CQAllocationInfoReportTest, SumsAboveTheSignedRangePrintAsNegative)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 2147483647);
    m_Registry.AddInfo(L"a.cpp", 12, Object(1), 1);

    EXPECT_THAT(Report(), ElementsAre(L"BlockSize of 1 bytes 1 times allocated",                        //
                                      L"BlockSize of 2147483647 bytes 1 times allocated",               //
                                      L"a.cpp@12 2 objects created - memory usage: -2147483648 Bytes ", //
                                      L"Total memory usage:  -2147483648 Bytes in 2 objects"));
}

TEST_F(CQAllocationInfoReportTest, SumsWrapAroundAtThirtyTwoBits)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 4294967295u);
    m_Registry.AddInfo(L"b.cpp", 20, Object(1), 3);

    EXPECT_THAT(Report(), ElementsAre(L"BlockSize of -1 bytes 1 times allocated",              //
                                      L"a.cpp@12 1 objects created - memory usage: -1 Bytes ", //
                                      L"BlockSize of 3 bytes 1 times allocated",               //
                                      L"b.cpp@20 1 objects created - memory usage: 3 Bytes ",  //
                                      L"Total memory usage:  2 Bytes in 2 objects"));
}

TEST_F(CQAllocationInfoReportTest, EverythingIsWrittenWhileThereIsNoLevelTable)
{
    AddSelectedObject();
    m_Capture.UseNoLevels();

    EXPECT_THAT(Report(5), SizeIs(4));
}

TEST_F(CQAllocationInfoReportTest, CategoryBehindTheLevelTableIsWritten)
{
    AddSelectedObject();
    m_Capture.UseLevels({9999, 9999});

    EXPECT_THAT(Report(2), SizeIs(4));
}

TEST_F(CQAllocationInfoReportTest, NegativeCategoryIsWritten)
{
    AddSelectedObject();
    m_Capture.UseLevels({9999, 9999});

    EXPECT_THAT(Report(-1), SizeIs(4));
}

TEST_F(CQAllocationInfoReportTest, CategoryWhoseThresholdIsTheErrorLevelIsWritten)
{
    AddSelectedObject();
    m_Capture.UseLevels({9999, 4000});

    EXPECT_THAT(Report(1), SizeIs(4));
}

TEST_F(CQAllocationInfoReportTest, CategoryWithAHigherThresholdGetsNoMessage)
{
    AddSelectedObject();
    m_Capture.UseLevels({0, 4001});

    EXPECT_THAT(Report(1), IsEmpty());
}

TEST_F(CQAllocationInfoReportTest, LevelIsAskedForEveryMessageAnew)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
    m_Capture.UseLevels({4000});
    m_Capture.m_Hook = [this] { m_Capture.UseLevels({m_Capture.m_Messages.size() < 2 ? 4000 : 9999}); };

    EXPECT_THAT(Report(0), ElementsAre(L"BlockSize of 8 bytes 1 times allocated",
                                       L"a.cpp@12 1 objects created - memory usage: 8 Bytes "));
}

TEST_F(CQAllocationInfoReportTest, NothingHappensWithoutALogFunction)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
    SetLogFunc(nullptr);

    EXPECT_THAT(Report(), IsEmpty());
    EXPECT_FALSE(IsLocked());
}

TEST_F(CQAllocationInfoReportTest, RegistryIsLockedFromTheFirstMessageToTheLast)
{
    AddSelectedObject();
    std::vector<bool> locked;
    m_Capture.m_Hook = [&] { locked.push_back(IsLocked()); };

    Report();

    EXPECT_THAT(locked, ElementsAre(true, true, true, true));
    EXPECT_FALSE(IsLocked());
}

TEST_F(CQAllocationInfoReportTest, LockThatCannotBeTakenWritesNothing)
{
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL);

    m_Registry.DumpInfo(-1);

    EXPECT_THAT(m_Capture.m_Messages, IsEmpty());
}

// Cannot happen through the operations; a registry that was left half updated would show it.
TEST_F(CQAllocationInfoReportTest, SiteWithoutAPositionThrowsAndLeavesTheRegistryLocked)
{
    m_Registry.AddInfo(L"a.cpp", 12, Object(0), 8);
    (m_Registry.*MemberOf(AllocPositionsTag{})).clear();
    std::string what;

    try {
        Report();
    } catch (const std::out_of_range& error) {
        what = error.what();
    }

    EXPECT_EQ(what, "map::at");
    EXPECT_THAT(m_Capture.m_Messages, IsEmpty());
    EXPECT_TRUE(IsLocked());
    (m_Registry.*MemberOf(MutexTag{})).release(); // or the destructor would wait for ever
}

} // namespace
