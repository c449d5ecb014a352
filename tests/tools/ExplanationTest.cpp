#include "Explanation.h"
#include "OptionsReading.h"

#include "OptionStringReference.h"
#include "SeededRandom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;
using namespace QuarnTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr double RATE = 10000;

void Collect(const std::vector<SExplainedPart>& parts, std::vector<std::string>& warnings)
{
    for (const SExplainedPart& part : parts) {
        warnings.insert(warnings.end(), part.warnings.begin(), part.warnings.end());
        Collect(part.parts, warnings);
    }
}

std::vector<std::string> WarningsFor(const std::wstring& string, double rate = RATE)
{
    const SExplanation explanation = Explain(string, ReadOptionsString(string), rate);
    std::vector<std::string> warnings;
    Collect(explanation.options, warnings);
    warnings.insert(warnings.end(), explanation.warnings.begin(), explanation.warnings.end());
    EXPECT_EQ(explanation.CountWarnings(), warnings.size());
    return warnings;
}

/// A string and all that is to be said against it.
struct SWarned
{
    const wchar_t* string;
    std::vector<std::string> warnings;
};

void PrintTo(const SWarned& warned, std::ostream* out) { *out << testing::PrintToString(std::wstring(warned.string)); }

class WarningsTest : public testing::TestWithParam<SWarned>
{
};

TEST_P(WarningsTest, AreThese) { EXPECT_EQ(WarningsFor(GetParam().string), GetParam().warnings); }

const char* const NO_LEVEL = "no option sets a level: nothing is logged";
const char* const NO_FOLDER = "the name has no folder: files are never removed and pile up; write L./";
const char* const RATE_WARNING = ": each needs a second of its own for its name, so that the dispatcher is held up for "
                                 "the rest of every second, and messages are lost when the queue is full";

INSTANTIATE_TEST_SUITE_P(
    Levels, WarningsTest,
    testing::Values(
        SWarned{L"info", {"there is no option \"i\": it is passed over; write linfo", NO_LEVEL}},
        SWarned{L"TRACE", {"there is no option \"T\": it is passed over; write ldebug", NO_LEVEL}},
        SWarned{L"l=info", {"\"=\" is no level: nothing is logged; write linfo"}},
        SWarned{L"l info", {"\" \" is no level: nothing is logged; write linfo"}},
        SWarned{L"ltrace", {"\"t\" is no level: nothing is logged; write ldebug"}},
        SWarned{L"lfatal", {"\"f\" is no level: nothing is logged; write lerror"}},
        SWarned{L"lnotice", {"\"n\" is no level: nothing is logged; write linfo"}},
        SWarned{L"l6", {"\"6\" is no level: nothing is logged; 6 to 9 mean debug as the whole string alone"}},
        SWarned{L"l2000", {"only the first character counts; write linfo"}},
        SWarned{L"lemergency", {"only the first letter of \"emergency\" counts"}},
        SWarned{L"log/app.txt", {"\"o\" is no level: nothing is logged; write Llog/app-%T.txt"}},
        SWarned{L"level=info", {"only the first letter of \"evel\" counts", "\"=info\" is passed over; write linfo"}},
        SWarned{L"level: W", {"only the first letter of \"evel\" counts", "\": W\" is passed over; write lW"}},
        SWarned{L"level = info",
                {"only the first letter of \"evel\" counts", "\" = info\" is passed over; write linfo"}},
        SWarned{L"level=x", {"only the first letter of \"evel\" counts", "\"=x\" is passed over; write lx"}},
        SWarned{L"log=info", {"\"o\" is no level: nothing is logged; write linfo"}},
        SWarned{L"loglevel:WARN", {"\"o\" is no level: nothing is logged; write lWARN"}},
        SWarned{L"log=/var/app.txt", {"\"o\" is no level: nothing is logged; write L/var/app-%T.txt"}},
        SWarned{L"linfo,c", {"\",c\" is passed over; a \";\" is missing in front of \"c\""}},
        SWarned{L"linfo o7D", {"\" o7D\" is passed over; a \";\" is missing in front of \"o7D\""}},
        SWarned{L"linfo\n", {"\"<U+000A>\" is passed over"}},
        SWarned{L"l0,c", {"\",c\" is passed over; a \";\" is missing in front of \"c\""}},
        SWarned{L";l", {"the level is missing"}},
        SWarned{L"l;c", {"the \";\" is taken for the level; what follows is the rest of this option and passed over"}},
        SWarned{L"ldebug;linfo", {"another option overrides it: everything from info (2000) on"}},
        SWarned{L"o-1W;ldebug", {"another option overrides it: warnings (3000) and errors"}},
        SWarned{L"", {"the string is empty: it switches logging off, as l0 does"}}, SWarned{L";c", {NO_LEVEL}}));

