#include "Explanation.h"

#include "CQLogFilter.h"
#include "OptionWords.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

namespace Quarn::Logging::Tool {

namespace {

constexpr int NO_CATEGORY = CATEGORY_DEFAULT; // which has the default level, like every category without a level

std::string Rounded(double number)
{
    char text[400];
    if (number >= 100) {
        std::snprintf(text, sizeof text, "%.0f", number);
        return text;
    }
    int digits = 3;
    do { // less than 1 is never shown as 1
        std::snprintf(text, sizeof text, "%.*g", digits++, number);
    } while (number < 1 && std::strcmp(text, "1") == 0);
    return text;
}

std::size_t CountWarningsOf(const std::vector<SExplainedPart>& parts)
{
    std::size_t count = 0;
    for (const SExplainedPart& part : parts) {
        count += part.warnings.size() + CountWarningsOf(part.parts);
    }
    return count;
}

void Append(std::vector<std::string>& warnings, std::vector<std::string> more)
{
    std::move(more.begin(), more.end(), std::back_inserter(warnings));
}

/// Looks at the options of one string beside each other.
class Explainer
{
public:
    Explainer(const std::wstring& string, const SOptionsReading& reading, double rate)
        : m_String(string)
        , m_Reading(reading)
        , m_Rate(rate)
    {
        m_Filter.SetFilter(static_cast<unsigned int>(reading.levels.size()), reading.levels.data());
    }

    SExplanation Explain()
    {
        if (m_Reading.isShortcut) {
            ExplainShortcut();
        } else {
            for (const SReadOption& option : m_Reading.options) {
                m_Explanation.options.push_back(PartOf(option));
            }
            WarnOfNoLevel();
        }
        m_Explanation.result.emplace_back("default level", Passes(DefaultLevel()));
        DescribeCategories();
        DescribeOutput();
        return std::move(m_Explanation);
    }

private:
    int DefaultLevel() const { return m_Filter.GetLevel(NO_CATEGORY); }

    bool ForgetsCategories() const
    {
        return std::any_of(m_Reading.levels.begin(), m_Reading.levels.end(),
                           [](const SLevelDef& level) { return level.category == CATEGORY_ALL; });
    }

    bool HasFile() const { return !m_Reading.fileName.empty(); }

    void ExplainShortcut()
    {
        m_Explanation.options.push_back({0,
                                         Shown(m_String),
                                         "forgets the levels of all categories; for all, " + Passes(DefaultLevel()),
                                         WarningsOfShortcut(m_String[0]),
                                         {}});
    }

    SExplainedPart PartOf(const SReadOption& option)
    {
        SExplainedPart part = {option.position, Shown(option.text), MeaningOf(option), WarningsOf(option), {}};
        for (const SReadPair& pair : option.pairs) {
            part.parts.push_back({pair.position, Shown(pair.text), MeaningOf(pair), WarningsOf(pair), {}});
            WarnOfOverridden(pair.level.category, pair.level.level, part.parts.back().warnings);
        }
        switch (option.Letter()) {
        case L'l':
            WarnOfOverridden(CATEGORY_DEFAULT, option.defaultLevel, part.warnings);
            break;
        case L'L':
            // A name in doubt is not lectured on.
            if (part.warnings.empty() && m_Reading.Last(L'L') == &option && HasFile()) {
                Append(part.warnings, WarningsOfFiles(m_Reading));
            }
            break;
        case L'S':
            WarnOfFileOption(option.size, m_Reading.size, part.warnings);
            if (m_Reading.Last(L'S') == &option) {
                WarnOfRate(part.warnings);
            }
            break;
        case L'N':
            WarnOfFileOption(option.count, m_Reading.count, part.warnings);
            break;
        default:
            break;
        }
        return part;
    }

