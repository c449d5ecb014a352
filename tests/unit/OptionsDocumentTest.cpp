#include "CQOptionParser.h"
#include "LoggingGlobals.h"

#include "BuiltInLoggerReset.h"

#include <QuarnLogging/Logging.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// An example of docs/options.md and what it says that the string gives.
struct SExample
{
    const wchar_t* options;
    int level;
    std::vector<std::pair<int, int>> levels;
    bool color;
    const wchar_t* name;
    std::uint32_t size;
    std::uint32_t count;
};

void PrintTo(const SExample& example, std::ostream* out)
{
    *out << testing::PrintToString(std::wstring(example.options));
}

const std::vector<SExample>& Examples()
{
    static const std::vector<SExample> EXAMPLES = {
        {L"l5;c", 1000, {}, true, L"", 0, 0},
        {L"lwarning", 3000, {}, false, L"", 0, 0},
        {L"ldebug;o7E12w", 1000, {{7, 4000}, {12, 3000}}, false, L"", 0, 0},
        {L"o7D", 9999, {{7, 1000}}, false, L"", 0, 0},
        {L"o-3I", 9999, {{-3, 2000}}, false, L"", 0, 0},
        {L"o-1W8D", 9999, {{-1, 3000}, {8, 1000}}, false, L"", 0, 0},
        {L"linfo;o7D;c;Llog/app-%T.txt;S1M;N5", 2000, {{7, 1000}}, true, L"log/app-%T.txt", 1048576, 5},
        {L"lerror;Llog/app-%T.txt", 4000, {}, false, L"log/app-%T.txt", 0, 0},
        {L"lerror;Llog/;Lapp-%T.txt", 4000, {}, false, L"log/app-%T.txt", 0, 0},
        {L"lerror;Llog/app-%T.txt;S10k", 4000, {}, false, L"log/app-%T.txt", 10240, 0},
        {L"l0", 9999, {}, false, L"", 0, 0},
        {L"l;c", 9999, {}, false, L"", 0, 0},
        {L"o5;c", 9999, {{5, 9999}, {0, 9999}}, false, L"", 0, 0},
        {L"o5", 9999, {{5, 9999}}, false, L"", 0, 0},
        {L"o5,6E", 9999, {{5, 9999}, {6, 4000}}, false, L"", 0, 0},
        {L"o7err", 9999, {{7, 4000}, {0, 9999}, {0, 9999}}, false, L"", 0, 0},
        {L"o72", 9999, {{72, 9999}}, false, L"", 0, 0},
        {L"o7w", 9999, {{7, 3000}}, false, L"", 0, 0},
        {L"l6", 9999, {}, false, L"", 0, 0},
        {L"55", 9999, {}, false, L"", 0, 0},
        {L" l3", 9999, {}, false, L"", 0, 0},
        {L"l3; c", 2000, {}, false, L"", 0, 0},
        {L"l3;Llog/app.txt ;c", 2000, {}, true, L"log/app.txt ", 0, 0},
        {L"linfo;c", 2000, {}, true, L"", 0, 0},
        {L"linfo", 2000, {}, false, L"", 0, 0},
        {L"linfo;colour=off", 2000, {}, true, L"", 0, 0},
        {L"linfo;C", 2000, {}, false, L"", 0, 0},
        {L"o7E", 9999, {{7, 4000}}, false, L"", 0, 0},
        {L"ldebug", 1000, {}, false, L"", 0, 0},
        {L"o-1D", 9999, {{-1, 1000}}, false, L"", 0, 0},
        {L"S2K", 9999, {}, false, L"", 2, 0},
        {L"S10kB", 9999, {}, false, L"", 10, 0},
        {L"S4095M", 9999, {}, false, L"", 4293918720, 0},
        {L"S4096M", 9999, {}, false, L"", 0, 0},
        {L"S-1", 9999, {}, false, L"", 4294967295, 0},
        {L"N5x", 9999, {}, false, L"", 0, 5},
    };
    return EXAMPLES;
}

class OptionsDocumentTest : public testing::TestWithParam<SExample>
{
};

TEST_P(OptionsDocumentTest, ExampleGivesWhatTheDocumentSays)
{
    const SExample& expected = GetParam();
    CQOptionParser parser;

    parser.ParseOptions(expected.options);

    EXPECT_EQ(parser.GetDefaultLevel(), expected.level);
    EXPECT_EQ(parser.GetColorSetting(), expected.color);
    EXPECT_STREQ(parser.GetLogFileName().c_str(), expected.name);
    EXPECT_EQ(parser.GetLogFileSize(), expected.size);
    EXPECT_EQ(parser.GetMaxCountLogFiles(), expected.count);
    std::vector<SLevelDef> levels(parser.GetNumberOfLevelSettings());
    parser.GetLevelSettings(levels.data());
    ASSERT_EQ(levels.size(), expected.levels.size());
    for (std::size_t i = 0; i < levels.size(); ++i) {
        EXPECT_EQ(std::make_pair(levels[i].category, levels[i].level), expected.levels[i]);
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, OptionsDocumentTest, testing::ValuesIn(Examples()));

TEST(OptionsDocumentShortcutTest, SixAloneGivesEverything)
{
    ResetBuiltInLogger();

    SetLogOptions(L"6");

    EXPECT_TRUE(MustLog(0, 1000));
    ResetBuiltInLogger();
}

TEST(OptionsDocumentShortcutTest, CategorySurvivesALaterDefaultUntilItIsForgotten)
{
    ResetBuiltInLogger();
    SetLogOptions(L"o7E");
    SetLogOptions(L"ldebug");
    const bool passesAfterTheDefault = MustLog(7, 3000);

    SetLogOptions(L"o-1D");

    EXPECT_FALSE(passesAfterTheDefault);
    EXPECT_TRUE(MustLog(7, 1000));
    ResetBuiltInLogger();
}

TEST(OptionsDocumentTextTest, TestsHaveTheExamplesOfTheDocumentAndNoOthers)
{
    std::ifstream document(QUARN_OPTIONS_DOCUMENT);
    ASSERT_TRUE(document.is_open());
    std::set<std::wstring> inDocument;
    bool inExamples = false;
    for (std::string line; std::getline(document, line);) {
        inExamples = inExamples || line == "## Examples";
        if (inExamples && line.compare(0, 3, "| `") == 0) {
            const std::string options = line.substr(3, line.find('`', 3) - 3);
            inDocument.emplace(options.begin(), options.end());
        }
    }
    std::set<std::wstring> inTests = {L"6"};
    for (const SExample& example : Examples()) {
        inTests.emplace(example.options);
    }

    EXPECT_EQ(inDocument, inTests);
}

} // namespace
