#include "OptionsReading.h"

#include "CQOptionParser.h"

#include <algorithm>
#include <utility>

namespace Quarn::Logging::Tool {

namespace {

class Recorder final : public CQOptionParser::Observer
{
public:
    Recorder(const std::wstring& string, const CQOptionParser& parser)
        : m_String(string)
        , m_Parser(parser)
    {
    }

    void PairRead(const wchar_t* begin, const wchar_t* end) override
    {
        m_Pairs.push_back({Position(begin), Text(begin, end), {}});
    }

    void OptionRead(const wchar_t* begin, const wchar_t* end) override
    {
        m_Options.push_back({Position(begin), Text(begin, end), std::exchange(m_Pairs, {}), m_Parser.GetDefaultLevel(),
                             m_Parser.GetLogFileSize(), m_Parser.GetMaxCountLogFiles()});
    }

    std::vector<SReadOption>& Options() { return m_Options; }

private:
    std::size_t Position(const wchar_t* at) const { return static_cast<std::size_t>(at - m_String.c_str()); }
    std::wstring_view Text(const wchar_t* begin, const wchar_t* end) const
    {
        return {begin, static_cast<std::size_t>(end - begin)};
    }

    const std::wstring& m_String;
    const CQOptionParser& m_Parser;
    std::vector<SReadPair> m_Pairs;
    std::vector<SReadOption> m_Options;
};

} // namespace

const SReadOption* SOptionsReading::Last(wchar_t letter) const
{
    const auto last = std::find_if(options.rbegin(), options.rend(),
                                   [letter](const SReadOption& option) { return option.Letter() == letter; });
    return last == options.rend() ? nullptr : &*last;
}

SOptionsReading ReadOptionsString(const std::wstring& string)
{
    if (string.size() == 1) {
        return {true, {}, {{CATEGORY_ALL, CQOptionParser::LevelOfShortcut(string[0])}}, false, {}, 0, 0};
    }
    CQOptionParser parser;
    Recorder recorder(string, parser);
    parser.ParseOptions(string.c_str(), &recorder);
    std::vector<SLevelDef> levels(parser.GetNumberOfLevelSettings() + 1);
    levels[0] = {CATEGORY_DEFAULT, parser.GetDefaultLevel()};
    parser.GetLevelSettings(levels.data() + 1);
    auto level = levels.begin() + 1;
    for (SReadOption& option : recorder.Options()) {
        for (SReadPair& pair : option.pairs) {
            pair.level = *level++;
        }
    }
    return {false,
            std::move(recorder.Options()),
            std::move(levels),
            parser.GetColorSetting(),
            {parser.GetLogFileName().c_str(), parser.GetLogFileName().length()},
            parser.GetLogFileSize(),
            parser.GetMaxCountLogFiles()};
}

} // namespace Quarn::Logging::Tool