    /// What is written last need not be what holds: o-1 and o-2 come after every l.
    void WarnOfOverridden(int category, int level, std::vector<std::string>& warnings) const
    {
        if (const int holds = m_Filter.GetLevel(category == CATEGORY_ALL ? CATEGORY_DEFAULT : category);
            holds != level) {
            warnings.push_back("another option overrides it: " + Passes(holds));
        }
    }

    void WarnOfFileOption(std::uint32_t value, std::uint32_t holds, std::vector<std::string>& warnings) const
    {
        if (!HasFile()) {
            warnings.emplace_back("it has no effect without a file (L)");
        } else if (value != holds) {
            warnings.push_back("another option overrides it: " + std::to_string(holds));
        }
    }

    void WarnOfRate(std::vector<std::string>& warnings) const
    {
        if (HasFile() && m_Reading.size != 0 && m_Reading.size < m_Rate) {
            warnings.push_back("at " + Bytes(Rounded(m_Rate)) + " a second a file is full after " +
                               Rounded(m_Reading.size / m_Rate) +
                               " s: each needs a second of its own for its name, so that the dispatcher is held up for "
                               "the rest of every second, and messages are lost when the queue is full");
        }
    }

    void WarnOfNoLevel()
    {
        const bool setsLevel = std::any_of(m_Reading.options.begin(), m_Reading.options.end(),
                                           [](const SReadOption& o) { return o.Letter() == L'l' || !o.pairs.empty(); });
        if (!setsLevel) {
            m_Explanation.warnings.emplace_back(m_String.empty()
                                                    ? "the string is empty: it switches logging off, as l0 does"
                                                    : "no option sets a level: nothing is logged");
        }
    }

    void DescribeCategories()
    {
        std::set<int> named;
        for (const SLevelDef& level : m_Reading.levels) {
            if (level.category != CATEGORY_ALL && level.category != CATEGORY_DEFAULT &&
                named.insert(level.category).second && !IsForgotten(level)) {
                m_Explanation.result.emplace_back("category " + std::to_string(level.category),
                                                  Passes(m_Filter.GetLevel(level.category)));
            }
        }
        m_Explanation.result.emplace_back("other categories",
                                          ForgetsCategories()
                                              ? "the default level, whatever earlier strings said"
                                              : "the level that an earlier string gave them, else the default level");
    }

    /// Whether there is no level of the category behind the last o-1.
    bool IsForgotten(const SLevelDef& level) const
    {
        const auto last =
            std::find_if(m_Reading.levels.rbegin(), m_Reading.levels.rend(), [&level](const SLevelDef& l) {
                return l.category == CATEGORY_ALL || l.category == level.category;
            });
        return last->category == CATEGORY_ALL;
    }

    void DescribeOutput()
    {
        WordsList& result = m_Explanation.result;
        if (m_Reading.isShortcut) {
            result.emplace_back("colour", "as before");
            result.emplace_back("output", "as before");
            return;
        }
        result.emplace_back("colour", m_Reading.color ? "on" : "off");
        if (!HasFile()) {
            result.emplace_back("output", "console");
            return;
        }
        const WordsList files = FilesInWords(m_Reading);
        result.insert(result.end(), files.begin(), files.end());
        if (m_Reading.size == 0) {
            result.emplace_back("size", "no limit");
        } else {
            result.emplace_back("size", "full after " + Rounded(m_Reading.size / m_Rate) + " s at " +
                                            Bytes(Rounded(m_Rate)) + " a second");
        }
    }

    const std::wstring& m_String;
    const SOptionsReading& m_Reading;
    const double m_Rate;
    CQLogFilter m_Filter;
    SExplanation m_Explanation;
};

} // namespace

std::size_t SExplanation::CountWarnings() const { return warnings.size() + CountWarningsOf(options); }

SExplanation Explain(const std::wstring& string, const SOptionsReading& reading, double rate)
{
    return Explainer(string, reading, rate).Explain();
}

} // namespace Quarn::Logging::Tool
