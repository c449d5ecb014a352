#include "HeapCount.h"
#include "PlatformDoubles.h"

#include <QuarnLogging/Log.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What a macro handed to the function behind g_pLogFunc.
struct SCall
{
    int level;
    int category;
    std::string file;
    int line;
    std::wstring text;
};

std::vector<SCall> g_Calls;
unsigned int g_Count = 0;

void Record(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    wchar_t text[1000];
    std::vswprintf(text, 1000, format, args);
    g_Calls.push_back({level, category, file, line, text});
}

void Count(int, int, const char*, int, const wchar_t*, va_list) { ++g_Count; }

/// The macros between a table of thresholds and a log function of the test's own.
class MacrosTest : public testing::Test
{
protected:
    MacrosTest()
    {
        SetLogFunc(Record);
        g_pLogLevels = m_Levels;
        g_MaxLogLevels = 3;
    }
    ~MacrosTest() override
    {
        g_MaxLogLevels = m_LibrarysCount;
        g_pLogLevels = m_pLibrarysLevels;
        SetLogFunc(BuiltInLogging);
        g_Calls.clear();
        g_Count = 0;
    }

    static std::vector<std::wstring> Texts()
    {
        std::vector<std::wstring> texts;
        for (const SCall& call : g_Calls) {
            texts.push_back(call.text);
        }
        return texts;
    }

    int m_Levels[3] = {LEVEL_DEBUG, LEVEL_WARNING, LEVEL_NONE};
    int m_LibrarysCount = g_MaxLogLevels;
    int* m_pLibrarysLevels = g_pLogLevels;
};

TEST_F(MacrosTest, CallHandsOverLevelCategoryPositionAndText)
{
    QUARN_LOG(2500, 0, L"axis %d %s %ls %.1f", 2, "is", L"slow", 3.5);
    const int line = __LINE__ - 1;

    ASSERT_EQ(g_Calls.size(), 1U);
    EXPECT_EQ(g_Calls[0].level, 2500);
    EXPECT_EQ(g_Calls[0].category, 0);
    EXPECT_EQ(g_Calls[0].file, __FILE__);
    EXPECT_EQ(g_Calls[0].line, line);
    EXPECT_EQ(g_Calls[0].text, L"axis 2 is slow 3.5");
}

TEST_F(MacrosTest, MacrosOfALevelLogWithIt)
{
    QUARN_DEBUG(0, L"d");
    QUARN_INFO(0, L"i");
    QUARN_WARNING(0, L"w");
    QUARN_ERROR(0, L"e");

    ASSERT_THAT(Texts(), ElementsAre(L"d", L"i", L"w", L"e"));
    EXPECT_EQ(g_Calls[0].level, 1000);
    EXPECT_EQ(g_Calls[1].level, 2000);
    EXPECT_EQ(g_Calls[2].level, 3000);
    EXPECT_EQ(g_Calls[3].level, 4000);
}

TEST_F(MacrosTest, ThresholdOfTheCategoryDecides)
{
    QUARN_LOG(2999, 1, L"below");
    QUARN_LOG(3000, 1, L"at");
    QUARN_LOG(9998, 2, L"below");

    EXPECT_THAT(Texts(), ElementsAre(L"at"));
}

TEST_F(MacrosTest, CategoriesOutsideTheTableAreAlwaysWanted)
{
    QUARN_LOG(-5, -1, L"negative");
    QUARN_LOG(-5, 3, L"beyond");

    EXPECT_THAT(Texts(), ElementsAre(L"negative", L"beyond"));
}

TEST_F(MacrosTest, ArgumentsOfAnUnwantedMessageAreNotEvaluated)
{
    int evaluated = 0;
    QUARN_INFO(1, L"%d", ++evaluated);
    QUARN_LOG_EVERY_NTH(1, LEVEL_INFO, 1, L"%d", ++evaluated);
    QUARN_LOG_AT_MOST_EVERY(1, LEVEL_INFO, 1, L"%d", ++evaluated);

    EXPECT_EQ(evaluated, 0);
}

TEST_F(MacrosTest, EverythingIsEvaluatedOnceForAWantedMessage)
{
    int level = 2000;
    int category = -7;
    int argument = 5;
    QUARN_LOG(level++, category--, L"%d", argument++);

    EXPECT_THAT(Texts(), ElementsAre(L"5"));
    EXPECT_EQ(g_Calls[0].level, 2000);
    EXPECT_EQ(g_Calls[0].category, -7);
    EXPECT_EQ(level, 2001);
    EXPECT_EQ(category, -8);
    EXPECT_EQ(argument, 6);
}

TEST_F(MacrosTest, EnumClassNamesACategory)
{
    enum class ECategory : short { Axis = 321 };
    QUARN_INFO(ECategory::Axis, L"text");

    ASSERT_EQ(g_Calls.size(), 1U);
    EXPECT_EQ(g_Calls[0].category, 321);
}

TEST_F(MacrosTest, BitFieldsVolatilesAndEnumerationsAreShownByValue)
{
    enum EPlain { ONE = 1, TWO };
    struct
    {
        unsigned int three : 3;
        long long minus : 5;
    } fields = {7, -3};
    volatile int changing = 11;
    QUARN_INFO(0, L"%u %lld %d %d %f", fields.three, fields.minus, changing, TWO, 0.5F);

    EXPECT_THAT(Texts(), ElementsAre(L"7 -3 11 2 0.500000"));
}

TEST_F(MacrosTest, NullLogFunctionIsCopedWith)
{
    SetLogFunc(nullptr);
    QUARN_ERROR(0, L"%d", 1);
    QUARN_LOG_SCOPE(0);

    EXPECT_THAT(g_Calls, IsEmpty());
}