INSTANTIATE_TEST_SUITE_P(
    Categories, WarningsTest,
    testing::Values(SWarned{L"o7:D",
                            {"numbers and single letters stand in turn, with nothing between them; write o7D",
                             "\":\" is no level: nothing of category 7 is logged",
                             "there is no number in front of \"D\": it counts for category 0"}},
                    SWarned{L"o7E,12w",
                            {"numbers and single letters stand in turn, with nothing between them; write o7E12w",
                             "there is no number in front of \",\": it counts for category 0",
                             "\",\" is no level: nothing of category 0 is logged"}},
                    SWarned{L"o5;c",
                            {"the \";\" is taken for the level, and what follows belongs to this option",
                             "there is no number in front of \"c\": it counts for category 0",
                             "\"c\" is no level: nothing of category 0 is logged"}},
                    SWarned{L"o72", {"the level is missing, and here no digit can be one; for category 7 write o7W"}},
                    SWarned{L"o-D", {"there is no number in front of \"D\": it counts for category 0"}},
                    SWarned{L"o4294967303D", {"the number does not fit into 32 bits and is taken as 7"}},
                    SWarned{L"o2147483648D", {"the number does not fit into 32 bits and is taken as -2147483648"}},
                    SWarned{L"o7E7D", {"another option overrides it: everything from debug (1000) on"}},
                    SWarned{L"o7E-1D", {"another option overrides it: everything from debug (1000) on"}},
                    SWarned{L"o;linfo", {"the category and the level are missing"}},
                    SWarned{L"7D", {"there is no option \"7\": it is passed over; write o7D", NO_LEVEL}}));

