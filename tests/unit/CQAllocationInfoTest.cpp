#include <QuarnLogging/CQAllocationInfo.h>

#include "AllocationInfoAccess.h"
#include "PlatformDoubles.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

using namespace Quarn::Logging;
using namespace QuarnTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class CQAllocationInfoTest : public ::testing::Test
{
protected:
    /// Stands for a heap object; the registry never looks at the memory of these tests.
    void* Object(int number) { return &m_Memory[number]; }

    auto Positions() { return PositionsOf(m_Registry); }
    auto Objects() { return ObjectsOf(m_Registry); }
    Sites SitesNow() { return SitesOf(m_Registry); }

    /// Whether a thread that tried to lock the registry would have to wait.
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

    void Unlock() { (m_Registry.*MemberOf(MutexTag{})).release(); }

    CQAllocationInfo m_Registry;

private:
    char m_Memory[16] = {};
};

static_assert(!std::is_polymorphic_v<CQAllocationInfo>, "the class is laid out without a table of virtual functions");
static_assert(!std::is_copy_constructible_v<CQAllocationInfo> && !std::is_copy_assignable_v<CQAllocationInfo>);
static_assert(std::is_same_v<decltype(CQAllocationInfo::INVALID_ALLOC_POS_ID), const unsigned int>);

TEST_F(CQAllocationInfoTest, ConstantsHaveStorage)
{
    const unsigned int* invalid = &CQAllocationInfo::INVALID_ALLOC_POS_ID;
    const unsigned int* first = &CQAllocationInfo::FIRST_VALID_ALLOC_POS_ID;

    EXPECT_EQ(*invalid, 0u);
    EXPECT_EQ(*first, 1u);
}

TEST_F(CQAllocationInfoTest, RecordingIsOffAtFirst)
{
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    EXPECT_FALSE(m_Registry.IsAddInfoEnabled());
    EXPECT_THAT(SitesNow(), IsEmpty());
    EXPECT_THAT(Objects(), IsEmpty());
    EXPECT_THAT(Positions(), IsEmpty());
}

TEST_F(CQAllocationInfoTest, NullFileNameIsIgnoredWhileRecordingIsOff)
{
    m_Registry.AddInfo(nullptr, 10, Object(0), 16);

    EXPECT_THAT(SitesNow(), IsEmpty());
    EXPECT_FALSE(IsLocked());
}

TEST_F(CQAllocationInfoTest, RecordingIsSwitchedOnAndOff)
{
    m_Registry.EnableAddInfo(true);
    const bool on = m_Registry.IsAddInfoEnabled();
    m_Registry.EnableAddInfo(false);

    EXPECT_TRUE(on);
    EXPECT_FALSE(m_Registry.IsAddInfoEnabled());
}

TEST_F(CQAllocationInfoTest, SitesAreNumberedFromOne)
{
    m_Registry.EnableAddInfo(true);

    m_Registry.AddInfo(L"b.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"a.cpp", 20, Object(1), 8);

    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"b.cpp", 10)), Pair(2u, Pair(L"a.cpp", 20))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 1u), Pair(Object(1), 2u)));
}

TEST_F(CQAllocationInfoTest, SameLineOfAnotherFileIsAnotherSite)
{
    m_Registry.EnableAddInfo(true);

    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"b.cpp", 10, Object(1), 16);

    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"a.cpp", 10)), Pair(2u, Pair(L"b.cpp", 10))));
}

TEST_F(CQAllocationInfoTest, ObjectsOfOneSourcePositionShareASite)
{
    m_Registry.EnableAddInfo(true);

    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"a.cpp", 10, Object(1), 40);

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10),
                                             Pair(1u, ElementsAre(Pair(Object(0), 16u), Pair(Object(1), 40u))))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 1u), Pair(Object(1), 1u)));
}

TEST_F(CQAllocationInfoTest, FileNameIsCopied)
{
    m_Registry.EnableAddInfo(true);
    wchar_t name[] = L"a.cpp";

    m_Registry.AddInfo(name, 10, Object(0), 16);
    name[0] = L'z';

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), ::testing::_)));
}

TEST_F(CQAllocationInfoTest, NameThatBeginsLikeAKnownOneIsAnotherFile)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    m_Registry.AddInfo(L"a.c", 10, Object(1), 16);

    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"a.cpp", 10)), Pair(2u, Pair(L"a.c", 10))));
}

TEST_F(CQAllocationInfoTest, LineIsStoredAsASignedNumber)
{
    m_Registry.EnableAddInfo(true);

    m_Registry.AddInfo(L"a.cpp", std::numeric_limits<unsigned int>::max(), Object(0), 16);

    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"a.cpp", -1))));
}

