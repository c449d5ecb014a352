#include "LoggingGlobals.h"

#include "CQOptionParser.h"
#include "FakePlatform.h"
#include "OptionStringReference.h"
#include "Require.h"
#include "WideInput.h"

#include <QuarnLogging/Logging.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

using namespace QuarnTest;
using namespace Quarn::Logging;

namespace {

/// The levels of a process that reads option strings, once more.
class Levels
{
public:
    /// Those of the first so many categories.
    std::vector<int> First(std::size_t count) const
    {
        std::vector<int> levels(count, m_Default);
        for (const auto& [category, level] : m_Categories) {
            if (category >= 0 && static_cast<std::size_t>(category) < count) {
                levels[static_cast<std::size_t>(category)] = level;
            }
        }
        return levels;
    }

    void Apply(const std::wstring& options, const SOptionSettings& settings)
    {
        if (options.size() == 1) {
            m_Categories.clear();
            m_Default = LevelOfShortcut(static_cast<unsigned char>(options[0]));
            return;
        }
        m_Default = settings.level;
        for (const auto& [category, level] : settings.levels) {
            if (category == -1) {
                m_Categories.clear();
            }
            (category == -1 || category == -2 ? m_Default : m_Categories[category]) = level;
        }
    }

private:
    static int LevelOfShortcut(unsigned char character)
    {
        static constexpr int LEVELS[] = {9999, 4000, 3000, 2000, 1000};
        return character < '0' || character > '9' ? 9999 : LEVELS[character > '4' ? 4 : character - '0'];
    }

    std::map<int, int> m_Categories;
    int m_Default = 9999;
};

void RequireSettings(const CQOptionParser& parser, const SOptionSettings& expected, std::uint32_t count)
{
    Require(parser.GetDefaultLevel() == expected.level, "the default level is the reference's");
    Require(parser.GetColorSetting() == expected.color, "colour is the reference's");
    Require(std::wstring(parser.GetLogFileName().c_str(), parser.GetLogFileName().length()) == expected.name,
            "the file name is the reference's");
    Require(parser.GetLogFileSize() == expected.size, "the file size is the reference's");
    Require(parser.GetMaxCountLogFiles() == count, "the number of files is the reference's");
    Require(parser.GetNumberOfLevelSettings() == expected.levels.size(),
            "there are as many levels as in the reference");
    std::vector<SLevelDef> levels(expected.levels.size());
    parser.GetLevelSettings(levels.data());
    for (std::size_t i = 0; i < levels.size(); ++i) {
        Require(levels[i].category == expected.levels[i].first && levels[i].level == expected.levels[i].second,
                "each level is the reference's");
    }
}

} // namespace

/// Some strings one after the other, by one parser and by the library itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    FakePlatform platform;
    SetLogOptions(L"0");
    Levels levels;
    CQOptionParser reused;
    std::uint32_t count = 0; // what N gives lasts from one parse to the next
    for (int strings = 0; strings < 4 && data.remaining_bytes() != 0; ++strings) {
        const std::wstring options = ConsumeWide(data, 400);
        const SOptionSettings expected = SettingsByReference(options);

        CQOptionParser fresh;
        fresh.ParseOptions(options.c_str());
        RequireSettings(fresh, expected, expected.count);
        reused.ParseOptions(options.c_str());
        count = expected.hasCount ? expected.count : count;
        RequireSettings(reused, expected, count);

        SetLogOptions(options.c_str());
        levels.Apply(options, expected);
        Require(std::vector<int>(g_pLogLevels, g_pLogLevels + g_MaxLogLevels) == levels.First(1000),
                "the levels of all categories are the reference's");
        Require(options.size() == 1 || g_BuiltInLogger.m_UseColor == expected.color, "colour is used as asked for");
    }
    SetLogOptions(L""); // closes the file
    return 0;
}
