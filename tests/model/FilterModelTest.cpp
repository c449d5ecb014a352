#include "CQLoggerFacade.h"

#include "LogTo.h"
#include "SeededRandom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// What a filter holds, in plain containers.
struct SModelFilter
{
    int defaultLevel = 9999;
    std::map<int, int> levels;

    void Apply(const std::vector<SLevelDef>& settings)
    {
        for (const SLevelDef& setting : settings) {
            if (setting.category == -1) {
                levels.clear();
            }
            if (setting.category == -1 || setting.category == -2) {
                defaultLevel = setting.level;
            } else {
                levels[setting.category] = setting.level;
            }
        }
    }
    int LevelOf(int category) const
    {
        const auto found = levels.find(category);
        return found == levels.end() ? defaultLevel : found->second;
    }
};

/// A logger's number and the text that it got.
using Delivery = std::pair<int, std::wstring>;

class ModelFacade
{
public:
    void Register(int logger, const std::vector<SLevelDef>& settings)
    {
        m_Registrations.emplace_front(logger, SModelFilter());
        m_Registrations.front().second.Apply(settings);
    }
    void Modify(int logger, const std::vector<SLevelDef>& settings)
    {
        const auto found = Find(logger);
        if (found != m_Registrations.end()) {
            found->second.Apply(settings);
        }
    }
    void UnRegister(int logger)
    {
        const auto found = Find(logger);
        if (found != m_Registrations.end()) {
            m_Registrations.erase(found);
        }
    }

    /// The lowest default; for a category that anyone names the lowest threshold among those that name it. A default
    /// that is lower still does not count there.
    SModelFilter Combined() const
    {
        SModelFilter combined;
        for (const auto& [logger, filter] : m_Registrations) {
            combined.defaultLevel = std::min(combined.defaultLevel, filter.defaultLevel);
            for (const auto& [category, level] : filter.levels) {
                const auto found = combined.levels.emplace(category, level).first;
                found->second = std::min(found->second, level);
            }
        }
        return combined;
    }

    void Log(int level, int category, const std::wstring& text, std::vector<Delivery>& deliveries) const
    {
        if ((category < 0 || category > 999) && Combined().LevelOf(category) > level) {
            return;
        }
        for (const auto& [logger, filter] : m_Registrations) {
            if (filter.LevelOf(category) <= level) {
                deliveries.emplace_back(logger, text);
            }
        }
    }

    std::size_t Size() const { return m_Registrations.size(); }

private:
    std::list<std::pair<int, SModelFilter>>::iterator Find(int logger)
    {
        return std::find_if(m_Registrations.begin(), m_Registrations.end(),
                            [logger](const auto& registration) { return registration.first == logger; });
    }

    std::list<std::pair<int, SModelFilter>> m_Registrations; // newest first
};

/// Adds what it gets to a list that all loggers share, so that the order among them shows.
class NumberedLogger : public IQLogger
{
public:
    NumberedLogger(int number, std::vector<Delivery>& deliveries)
        : m_Number(number)
        , m_Deliveries(deliveries)
    {
    }
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t* text) override
    {
        m_Deliveries.emplace_back(m_Number, text);
    }
    void MessagesDropped(unsigned int) override { ADD_FAILURE() << "nothing is dropped here"; }
    void SetErrorHandler(IQErrorHandler*) override {}

private:
    int m_Number;
    std::vector<Delivery>& m_Deliveries;
};

constexpr int CATEGORIES[] = {-1, -1, -2, -2, -3, -77, INT_MIN, 0, 1, 2, 5, 500, 998, 999, 1000, 1001, INT_MAX};
constexpr int LEVELS[] = {1000, 1000, 2000, 3000, 4000, 9999, 1500, 0, -1, 10000, INT_MIN, INT_MAX};
constexpr int LOGGERS = 4;

class FilterModelTest : public testing::Test
{
protected:
    FilterModelTest()
    {
        for (int number = 0; number < LOGGERS; ++number) {
            m_Loggers.emplace_back(number, m_Delivered);
        }
    }

    std::vector<SLevelDef> Settings()
    {
        std::vector<SLevelDef> settings;
        for (int count = m_Random.Between(0, 6); count > 0; --count) {
            const int category = m_Random.AnyOf(CATEGORIES);
            settings.push_back({category, m_Random.AnyOf(LEVELS)});
        }
        return settings;
    }

    void ChangeRegistrations()
    {
        const int number = m_Random.Between(0, LOGGERS - 1);
        NumberedLogger& logger = m_Loggers[static_cast<std::size_t>(number)];
        const int operation = m_Random.Between(0, 9);
        const std::vector<SLevelDef> settings = Settings();
        const auto count = static_cast<unsigned int>(settings.size());
        if (operation < 3 && m_Model.Size() < 10) {
            m_Facade.RegisterLogger(&logger, count, settings.data());
            m_Model.Register(number, settings);
        } else if (operation < 7) {
            m_Facade.ModifyFilter(&logger, count, settings.data());
            m_Model.Modify(number, settings);
        } else {
            m_Facade.UnRegisterLogger(&logger);
            m_Model.UnRegister(number);
        }
    }

    void ExpectTableAsModelled()
    {
        const SModelFilter combined = m_Model.Combined();
        ASSERT_EQ(g_MaxLogLevels, 1000);
        for (int category = 0; category < 1000; ++category) {
            ASSERT_EQ(g_pLogLevels[category], combined.LevelOf(category)) << "category " << category;
        }
    }

    void ExpectDeliveriesAsModelled()
    {
        std::vector<Delivery> expected;
        m_Delivered.clear();
        for (int message = 0; message < 25; ++message) {
            const int category = m_Random.AnyOf(CATEGORIES);
            const int level = m_Random.AnyOf(LEVELS);
            const std::wstring text =
                std::to_wstring(message) + L": " + std::to_wstring(category) + L" at " + std::to_wstring(level);
            LogTo(m_Facade, level, category, L"%ls", text.c_str());
            m_Model.Log(level, category, text, expected);
        }
        m_Facade.DispatchLogMessages();
        ASSERT_EQ(m_Delivered, expected);
    }

    SeededRandom m_Random;
    CQLoggerFacade m_Facade;
    ModelFacade m_Model;
    std::vector<Delivery> m_Delivered;
    std::vector<NumberedLogger> m_Loggers;
};

TEST_F(FilterModelTest, TableAndDeliveriesFollowTheRegistrations)
{
    for (int step = 0; step < 3000 && !HasFailure(); ++step) {
        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(m_Random.Seed()) + " step " + std::to_string(step));
        ChangeRegistrations();
        ExpectTableAsModelled();
        ExpectDeliveriesAsModelled();
    }
}

} // namespace
