#include "QueueModel.h"

#include "CQLoggerFacade.h"

#include "LogTo.h"
#include "PlatformDoubles.h"
#include "RecordingLogger.h"
#include "SeededRandom.h"
#include "TestDepth.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cwchar>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// What became of the messages, by their numbers.
struct SOutcome
{
    std::uint64_t sent = 0;
    std::uint64_t delivered = 0; ///< Deliveries; a message that came twice counts twice.
    std::uint64_t dropped = 0;
    std::uint64_t lost = 0;     ///< Messages that were neither delivered nor counted as dropped.
    std::uint64_t repeated = 0; ///< Deliveries of messages that had been delivered before.
};

/// A facade whose logger logs from inside of its Log, as other threads do during a dispatch: so many messages for each
/// one that is delivered. The model is told the same and says what has to be delivered next.
class OverloadModelTest : public testing::Test
{
protected:
    OverloadModelTest()
    {
        m_Model.MakeFull();
        m_Clock.SetMonotonic(12);
        const SLevelDef all = {CATEGORY_ALL, LEVEL_DEBUG};
        m_Facade.RegisterLogger(&m_Logger, 1, &all);
        m_Logger.m_Hook = [this](const SMessage& delivered) { Delivered(delivered); };
    }

    /// The text has so many characters; the first eight are the number.
    void Send(std::uint32_t characters)
    {
        const int number = static_cast<int>(m_Fate.size());
        m_Fate.push_back({});
        std::wstring text = std::to_wstring(number);
        text.insert(0, 8 - text.size(), L'0');
        text.append(characters - 8, L'x');
        const std::uint32_t before = m_Model.Count();
        m_Model.Write({LEVEL_INFO, 5, 12.0, CQLoggerFacade::GetThreadId(), "unit.cpp", 7, text});
        m_Fate.back().dropped = m_Model.Count() == before;
        m_HasDropped = m_HasDropped || m_Fate.back().dropped;
        LogTo(m_Facade, LEVEL_INFO, 5, L"%ls", text.c_str());
    }

    void Delivered(const SMessage& delivered)
    {
        const std::optional<SMessage> expected = m_Model.Read();
        m_Differences += static_cast<int>(!expected || !(*expected == delivered));
        ++m_Fate.at(static_cast<std::size_t>(std::wcstol(delivered.text.c_str(), nullptr, 10))).deliveries;
        m_Logger.m_Messages.clear(); // the run is long
        if (m_OnDelivery) {
            m_OnDelivery();
        }
    }

    /// Sends so many messages, more of them than are delivered until the ring has been full, then now more, now fewer.
    template <class DrawLength>
    void Drive(std::uint32_t messages, const DrawLength& drawLength)
    {
        const int most[] = {1, 1, 1, 1, 1, 1, 1, 2};
        int least = 1;
        m_OnDelivery = [=]() mutable {
            if (m_HasDropped && m_Random.OneIn(1000)) {
                m_Most = m_Random.AnyOf(most);
                least = m_Most - 1;
            }
            for (int i = m_Random.Between(least, m_Most); i != 0 && m_Fate.size() < messages; --i) {
                Send(drawLength());
            }
        };
        while (m_Fate.size() < messages) {
            for (int i = m_Random.Between(1, 100); i != 0 && m_Fate.size() < messages; --i) {
                Send(drawLength());
            }
            m_Facade.DispatchLogMessages();
            m_GivenUp += m_Model.Count();
            m_Differences += static_cast<int>(m_Model.Read().has_value());
        }
    }

    std::uint64_t ReportedDropped() const
    {
        return std::accumulate(m_Logger.m_Dropped.begin(), m_Logger.m_Dropped.end(), std::uint64_t{0});
    }

    SOutcome Outcome() const
    {
        SOutcome outcome;
        outcome.sent = m_Fate.size();
        for (const SFate& fate : m_Fate) {
            outcome.delivered += fate.deliveries;
            outcome.dropped += fate.dropped ? 1U : 0U;
            outcome.lost += !fate.dropped && fate.deliveries == 0 ? 1U : 0U;
            outcome.repeated += fate.deliveries > 1 ? fate.deliveries - 1 : 0U;
        }
        RecordProperty("dropped", static_cast<int>(outcome.dropped));
        RecordProperty("jumps", m_Model.branches.jumpsFromBeyondEndPos);
        RecordProperty("given up", static_cast<int>(m_GivenUp));
        RecordProperty("lost", static_cast<int>(outcome.lost));
        RecordProperty("repeated", static_cast<int>(outcome.repeated));
        return outcome;
    }

    struct SFate
    {
        std::uint32_t deliveries = 0;
        bool dropped = false;
    };

    FakeClock m_Clock;
    CQLoggerFacade m_Facade;
    RecordingLogger m_Logger;
    QueueModel m_Model;
    SeededRandom m_Random;
    std::function<void()> m_OnDelivery;
    std::vector<SFate> m_Fate;
    int m_Most = 2; ///< Messages sent for one delivery.
    bool m_HasDropped = false;
    std::uint64_t m_GivenUp = 0; ///< Undelivered messages when the reader came to a record that it could not read.
    int m_Differences = 0;       ///< Deliveries that the model had not predicted.
};

TEST_F(OverloadModelTest, EqualRecordsAreEachDeliveredOnceOrReportedDropped)
{
    Drive(ByDepth(100000U, 2000000U), [] { return 600U; });

    const SOutcome outcome = Outcome();
    EXPECT_EQ(m_Differences, 0);
    EXPECT_EQ(m_Model.branches.jumpsFromBeyondEndPos, 0);
    EXPECT_EQ(outcome.lost, 0U);
    EXPECT_EQ(outcome.repeated, 0U);
    EXPECT_EQ(m_GivenUp, 0U);
    EXPECT_GT(outcome.dropped, 0U);
    EXPECT_EQ(ReportedDropped(), outcome.dropped);
    EXPECT_EQ(outcome.delivered + outcome.dropped, outcome.sent);
}

TEST_F(OverloadModelTest, RecordsOfDifferentSizesAreDeliveredRepeatedAndLostAsTheModelSays)
{
    Drive(ByDepth(400000U, 8000000U),
          [this] { return m_Random.OneIn(20) ? 999U : static_cast<std::uint32_t>(m_Random.Between(8, 60)); });

    const SOutcome outcome = Outcome();
    EXPECT_EQ(m_Differences, 0);
    EXPECT_GT(m_Model.branches.jumpsFromBeyondEndPos, 0);
    EXPECT_GT(outcome.lost, 0U);
    EXPECT_EQ(outcome.repeated + m_GivenUp, outcome.lost);
    EXPECT_GT(outcome.dropped, 0U);
    EXPECT_EQ(ReportedDropped(), outcome.dropped);
    EXPECT_EQ(outcome.delivered + outcome.dropped + m_GivenUp, outcome.sent);
}

} // namespace