INSTANTIATE_TEST_SUITE_P(
    OtherOptions, WarningsTest,
    testing::Values(
        SWarned{L"linfo; c", {"there is no option \" \": it is passed over; write c"}},
        SWarned{L"linfo;C", {"there is no option \"C\": it is passed over; write c"}},
        SWarned{L"linfo;\u00A0c", {"there is no option \"<U+00A0>\": it is passed over"}},
        SWarned{L"linfo;colour=off", {"\"=off\" is passed over; there is colour unless the c is left out"}},
        SWarned{L"linfo;co7D", {"\"o7D\" is passed over; a \";\" is missing in front of \"o7D\""}},
        SWarned{L"x", {"a string of one character is a shortcut, and means nothing if it is no digit"}},
        SWarned{L"d", {"a string of one character is a shortcut, and means nothing if it is no digit; write ld"}},
        SWarned{L"\u0133", {"of \"\u0133\" the low eight bits count, which are those of \"3\""}},
        SWarned{L"3;c",
                {"there is no option \"3\": it is passed over; write l3, a digit alone must be the whole string",
                 NO_LEVEL}}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, WarningsTest,
    testing::Values(
        SWarned{L"linfo;S1M;N5", {"it has no effect without a file (L)", "it has no effect without a file (L)"}},
        SWarned{L"linfo;La/b-%T;S20K",
                {"only k and M at the very end are units: \"K\" is passed over; write S20k",
                 "at 10000 bytes a second a file is full after 0.002 s: each needs a second of "
                 "its own for its name, so that the dispatcher is held up for the rest of every "
                 "second, and messages are lost when the queue is full"}},
        SWarned{L"linfo;La/b-%T;S9999",
                {std::string("at 10000 bytes a second a file is full after 0.9999 s") + RATE_WARNING}},
        SWarned{L"linfo;La/b-%T;S1G;S1M",
                {"only k and M at the very end are units: \"G\" is passed over; write S1024M",
                 "another option overrides it: 1048576"}},
        SWarned{L"linfo;La/b-%T;S10000B",
                {"only k and M at the very end are units: \"B\" is passed over; write "
                 "S10000"}},
        SWarned{L"linfo;La/b-%T;S4096M",
                {"the product does not fit into 32 bits, its upper bits are lost: no limit to "
                 "the size of the file"}},
        SWarned{L"linfo;La/b-%T;S4294967296", {"the number does not fit into 32 bits and is taken as 4294967295"}},
        SWarned{L"linfo;La/b-%T;S-1", {"a negative number is taken as 4294967295"}},
        SWarned{L"linfo;La/b-%T;S=1M", {"the number is missing and taken as 0; write S1M"}},
        SWarned{L"linfo;La/b-%T;N5x", {"\"x\" is passed over"}}, SWarned{L"linfo;La/b-%T;N0", {"0 is taken as 1"}},
        SWarned{L"linfo;La/b-%T;N", {"the number is missing and taken as 0"}},
        SWarned{L"linfo;La/b-%T;N18446744073709551621",
                {"the number does not fit into 32 bits and is taken as 4294967295"}}));

INSTANTIATE_TEST_SUITE_P(
    Files, WarningsTest,
    testing::Values(
        SWarned{L"LDEBUG", {"\"DEBUG\" is the name of a file; write ldebug for the level", NO_LEVEL}},
        SWarned{L"linfo;Lapp.txt", {std::string(NO_FOLDER) + "app-%T.txt"}},
        SWarned{L"linfo;L/app.txt",
                {"the name has no folder: files are never removed and pile up; write L/./app-%T.txt"}},
        SWarned{L"linfo;L%T.txt", {std::string(NO_FOLDER) + "-%T.txt"}},
        SWarned{L"linfo;L=log/a.txt", {"\"=log/a.txt\" is the name of a file; write Llog/a-%T.txt"}},
        SWarned{L"linfo;L=app.txt", {"\"=app.txt\" is the name of a file; write L./app-%T.txt"}},
        SWarned{L"linfo;L: /var/log/a-%T.txt",
                {"\": /var/log/a-%T.txt\" is the name of a file; write L/var/log/a-%T.txt"}},
        SWarned{L"L=debug", {"\"=debug\" is the name of a file; write ldebug for the level", NO_LEVEL}},
        SWarned{L"linfo;L=log/a.txt,S1M",
                {"\"=log/a.txt,S1M\" is the name of a file; write Llog/a-%T.txt; a \";\" is missing in front of "
                 "\"S1M\""}},
        SWarned{L"linfo;app.txt", {"there is no option \"a\": it is passed over; write L./app-%T.txt"}},
        SWarned{L"linfo;Lapp-%T.txt", {std::string(NO_FOLDER) + "app-%T.txt"}},
        SWarned{L"linfo;L/app-%T.txt",
                {"the name has no folder: files are never removed and pile up; write L/./app-%T.txt"}},
        SWarned{
            L"linfo;Llog/app.txt;S1M;N2",
            {"the current file \"log/app.txt\" counts as an old one: with 2 time-stamped beside it, it is the first "
             "to be removed when a file is full, and what is written to it is lost; write Llog/app-%T.txt"}},
        SWarned{
            L"linfo;Llog/app_%T.txt",
            {"the current file \"log/app_.txt\" counts as an old one, which matters as soon as there is a size; write "
             "Llog/app_-%T.txt"}},
        SWarned{
            L"linfo;Llog/app%Tx;S1M;N3",
            {"the current file \"log/appx\" counts as an old one: when a file is full, of the time-stamped ones one "
             "less than 3 is kept; write Llog/app-%Tx"}},
        SWarned{L"linfo;Llog/",
                {"the current name \"log/\" is that of a folder: no file can be opened, and all lines are lost; all "
                 "files in the folder count as old ones and may be removed"}},
        SWarned{L"linfo;Llog/-%T",
                {"the current name \"log/\" is that of a folder: no file can be opened, and all lines are lost"}},
        SWarned{L"linfo;L-%T", {"the current name is empty: no file can be opened, and all lines are lost"}},
        SWarned{L"linfo;Llog-%T/app.txt",
                {"%T stands in the name of a folder: a full file cannot be renamed, as there is no such folder, and is "
                 "emptied",
                 "time-stamped files are not recognised as old ones: they are never removed and pile up"}},
        SWarned{L"linfo;Llog/%H-app-%T.txt", {"\"%H\" is text: only the first %T is the place of a time stamp"}},
        SWarned{L"linfo;Llog/app-%T-%T.txt", {"\"%T\" is text: only the first %T is the place of a time stamp"}},
        SWarned{
            L"linfo;Llog\\app-%T.txt",
            {"time-stamped files are not recognised as old ones: they are never removed and pile up",
             "\"\\\" separates folders when one is made and when old files are looked for, but not for the system"}},
        SWarned{L"linfo;Llog/\u00FCber-%T.txt",
                {"of each character the low eight bits make the name on disk, in no charset: \"log/\\xFCber.txt\""}},
        SWarned{L"linfo;Llog/\u0141-%T.txt",
                {"time-stamped files are not recognised as old ones: they are never removed and pile up",
                 "of each character the low eight bits make the name on disk, in no charset: \"log/A.txt\""}},
        SWarned{L"linfo;Llog/\u0100-%T.txt",
                {"a character whose low eight bits are 0 ends the name: no file can be opened, and all lines are lost",
                 "of each character the low eight bits make the name on disk, in no charset: \"log/\\x00.txt\""}},
        SWarned{L"linfo;L~/app-%T.txt", {"\"~\" is text, as there is no shell"}},
        SWarned{L"linfo;Llog/app-%T.txt ", {"the blank at the end is part of the name"}},
        SWarned{L"linfo;L=log/app-%T.txt", {"\"=log/app-%T.txt\" is the name of a file; write Llog/app-%T.txt"}},
        SWarned{L"linfo;Llog/app-%T.txt,S1M",
                {"\"log/app-%T.txt,S1M\" is the name of a file; a \";\" is missing in front of \"S1M\""}},
        SWarned{L"linfo;Llog/a-%T.txt;Llog/b-%T.txt",
                {"the names of several L are joined to one, \"log/a-%T.txtlog/b-%T.txt\"",
                 "%T stands in the name of a folder: a full file cannot be renamed, as there is no such folder, and is "
                 "emptied",
                 "\"%T\" is text: only the first %T is the place of a time stamp",
                 "time-stamped files are not recognised as old ones: they are never removed and pile up"}}));

class CorrectStringTest : public testing::TestWithParam<const wchar_t*>
{
};

TEST_P(CorrectStringTest, IsNotWarnedOf) { EXPECT_THAT(WarningsFor(GetParam()), IsEmpty()); }

INSTANTIATE_TEST_SUITE_P(Strings, CorrectStringTest,
                         testing::Values(L"0", L"5", L"9", L"l0", L"lnone", L"loff", L"l9999", L"linf", L"lWARN",
                                         L"lerr", L"l5;c", L"ldebug;color", L"ldebug;o7E12w;", L"o7D", L"o-3I",
                                         L"o-1W8D", L"o7n12x", L"linfo;o7D;c;Llog/app-%T.txt;S1M;N5",
                                         L"lerror;Llog/;Lapp-%T.txt", L"lerror;Llog/app-%T.txt;S10k",
                                         L"li;Llog/%T-app.txt;S 20k", L"li;L./a-%T;S0",
                                         L"li;L/var/log/my app/a-%T.log;S4095M;N100"));

/// The strings that warnings tell to write instead.
std::vector<std::string> SuggestionsIn(const std::string& warning)
{
    constexpr std::string_view BEFORE = "write ";
    const std::size_t begin = warning.find(BEFORE);
    if (begin == std::string::npos) {
        return {};
    }
    std::string suggestion = warning.substr(begin + BEFORE.size());
    for (const char* behind : {" for the level", ", a digit alone", "; a \";\" is missing"}) {
        suggestion.resize(std::min(suggestion.find(behind), suggestion.size()));
    }
    return {suggestion};
}

/// Of an option by itself; S has its file.
std::vector<std::string> WarningsForOption(const std::string& option)
{
    const std::wstring string = (option[0] == 'S' ? L"Llog/a-%T;" : L";") + std::wstring(option.begin(), option.end());
    std::vector<std::string> warnings;
    Collect(Explain(string, ReadOptionsString(string), RATE).options, warnings);
    return warnings;
}

TEST_P(WarningsTest, DoNotApplyToWhatIsToldToWriteInstead)
{
    for (const std::string& warning : GetParam().warnings) {
        for (const std::string& suggestion : SuggestionsIn(warning)) {
            EXPECT_THAT(WarningsForOption(suggestion), IsEmpty()) << suggestion;
        }
    }
}

TEST(ExplanationTest, RateDecidesWhichSizeHoldsUpTheDispatcher)
{
    const std::wstring string = L"linfo;Llog/app-%T.txt;S10k";

    EXPECT_THAT(WarningsFor(string, 10240), IsEmpty());
    EXPECT_THAT(WarningsFor(string, 10241), testing::SizeIs(1));
}

using Row = std::pair<std::string, std::string>;

WordsList ResultOf(const std::wstring& string) { return Explain(string, ReadOptionsString(string), RATE).result; }

TEST(ExplanationTest, ResultSaysWhatAProcessHas)
{
    EXPECT_THAT(
        ResultOf(L"linfo;o7D;c;Llog/app-%T.txt;S1M;N5"),
        ElementsAre(
            Row{"default level", "everything from info (2000) on"},
            Row{"category 7", "everything from debug (1000) on"},
            Row{"other categories", "the level that an earlier string gave them, else the default level"},
            Row{"colour", "on"}, Row{"file", "log/app.txt"},
            Row{"folder", "log, made if it is missing, its parents are not"},
            Row{"put aside", "at 1048576 bytes, with each list of options, at the end of the process; a file of "
                             "an earlier run at once"},
            Row{"its name then", "log/app-YYYYMMDD-hhmmss.txt"},
            Row{"kept", "5, the last in the order of names, of the files in \"log\" that begin with \"app-\" and "
                        "that end with \".txt\"; the others are removed"},
            Row{"size", "full after 105 s at 10000 bytes a second"}));
}

TEST(ExplanationTest, ShortcutLeavesColourAndOutput)
{
    EXPECT_THAT(ResultOf(L"6"), ElementsAre(Row{"default level", "everything from debug (1000) on"},
                                            Row{"other categories", "the default level, whatever earlier strings said"},
                                            Row{"colour", "as before"}, Row{"output", "as before"}));
}

TEST(ExplanationTest, NumbersAreGivenWithTheDigitsTheyNeed)
{
    const std::wstring string = L"linfo;Llog/app-%T.txt;S1";
    const SExplanation explanation = Explain(string, ReadOptionsString(string), 1);

    EXPECT_EQ(explanation.options[2].meaning, "a file of 1 byte or more is put aside, and a new one begun");
    EXPECT_THAT(explanation.result,
                testing::IsSupersetOf({Row{"put aside", "at 1 byte, with each list of options, at the end of the "
                                                        "process; a file of an earlier run at once"},
                                       Row{"size", "full after 1 s at 1 byte a second"}}));
    EXPECT_THAT(WarningsFor(L"linfo;Llog/app-%T.txt;S999999", 1e6),
                ElementsAre(std::string("at 1000000 bytes a second a file is full after 0.999999 s") + RATE_WARNING));
}

TEST(ExplanationTest, FileWithoutAFolderIsNeverRemoved)
{
    EXPECT_THAT(ResultOf(L"linfo;Lapp.txt"),
                testing::IsSupersetOf(
                    {Row{"file", "app.txt"},
                     Row{"its name then", "app.txtYYYYMMDD-hhmmss, and the ending of an earlier name with %T"},
                     Row{"kept", "all, for the name has no folder in which old ones would be looked for"},
                     Row{"size", "no limit"}}));
}

/// Any string: settings as in the reference, and each character in an option or a ";" between two.
void ExpectReadAsModelled(const std::wstring& string)
{
    const SOptionsReading reading = ReadOptionsString(string);
    const SOptionSettings expected = SettingsByReference(string);

    ASSERT_EQ(reading.levels.size(), expected.levels.size() + 1);
    EXPECT_EQ(reading.levels[0].level, expected.level);
    for (std::size_t i = 0; i < expected.levels.size(); ++i) {
        EXPECT_EQ(std::make_pair(reading.levels[i + 1].category, reading.levels[i + 1].level), expected.levels[i]);
    }
    EXPECT_EQ(reading.color, expected.color);
    EXPECT_EQ(reading.fileName, expected.name);
    EXPECT_EQ(reading.size, expected.size);
    EXPECT_EQ(reading.count, expected.count);
    std::wstring without = string;
    for (const SReadOption& option : reading.options) {
        EXPECT_EQ(option.text, std::wstring_view(string).substr(option.position, option.text.size()));
        without.replace(option.position, option.text.size(), option.text.size(), L';');
    }
    EXPECT_EQ(without, std::wstring(string.size(), L';'));
    Explain(string, reading, RATE);
}

TEST(ExplanationModelTest, SettingsAreThoseOfTheReference)
{
    static constexpr const wchar_t* PIECES[] = {
        L"l",    L"o",  L"c",  L"L", L"S", L"N",          L";",      L";",  L";",  L"debug", L"info",
        L"7",    L"-1", L"D",  L"e", L":", L"=",          L",",      L" ",  L"%T", L"log/",  L"app",
        L".txt", L"-",  L"10", L"k", L"M", L"4294967296", L"\u0100", L"\n", L"\\"};
    SeededRandom random;
    for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
        std::wstring string = L";";
        for (int pieces = random.Between(1, 14); pieces > 0; --pieces) {
            string += PIECES[random.Between(0, static_cast<int>(std::size(PIECES)) - 1)];
        }
        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(random.Seed()) + " " + testing::PrintToString(string));
        ExpectReadAsModelled(string);
    }
}