TEST_F(CQAllocationInfoTest, SiteSurvivesUntilItsLastObjectIsRemoved)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"a.cpp", 10, Object(1), 40);

    m_Registry.TryRemoveInfo(Object(0));

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), Pair(1u, ElementsAre(Pair(Object(1), 40u))))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(1), 1u)));
    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"a.cpp", 10))));
}

TEST_F(CQAllocationInfoTest, LastObjectTakesSiteIdAndFileWithIt)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"b.cpp", 20, Object(1), 16);

    m_Registry.TryRemoveInfo(Object(0));

    EXPECT_THAT(Positions(), ElementsAre(Pair(2u, Pair(L"b.cpp", 20))));
    EXPECT_THAT(m_Registry.*MemberOf(FileInfoTag{}), ElementsAre(Pair(L"b.cpp", ::testing::SizeIs(1))));
}

TEST_F(CQAllocationInfoTest, FileSurvivesWhileAnotherOfItsLinesHasObjects)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"a.cpp", 20, Object(1), 8);

    m_Registry.TryRemoveInfo(Object(0));

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 20), Pair(2u, ElementsAre(Pair(Object(1), 8u))))));
}

TEST_F(CQAllocationInfoTest, SiteThatComesBackGetsANewId)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"b.cpp", 20, Object(1), 16);
    m_Registry.TryRemoveInfo(Object(0));

    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    EXPECT_THAT(Positions(), ElementsAre(Pair(2u, Pair(L"b.cpp", 20)), Pair(3u, Pair(L"a.cpp", 10))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 3u), Pair(Object(1), 2u)));
}

TEST_F(CQAllocationInfoTest, UnknownAddressIsNotRemoved)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    m_Registry.TryRemoveInfo(Object(1));
    m_Registry.TryRemoveInfo(nullptr);

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), Pair(1u, ElementsAre(Pair(Object(0), 16u))))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 1u)));
    EXPECT_FALSE(IsLocked());
}

TEST_F(CQAllocationInfoTest, ObjectsAreRemovedWhileRecordingIsOff)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.EnableAddInfo(false);

    m_Registry.TryRemoveInfo(Object(0));

    EXPECT_THAT(SitesNow(), IsEmpty());
    EXPECT_THAT(Objects(), IsEmpty());
    EXPECT_THAT(Positions(), IsEmpty());
}

TEST_F(CQAllocationInfoTest, AddressReportedAgainFromItsSiteGetsTheLaterSize)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 24);

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), Pair(1u, ElementsAre(Pair(Object(0), 24u))))));
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 1u)));
}

// The first site's entry stays on purpose: which of the two reports was the mistake is for the reader to see.
TEST_F(CQAllocationInfoTest, AddressReportedFromAnotherSiteMovesAndLeavesAStaleEntry)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);

    m_Registry.AddInfo(L"b.cpp", 20, Object(0), 24);

    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 2u)));
    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), Pair(1u, ElementsAre(Pair(Object(0), 16u)))),
                                        Pair(Pair(L"b.cpp", 20), Pair(2u, ElementsAre(Pair(Object(0), 24u))))));
}

TEST_F(CQAllocationInfoTest, RemovalOfAMovedAddressLeavesTheStaleEntry)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"b.cpp", 20, Object(0), 24);

    m_Registry.TryRemoveInfo(Object(0));
    m_Registry.TryRemoveInfo(Object(0));

    EXPECT_THAT(SitesNow(), ElementsAre(Pair(Pair(L"a.cpp", 10), Pair(1u, ElementsAre(Pair(Object(0), 16u))))));
    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"a.cpp", 10))));
    EXPECT_THAT(Objects(), IsEmpty());
}

TEST_F(CQAllocationInfoTest, ClearRestartsTheIdsAndLeavesRecordingOn)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.AddInfo(L"b.cpp", 20, Object(0), 24);

    m_Registry.ClearInfo();
    const bool emptied = SitesNow().empty() && Objects().empty() && Positions().empty();
    m_Registry.AddInfo(L"c.cpp", 30, Object(1), 8);

    EXPECT_TRUE(emptied);
    EXPECT_TRUE(m_Registry.IsAddInfoEnabled());
    EXPECT_THAT(Positions(), ElementsAre(Pair(1u, Pair(L"c.cpp", 30))));
}

