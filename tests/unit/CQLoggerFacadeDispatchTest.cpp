#include "CQLoggerFacade.h"

#include "LogTo.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <thread>

using namespace Quarn::Logging;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CQLoggerFacadeDispatchTest : public testing::Test
{
protected:
    void Register(IQLogger& logger, std::initializer_list<SLevelDef> levels)
    {
        m_Facade.RegisterLogger(&logger, static_cast<unsigned int>(levels.size()), levels.begin());
    }

    /// Fills the queue to the last record of this kind that fits. The number of messages that it took.
    unsigned int FillQueue()
    {
        // 0x1FFFB0 bytes of buffer; 52 + 4 * (999 + 1) + strlen("unit.cpp") + 1 = 4061, rounded up to 4064, per record.
        const std::wstring longest(999, L'x');
        for (int i = 0; i < 516; ++i) {
            LogTo(m_Facade, 4000, 1, L"%ls", longest.c_str());
        }
        return 516;
    }
    void Drop(int count)
    {
        const std::wstring longest(999, L'y');
        for (int i = 0; i < count; ++i) {
            LogTo(m_Facade, 4000, 1, L"%ls", longest.c_str());
        }
    }

    CQLoggerFacade m_Facade;
    RecordingLogger m_Logger;
    RecordingLogger m_Other;
};

TEST_F(CQLoggerFacadeDispatchTest, LoggerReceivesEveryPartOfTheMessage)
{
    FakeClock clock;
    clock.SetMonotonic(77, 125000000);
    Register(m_Logger, {{-1, 1000}});
    const auto threadId = static_cast<unsigned int>(pthread_self());

    LogTo(m_Facade, 3000, 42, L"%d of %ls and %s", 5, L"wide", "narrow");
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.m_Messages,
                ElementsAre(SMessage{3000, 42, 77.125, threadId, "unit.cpp", 7, L"5 of wide and narrow"}));
}

TEST_F(CQLoggerFacadeDispatchTest, MessageIsStampedWhenItIsLoggedNotWhenItIsDispatched)
{
    FakeClock clock;
    clock.SetMonotonic(10);
    Register(m_Logger, {{-1, 1000}});
    unsigned int threadId = 0;
    std::thread([&] {
        threadId = static_cast<unsigned int>(pthread_self());
        LogTo(m_Facade, 4000, 1, L"text");
    }).join();
    clock.Advance(5);

    m_Facade.DispatchLogMessages();

    ASSERT_EQ(m_Logger.m_Messages.size(), 1u);
    EXPECT_EQ(m_Logger.m_Messages[0].time, 10.0);
    EXPECT_EQ(m_Logger.m_Messages[0].threadId, threadId);
}

TEST_F(CQLoggerFacadeDispatchTest, MessagesArriveInTheOrderInWhichTheyWereLogged)
{
    Register(m_Logger, {{-1, 1000}});
    LogTo(m_Facade, 1000, 1, L"first");
    LogTo(m_Facade, 4000, 2, L"second");
    LogTo(m_Facade, 2000, 1, L"third");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"first", L"second", L"third"));
}

TEST_F(CQLoggerFacadeDispatchTest, SecondDispatchDeliversNothingTwice)
{
    Register(m_Logger, {{-1, 1000}});
    LogTo(m_Facade, 4000, 1, L"once");
    m_Facade.DispatchLogMessages();

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"once"));
}

TEST_F(CQLoggerFacadeDispatchTest, LongestTextStaysWhole)
{
    Register(m_Logger, {{-1, 1000}});

    LogTo(m_Facade, 4000, 1, L"%ls", std::wstring(999, L'x').c_str());
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(std::wstring(999, L'x')));
}

TEST_F(CQLoggerFacadeDispatchTest, TextOneLongerLosesItsLastCharacter)
{
    Register(m_Logger, {{-1, 1000}});

    LogTo(m_Facade, 4000, 1, L"%ls", (std::wstring(999, L'x') + L'y').c_str());
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(std::wstring(999, L'x')));
}

TEST_F(CQLoggerFacadeDispatchTest, MuchLongerTextIsCut)
{
    Register(m_Logger, {{-1, 1000}});

    LogTo(m_Facade, 4000, 1, L"12345%ls", std::wstring(1495, L'x').c_str());
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"12345" + std::wstring(994, L'x')));
}

TEST_F(CQLoggerFacadeDispatchTest, EmptyTextIsAMessage)
{
    Register(m_Logger, {{-1, 1000}});

    LogTo(m_Facade, 4000, 1, L"%ls", L"");
    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L""));
}

TEST_F(CQLoggerFacadeDispatchTest, EachLoggersOwnFilterDecides)
{
    Register(m_Logger, {{-2, 3000}, {5, 1000}});
    Register(m_Other, {{-2, 4000}});
    LogTo(m_Facade, 4000, 1, L"for both");
    LogTo(m_Facade, 3000, 1, L"for one");
    LogTo(m_Facade, 1000, 5, L"by category");
    LogTo(m_Facade, 2999, 1, L"for none");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"for both", L"for one", L"by category"));
    EXPECT_THAT(m_Other.Texts(), ElementsAre(L"for both"));
}