TEST_F(MacrosTest, NestedCallInAnArgumentComesFirst)
{
    const auto nested = [] {
        QUARN_INFO(0, L"inner");
        return 3;
    };
    QUARN_INFO(0, L"outer %d", nested());

    EXPECT_THAT(Texts(), ElementsAre(L"inner", L"outer 3"));
}

TEST_F(MacrosTest, EveryNthLogsTheFirstOfEachN)
{
    for (int i = 1; i <= 7; ++i) {
        QUARN_LOG_EVERY_NTH(3, LEVEL_INFO, 0, L"%d", i);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"1", L"4", L"7"));
}

TEST_F(MacrosTest, EveryNthCountsWantedMessagesOnly)
{
    for (int i = 1; i <= 6; ++i) {
        m_Levels[0] = i % 2 == 0 ? LEVEL_DEBUG : LEVEL_NONE;
        QUARN_LOG_EVERY_NTH(2, LEVEL_INFO, 0, L"%d", i);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"2", L"6"));
}

TEST_F(MacrosTest, EveryZerothLogsEachTime)
{
    for (int i = 1; i <= 2; ++i) {
        QUARN_LOG_EVERY_NTH(0U, LEVEL_INFO, 0, L"%d", i);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"1", L"2"));
}

TEST_F(MacrosTest, CallSitesAreThrottledApart)
{
    for (int i = 1; i <= 2; ++i) {
        QUARN_LOG_EVERY_NTH(2, LEVEL_INFO, 0, L"a%d", i);
        QUARN_LOG_EVERY_NTH(2, LEVEL_INFO, 0, L"b%d", i);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"a1", L"b1"));
}

void LogAtMostEverySecond(int i) { QUARN_LOG_AT_MOST_EVERY(1000, LEVEL_INFO, 0, L"%d", i); }

TEST_F(MacrosTest, AtMostEveryHoldsBackUntilTheTimeIsUp)
{
    FakeClock clock;
    clock.SetMonotonic(50, 999000000);
    LogAtMostEverySecond(1);
    LogAtMostEverySecond(2);
    clock.SetMonotonic(51, 998999999);
    LogAtMostEverySecond(3);
    clock.SetMonotonic(51, 999000000);
    LogAtMostEverySecond(4);
    LogAtMostEverySecond(5);

    EXPECT_THAT(Texts(), ElementsAre(L"1", L"4"));
}

TEST_F(MacrosTest, AtMostEveryLogsItsFirstMessageRightAfterTheClocksStart)
{
    FakeClock clock;
    clock.SetMonotonic(0);
    for (int i = 1; i <= 2; ++i) {
        QUARN_LOG_AT_MOST_EVERY(1000, LEVEL_INFO, 0, L"%d", i);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"1"));
}

TEST_F(MacrosTest, AtMostEveryGoesOnWhenItsMillisecondsWrapAround)
{
    FakeClock clock;
    clock.SetMonotonic(4294967, 0); // 296 ms before 2^32 ms
    for (int i = 1; i <= 4; ++i) {
        QUARN_LOG_AT_MOST_EVERY(1000, LEVEL_INFO, 0, L"%d", i);
        clock.Advance(0, 400000000);
    }

    EXPECT_THAT(Texts(), ElementsAre(L"1", L"4"));
}

TEST_F(MacrosTest, AtMostEveryReadsNoClockForAnUnwantedMessage)
{
    FaultPlan plan;
    QUARN_LOG_AT_MOST_EVERY(1000, LEVEL_INFO, 1, L"text");

    EXPECT_EQ(plan.Calls(Service::ClockGettime), 0);
}

void Leave(bool byException)
{
    QUARN_LOG_SCOPE(0);
    QUARN_INFO(0, L"inside");
    if (byException) {
        throw std::runtime_error("out");
    }
}

TEST_F(MacrosTest, ScopeLogsEnteringAndLeaving)
{
    Leave(false);

    EXPECT_THAT(Texts(), ElementsAre(L"enter Leave", L"inside", L"leave Leave"));
    EXPECT_EQ(g_Calls[0].level, 1000);
    EXPECT_EQ(g_Calls[0].file, __FILE__);
    EXPECT_EQ(g_Calls[0].line, g_Calls[2].line);
    EXPECT_EQ(g_Calls[0].line + 1, g_Calls[1].line);
}

TEST_F(MacrosTest, ScopeLogsLeavingByAnException)
{
    EXPECT_THROW(Leave(true), std::runtime_error);

    EXPECT_THAT(Texts(), ElementsAre(L"enter Leave", L"inside", L"leave Leave"));
}

TEST_F(MacrosTest, ScopeOfAnUnwantedCategoryIsSilent)
{
    {
        QUARN_LOG_SCOPE(1);
    }

    EXPECT_THAT(g_Calls, IsEmpty());
}

TEST_F(MacrosTest, ScopeKeepsFourWords) { EXPECT_EQ(sizeof(ScopeLog), 2 * sizeof(int) + 2 * sizeof(void*)); }

TEST_F(MacrosTest, NoMacroUsesTheHeap)
{
    if (!CountsHeapCalls()) {
        GTEST_SKIP() << "the sanitizer keeps the heap to itself";
    }
    SetLogFunc(Count);

    const unsigned long before = HeapCalls();
    {
        QUARN_LOG_SCOPE(0);
        QUARN_INFO(0, L"%d %s %f", 1, "text", 2.5);
        QUARN_LOG_EVERY_NTH(1, LEVEL_INFO, 0, L"text");
        QUARN_LOG_AT_MOST_EVERY(1, LEVEL_INFO, 0, L"text");
    }
    EXPECT_EQ(HeapCalls() - before, 0U);
    EXPECT_EQ(g_Count, 5U);
}

} // namespace