/// What is put together from the grammar alone is never warned of.
TEST(ExplanationModelTest, CorrectStringsAreNotWarnedOf)
{
    static constexpr const wchar_t* LEVELS[] = {L"D", L"debug", L"i", L"info", L"W", L"warning", L"3", L"1", L"0"};
    static constexpr const wchar_t* LETTERS[] = {L"D", L"d", L"I", L"i", L"W", L"w", L"E", L"e", L"n"};
    SeededRandom random;
    for (int round = 0; round < 5000 && !testing::Test::HasFailure(); ++round) {
        std::wstring string = std::wstring(L"l") + random.AnyOf(LEVELS);
        if (random.OneIn(2)) {
            string += L";o";
            for (int category = 0; category < 40; category += random.Between(1, 20)) {
                string += std::to_wstring(category) + random.AnyOf(LETTERS);
            }
        }
        string += random.OneIn(2) ? L";c" : L"";
        if (random.OneIn(2)) {
            string +=
                L";Llog/name-%T.txt;S" + std::to_wstring(random.Between(10, 4000)) + (random.OneIn(2) ? L"k" : L"M");
            string += L";N" + std::to_wstring(random.Between(1, 1000));
        }
        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(random.Seed()) + " " + testing::PrintToString(string));

        EXPECT_THAT(WarningsFor(string), IsEmpty());
    }
}

} // namespace