TEST_F(CQLoggerFacadeDispatchTest, NewestRegistrationGetsAMessageFirst)
{
    std::wstring order;
    RecordingLogger newest;
    m_Logger.m_Hook = [&](const SMessage& message) { order += L"oldest:" + message.text + L" "; };
    m_Other.m_Hook = [&](const SMessage& message) { order += L"middle:" + message.text + L" "; };
    newest.m_Hook = [&](const SMessage& message) { order += L"newest:" + message.text + L" "; };
    Register(m_Logger, {{-1, 1000}});
    Register(m_Other, {{-1, 1000}});
    Register(newest, {{-1, 1000}});
    LogTo(m_Facade, 4000, 1, L"a");
    LogTo(m_Facade, 4000, 1, L"b");

    m_Facade.DispatchLogMessages();

    EXPECT_EQ(order, L"newest:a middle:a oldest:a newest:b middle:b oldest:b ");
}

TEST_F(CQLoggerFacadeDispatchTest, TwoRegistrationsOfALoggerDeliverTwice)
{
    Register(m_Logger, {{-1, 1000}});
    Register(m_Logger, {{-1, 3000}});
    LogTo(m_Facade, 4000, 1, L"error");
    LogTo(m_Facade, 2000, 1, L"info");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"error", L"error", L"info"));
}

TEST_F(CQLoggerFacadeDispatchTest, UnregisteringOnceLeavesTheOlderRegistration)
{
    Register(m_Logger, {{-1, 1000}});
    Register(m_Logger, {{-1, 3000}});
    m_Facade.UnRegisterLogger(&m_Logger);
    LogTo(m_Facade, 4000, 1, L"error");
    LogTo(m_Facade, 2000, 1, L"info");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"error", L"info"));
}

TEST_F(CQLoggerFacadeDispatchTest, MessageWithoutALoggerIsConsumed)
{
    LogTo(m_Facade, 9999, 1, L"nobody listens");
    m_Facade.DispatchLogMessages();
    Register(m_Logger, {{-1, 1000}});

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
}

TEST_F(CQLoggerFacadeDispatchTest, CategoryInTheTableIsQueuedWithoutAnotherLookAtItsThreshold)
{
    LogTo(m_Facade, 1000, 0, L"zero");
    LogTo(m_Facade, 1000, 999, L"last");
    Register(m_Logger, {{-1, 1000}});

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"zero", L"last")) << "both were logged while every threshold was 9999";
}

TEST_F(CQLoggerFacadeDispatchTest, CategoryOutsideTheTableIsStoppedByTheClosedDefault)
{
    LogTo(m_Facade, 9998, 1000, L"above");
    LogTo(m_Facade, 9998, -5, L"below");
    Register(m_Logger, {{-1, 1000}});

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
    EXPECT_THAT(m_Logger.m_Dropped, IsEmpty()) << "such messages are not counted";
}

TEST_F(CQLoggerFacadeDispatchTest, CategoryOutsideTheTablePassesFromItsThresholdOn)
{
    Register(m_Logger, {{-2, 3000}, {1000, 2000}, {-5, 4000}});
    LogTo(m_Facade, 2000, 1000, L"named");
    LogTo(m_Facade, 3000, 1001, L"by default");
    LogTo(m_Facade, 4000, -5, L"negative");
    LogTo(m_Facade, 1999, 1000, L"no");
    LogTo(m_Facade, 2999, 1001, L"no");
    LogTo(m_Facade, 3999, -5, L"no");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"named", L"by default", L"negative"));
}

TEST_F(CQLoggerFacadeDispatchTest, MessagesThatALoggerLogsWhileDispatchedComeInTheSameDispatch)
{
    Register(m_Logger, {{-1, 1000}});
    m_Logger.m_Hook = [&](const SMessage& message) {
        if (message.text == L"first") {
            LogTo(m_Facade, 4000, 1, L"from inside");
        }
    };
    LogTo(m_Facade, 4000, 1, L"first");
    LogTo(m_Facade, 4000, 1, L"second");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"first", L"second", L"from inside"));
}

TEST_F(CQLoggerFacadeDispatchTest, DispatchFromInsideALoggerContinuesWithTheSameQueue)
{
    Register(m_Logger, {{-1, 1000}});
    Register(m_Other, {{-1, 1000}});
    m_Other.m_Hook = [&](const SMessage& message) {
        if (message.text == L"first") {
            m_Facade.DispatchLogMessages();
        }
    };
    LogTo(m_Facade, 4000, 1, L"first");
    LogTo(m_Facade, 4000, 1, L"second");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Other.Texts(), ElementsAre(L"first", L"second"));
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"second", L"first")) << "the older logger gets the rest first";
}

TEST_F(CQLoggerFacadeDispatchTest, LoggerMayUnregisterItselfInsideLog)
{
    Register(m_Logger, {{-1, 1000}});
    Register(m_Other, {{-1, 1000}});
    m_Other.m_Hook = [&](const SMessage&) { m_Facade.UnRegisterLogger(&m_Other); };
    LogTo(m_Facade, 4000, 1, L"first");
    LogTo(m_Facade, 4000, 1, L"second");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Other.Texts(), ElementsAre(L"first"));
    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"first", L"second"));
}