TEST_F(CQAllocationInfoTest, ClearLeavesRecordingOff)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.EnableAddInfo(false);

    m_Registry.ClearInfo();

    EXPECT_FALSE(m_Registry.IsAddInfoEnabled());
    EXPECT_THAT(Objects(), IsEmpty());
}

TEST_F(CQAllocationInfoTest, DumpSelectionsKeepOrderAndDuplicates)
{
    m_Registry.AddLineNumberUsedForMemoryDump(30);
    m_Registry.AddLineNumberUsedForMemoryDump(10);
    m_Registry.AddLineNumberUsedForMemoryDump(30);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);
    m_Registry.AddObjectSizeUsedForMemoryDump(4);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    EXPECT_THAT(m_Registry.*MemberOf(DumpLineNumbersTag{}), ElementsAre(30, 10, 30));
    EXPECT_THAT(m_Registry.*MemberOf(DumpObjectSizesTag{}), ElementsAre(8u, 4u, 8u));
}

TEST_F(CQAllocationInfoTest, ClearKeepsTheDumpSelections)
{
    m_Registry.AddLineNumberUsedForMemoryDump(30);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    m_Registry.ClearInfo();

    EXPECT_THAT(m_Registry.*MemberOf(DumpLineNumbersTag{}), ElementsAre(30));
    EXPECT_THAT(m_Registry.*MemberOf(DumpObjectSizesTag{}), ElementsAre(8u));
}

TEST_F(CQAllocationInfoTest, ClearedDumpSelectionsKeepTheirCapacity)
{
    m_Registry.AddLineNumberUsedForMemoryDump(30);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    m_Registry.ClearMemoryDumpSelections();

    EXPECT_THAT(m_Registry.*MemberOf(DumpLineNumbersTag{}), IsEmpty());
    EXPECT_THAT(m_Registry.*MemberOf(DumpObjectSizesTag{}), IsEmpty());
    EXPECT_GE((m_Registry.*MemberOf(DumpLineNumbersTag{})).capacity(), 1u);
    EXPECT_GE((m_Registry.*MemberOf(DumpObjectSizesTag{})).capacity(), 1u);
}

TEST_F(CQAllocationInfoTest, NullFileNameThrowsAndLeavesTheRegistryLocked)
{
    m_Registry.EnableAddInfo(true);

    EXPECT_THROW(m_Registry.AddInfo(nullptr, 10, Object(0), 16), std::logic_error);

    EXPECT_TRUE(IsLocked());
    Unlock(); // or the destructor would wait for ever
    EXPECT_THAT(SitesNow(), IsEmpty());
    EXPECT_THAT(Objects(), IsEmpty());
}

TEST_F(CQAllocationInfoTest, OperationsLeaveTheRegistryUnlocked)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    m_Registry.TryRemoveInfo(Object(0));
    m_Registry.AddLineNumberUsedForMemoryDump(1);
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.ClearMemoryDumpSelections();
    m_Registry.ClearInfo();

    EXPECT_FALSE(IsLocked());
}

// Nobody can look at the members afterwards, but each of the two steps takes the lock once.
TEST_F(CQAllocationInfoTest, DestructionDisablesRecordingAndClears)
{
    auto registry = std::make_unique<CQAllocationInfo>();
    const FaultPlan plan;

    registry.reset();

    EXPECT_EQ(plan.Calls(Service::MutexLock), 2);
}

TEST_F(CQAllocationInfoTest, LockThatCannotBeTakenMakesChangesNoOps)
{
    m_Registry.EnableAddInfo(true);
    m_Registry.AddInfo(L"a.cpp", 10, Object(0), 16);
    FaultPlan plan;
    plan.Fail(Service::MutexLock, EINVAL, 1, 8);

    m_Registry.AddInfo(L"b.cpp", 20, Object(1), 16);
    m_Registry.TryRemoveInfo(Object(0));
    m_Registry.ClearInfo();
    m_Registry.EnableAddInfo(false);
    m_Registry.AddLineNumberUsedForMemoryDump(1);
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.ClearMemoryDumpSelections();
    const bool enabledWhileUnknown = m_Registry.IsAddInfoEnabled();

    EXPECT_EQ(plan.Calls(Service::MutexLock), 8);
    EXPECT_FALSE(enabledWhileUnknown);
    EXPECT_TRUE(m_Registry.IsAddInfoEnabled());
    EXPECT_THAT(Objects(), ElementsAre(Pair(Object(0), 1u)));
    EXPECT_THAT(m_Registry.*MemberOf(DumpLineNumbersTag{}), IsEmpty());
    EXPECT_THAT(m_Registry.*MemberOf(DumpObjectSizesTag{}), IsEmpty());
}

} // namespace