TEST_F(CQLoggerFacadeDispatchTest, LoggerMayUnregisterItselfInADispatchInsideADispatch)
{
    RecordingLogger oldest;
    Register(oldest, {{-1, 1000}});
    Register(m_Logger, {{-1, 1000}});
    Register(m_Other, {{-1, 1000}});
    m_Other.m_Hook = [&](const SMessage& message) {
        if (message.text == L"first") {
            m_Facade.DispatchLogMessages(); // m_Logger is next in the outer dispatch, and ends in this one
        }
    };
    m_Logger.m_Hook = [&](const SMessage&) { m_Facade.UnRegisterLogger(&m_Logger); };
    LogTo(m_Facade, 4000, 1, L"first");
    LogTo(m_Facade, 4000, 1, L"second");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"second"));
    EXPECT_THAT(oldest.Texts(), ElementsAre(L"second", L"first"));
}

TEST_F(CQLoggerFacadeDispatchTest, LoggerMayUnregisterTheOneThatIsNext)
{
    RecordingLogger oldest;
    Register(oldest, {{-1, 1000}});
    Register(m_Logger, {{-1, 1000}});
    Register(m_Other, {{-1, 1000}});
    m_Other.m_Hook = [&](const SMessage&) { m_Facade.UnRegisterLogger(&m_Logger); };
    LogTo(m_Facade, 4000, 1, L"text");

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.Texts(), IsEmpty());
    EXPECT_THAT(oldest.Texts(), ElementsAre(L"text"));
}

TEST_F(CQLoggerFacadeDispatchTest, ExceptionOutOfALoggerReachesTheDispatcher)
{
    Register(m_Logger, {{-1, 1000}});
    m_Logger.m_Hook = [](const SMessage&) { throw std::runtime_error("logger"); };
    LogTo(m_Facade, 4000, 1, L"text");

    EXPECT_THROW(m_Facade.DispatchLogMessages(), std::runtime_error);
}

TEST_F(CQLoggerFacadeDispatchTest, ExceptionOutOfALoggerReleasesTheDispatchMutex)
{
    Register(m_Logger, {{-1, 1000}});
    m_Logger.m_Hook = [](const SMessage&) { throw std::runtime_error("logger"); };
    LogTo(m_Facade, 4000, 1, L"lost");
    LogTo(m_Facade, 4000, 1, L"stays queued");
    EXPECT_THROW(m_Facade.DispatchLogMessages(), std::runtime_error);
    m_Logger.m_Hook = nullptr;

    std::thread([&] { m_Facade.DispatchLogMessages(); }).join(); // would wait for ever

    EXPECT_THAT(m_Logger.Texts(), ElementsAre(L"lost", L"stays queued"));
}

TEST_F(CQLoggerFacadeDispatchTest, UnregisteringAfterAnExceptionFindsNoDispatchToCorrect)
{
    Register(m_Logger, {{-1, 1000}});
    m_Logger.m_Hook = [](const SMessage&) { throw std::runtime_error("logger"); };
    LogTo(m_Facade, 4000, 1, L"text");
    EXPECT_THROW(m_Facade.DispatchLogMessages(), std::runtime_error);

    m_Facade.UnRegisterLogger(&m_Logger);

    EXPECT_EQ(g_pLogLevels[0], 9999);
}

TEST_F(CQLoggerFacadeDispatchTest, DropsAreReportedOnceAfterTheMessages)
{
    Register(m_Logger, {{-1, 1000}});
    FillQueue();
    Drop(3);

    m_Facade.DispatchLogMessages();

    EXPECT_EQ(m_Logger.m_Messages.size(), 516u);
    EXPECT_THAT(m_Logger.m_Dropped, ElementsAre(3u));
}

TEST_F(CQLoggerFacadeDispatchTest, DropsAreReportedToEveryRegistrationWithoutItsFilter)
{
    Register(m_Logger, {{-1, 9999}});
    Register(m_Other, {{-1, 1000}});
    Register(m_Other, {{-1, 9999}});
    FillQueue();
    Drop(2);

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.m_Dropped, ElementsAre(2u));
    EXPECT_THAT(m_Other.m_Dropped, ElementsAre(2u, 2u));
}

TEST_F(CQLoggerFacadeDispatchTest, OnlyDropsSinceTheLastReportAreReported)
{
    Register(m_Logger, {{-1, 1000}});
    FillQueue();
    Drop(3);
    m_Facade.DispatchLogMessages();
    m_Facade.DispatchLogMessages();
    FillQueue();
    Drop(4);

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.m_Dropped, ElementsAre(3u, 4u));
}

TEST_F(CQLoggerFacadeDispatchTest, DropsThatNobodyHeardOfAreNotReportedToALaterLogger)
{
    FillQueue();
    Drop(3);
    m_Facade.DispatchLogMessages();
    Register(m_Logger, {{-1, 1000}});

    m_Facade.DispatchLogMessages();

    EXPECT_THAT(m_Logger.m_Dropped, IsEmpty());
}

} // namespace
