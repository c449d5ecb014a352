#include "CQOptionParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

/// What a parser read, as plain values.
struct SRead
{
    explicit SRead(const CQOptionParser& parser)
        : level(parser.GetDefaultLevel())
        , color(parser.GetColorSetting())
        , name(parser.GetLogFileName().c_str())
        , size(parser.GetLogFileSize())
        , count(parser.GetMaxCountLogFiles())
    {
        std::vector<SLevelDef> copied(parser.GetNumberOfLevelSettings());
        parser.GetLevelSettings(copied.data());
        for (const SLevelDef& entry : copied) {
            levels.emplace_back(entry.category, entry.level);
        }
    }

    int level;
    std::vector<std::pair<int, int>> levels;
    bool color;
    std::wstring name;
    std::uint32_t size;
    std::uint32_t count;
};

SRead Parse(const wchar_t* options)
{
    CQOptionParser parser;
    parser.ParseOptions(options);
    return SRead(parser);
}

void ExpectReset(const SRead& read)
{
    EXPECT_EQ(read.level, 9999);
    EXPECT_THAT(read.levels, IsEmpty());
    EXPECT_FALSE(read.color);
    EXPECT_EQ(read.name, L"");
    EXPECT_EQ(read.size, 0u);
    EXPECT_EQ(read.count, 0u);
}

TEST(CQOptionParserTest, NewParserHasTheInitialValues) { ExpectReset(SRead(CQOptionParser())); }

TEST(CQOptionParserTest, EmptyStringReadsAsTheInitialValues) { ExpectReset(Parse(L"")); }

TEST(CQOptionParserTest, NullReadsAsTheInitialValues) { ExpectReset(Parse(nullptr)); }

TEST(CQOptionParserTest, SeparatorsAloneReadAsTheInitialValues) { ExpectReset(Parse(L";;;;")); }

TEST(CQOptionParserTest, ReadsADefaultLevelAndColour)
{
    const SRead read = Parse(L"l5;c");

    EXPECT_EQ(read.level, 1000);
    EXPECT_TRUE(read.color);
    EXPECT_THAT(read.levels, IsEmpty());
    EXPECT_EQ(read.name, L"");
    EXPECT_EQ(read.size, 0u);
    EXPECT_EQ(read.count, 0u);
}

TEST(CQOptionParserTest, ReadsEveryOptionOfAFullString)
{
    const SRead read = Parse(L"linfo;o7D;c;Llog/app-%T.txt;S1M;N5");

    EXPECT_EQ(read.level, 2000);
    EXPECT_THAT(read.levels, ElementsAre(Pair(7, 1000)));
    EXPECT_TRUE(read.color);
    EXPECT_EQ(read.name, L"log/app-%T.txt");
    EXPECT_EQ(read.size, 1048576u);
    EXPECT_EQ(read.count, 5u);
}

TEST(CQOptionParserTest, SkipsRunsOfSeparators)
{
    const SRead read = Parse(L";;l3;;;c;;");

    EXPECT_EQ(read.level, 2000);
    EXPECT_TRUE(read.color);
}

class CQOptionParserLevelTest : public testing::TestWithParam<std::pair<wchar_t, int>>
{
};

TEST_P(CQOptionParserLevelTest, CharacterMeansTheSameInBothOptions)
{
    const auto [character, level] = GetParam();
    const wchar_t byDefault[] = {L'l', character, L'\0'};
    const wchar_t byCategory[] = {L'o', L'7', L'x', L'-', character, L'\0'}; // "-": category 0

    EXPECT_EQ(Parse(byDefault).level, level);
    EXPECT_THAT(Parse(byCategory).levels, ElementsAre(Pair(7, 9999), Pair(0, level)));
}

std::vector<std::pair<wchar_t, int>> LevelsOf(std::initializer_list<std::pair<const wchar_t*, int>> groups)
{
    std::vector<std::pair<wchar_t, int>> levels;
    for (const auto& [characters, level] : groups) {
        for (const wchar_t* character = characters; *character != L'\0'; ++character) {
            levels.emplace_back(*character, level);
        }
    }
    return levels;
}

INSTANTIATE_TEST_SUITE_P(NamedLevels, CQOptionParserLevelTest,
                         testing::ValuesIn(LevelsOf({{L"Dd", 1000}, {L"Ii", 2000}, {L"Ww", 3000}, {L"Ee", 4000}})));
INSTANTIATE_TEST_SUITE_P(Others, CQOptionParserLevelTest,
                         testing::ValuesIn(LevelsOf({{L"x,. \t+ABCFnNlLoOcS;\u0164\U00010064\u0131", 9999}})));

TEST(CQOptionParserTest, DigitsAsLevelCharactersOfTheDefault)
{
    const std::pair<const wchar_t*, int> expected[] = {{L"l0", 9999}, {L"l1", 4000}, {L"l2", 3000}, {L"l3", 2000},
                                                       {L"l4", 1000}, {L"l5", 1000}, {L"l6", 9999}, {L"l7", 9999},
                                                       {L"l8", 9999}, {L"l9", 9999}};

    for (const auto& [options, level] : expected) {
        EXPECT_EQ(Parse(options).level, level) << options;
    }
}

TEST(CQOptionParserTest, CharacterWithTheLowByteOfALetterIsAnother)
{
    // U+016C and U+0143 end in the bytes of "l" and "C"; U+1006C is "l" in its low 16 bits.
    ExpectReset(Parse(L"\u016C5;\u01635;\U0001006C5;\uFF4C5"));
}

TEST(CQOptionParserTest, OnlyTheFirstLetterOfALevelWordCounts)
{
    EXPECT_EQ(Parse(L"ldebug").level, 1000);
    EXPECT_EQ(Parse(L"linfo").level, 2000);
    EXPECT_EQ(Parse(L"lwarning").level, 3000);
    EXPECT_EQ(Parse(L"lerror").level, 4000);
    EXPECT_EQ(Parse(L"lnothing").level, 9999);
}

TEST(CQOptionParserTest, LaterDefaultLevelWins) { EXPECT_EQ(Parse(L"ld;le;li").level, 2000); }

TEST(CQOptionParserTest, LaterDefaultLevelWinsAlsoIfItIsNone) { EXPECT_EQ(Parse(L"ld;l").level, 9999); }

TEST(CQOptionParserTest, EndOfStringAsLevelCharacterMeansNone) { ExpectReset(Parse(L"l")); }

TEST(CQOptionParserTest, SeparatorAsLevelCharacterIsEatenWithTheOptionBehindIt) { ExpectReset(Parse(L"l;c")); }

TEST(CQOptionParserTest, SeparatorBehindAnEatenOneEndsTheOption)
{
    const SRead read = Parse(L"l;;c");

    EXPECT_EQ(read.level, 9999);
    EXPECT_TRUE(read.color);
}

TEST(CQOptionParserTest, LetterOutsideAnOptionIsUnknown) { ExpectReset(Parse(L"55")); }

TEST(CQOptionParserTest, BlankIsAnUnknownOptionThatSwallowsTheNext) { ExpectReset(Parse(L" l3")); }

TEST(CQOptionParserTest, UnknownOptionEndsAtItsSeparator)
{
    const SRead read = Parse(L"xl3;c; S5;N2");

    EXPECT_EQ(read.level, 9999);
    EXPECT_TRUE(read.color);
    EXPECT_EQ(read.size, 0u);
    EXPECT_EQ(read.count, 2u);
}

TEST(CQOptionParserTest, LettersAreCaseSensitive) { ExpectReset(Parse(L"O7E;C;s5;n3")); }

TEST(CQOptionParserTest, ReadsSeveralPairsWithoutAnythingBetweenThem)
{
    const SRead read = Parse(L"ldebug;o7E12w");

    EXPECT_EQ(read.level, 1000);
    EXPECT_THAT(read.levels, ElementsAre(Pair(7, 4000), Pair(12, 3000)));
}

TEST(CQOptionParserTest, SeveralCategoryOptionsAddUp)
{
    EXPECT_THAT(Parse(L"o7E;c;o7D;o1I").levels, ElementsAre(Pair(7, 4000), Pair(7, 1000), Pair(1, 2000)));
}

TEST(CQOptionParserTest, CategoryWithoutALevelGetsNone)
{
    EXPECT_THAT(Parse(L"o5").levels, ElementsAre(Pair(5, 9999)));
}

TEST(CQOptionParserTest, ReadsANegativeCategory) { EXPECT_THAT(Parse(L"o-3I").levels, ElementsAre(Pair(-3, 2000))); }

TEST(CQOptionParserTest, CategoryOptionWithoutAValueAddsNothing)
{
    EXPECT_THAT(Parse(L"o").levels, IsEmpty());
    EXPECT_THAT(Parse(L"o;").levels, IsEmpty());
}

TEST(CQOptionParserTest, EmptyCategoryOptionLeavesItsSeparatorAlone) { EXPECT_TRUE(Parse(L"o;c").color); }

TEST(CQOptionParserTest, CommaBetweenPairsIsReadAsALevel)
{
    EXPECT_THAT(Parse(L"o5,6E").levels, ElementsAre(Pair(5, 9999), Pair(6, 4000)));
}

TEST(CQOptionParserTest, SeparatorBehindACategoryIsEatenAsItsLevel)
{
    const SRead read = Parse(L"o5;c");

    EXPECT_THAT(read.levels, ElementsAre(Pair(5, 9999), Pair(0, 9999)));
    EXPECT_FALSE(read.color);
}

TEST(CQOptionParserTest, SeparatorBehindACategoryAtTheEndIsEatenToo)
{
    EXPECT_THAT(Parse(L"o5;").levels, ElementsAre(Pair(5, 9999)));
}

TEST(CQOptionParserTest, LevelWordInACategoryOptionMakesPairsOfItsLetters)
{
    EXPECT_THAT(Parse(L"o7err").levels, ElementsAre(Pair(7, 4000), Pair(0, 9999), Pair(0, 9999)));
}

TEST(CQOptionParserTest, DigitsOfACategoryAreNeverTakenForItsLevel)
{
    EXPECT_THAT(Parse(L"o72").levels, ElementsAre(Pair(72, 9999)));
}

TEST(CQOptionParserTest, MinusWithoutDigitsIsCategoryZero)
{
    EXPECT_THAT(Parse(L"o-E--D").levels, ElementsAre(Pair(0, 4000), Pair(0, 9999), Pair(0, 1000)));
}

TEST(CQOptionParserTest, LeadingZerosOfACategoryDoNotCount)
{
    EXPECT_THAT(Parse(L"o007E-01D").levels, ElementsAre(Pair(7, 4000), Pair(-1, 1000)));
}

TEST(CQOptionParserTest, CategoryWrapsInThirtyTwoBits)
{
    const auto levels = Parse(L"o2147483647E2147483648E4294967295E4294967296E4294967301E").levels;

    EXPECT_THAT(levels, ElementsAre(Pair(2147483647, 4000), Pair(-2147483647 - 1, 4000), Pair(-1, 4000), Pair(0, 4000),
                                    Pair(5, 4000)));
}

TEST(CQOptionParserTest, NegativeCategoryWrapsInThirtyTwoBits)
{
    EXPECT_THAT(Parse(L"o-2147483648E-2147483649E-4294967297E").levels,
                ElementsAre(Pair(-2147483647 - 1, 4000), Pair(2147483647, 4000), Pair(-1, 4000)));
}

TEST(CQOptionParserTest, OtherScriptsDigitsAreNoDigits)
{
    EXPECT_THAT(Parse(L"o\u0665E").levels, ElementsAre(Pair(0, 9999), Pair(0, 4000))); // Arabic-Indic five
}

TEST(CQOptionParserTest, KeepsMorePairsThanItsFirstRoomHolds)
{
    std::wstring options = L"o";
    for (int category = 1; category <= 100; ++category) {
        options += std::to_wstring(category) + L"E";
    }

    const SRead read = Parse(options.c_str());

    ASSERT_EQ(read.levels.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        ASSERT_THAT(read.levels[static_cast<std::size_t>(i)], Pair(i + 1, 4000));
    }
}

TEST(CQOptionParserTest, RestOfTheColourOptionIsIgnored)
{
    const SRead read = Parse(L"colour=off;l1");

    EXPECT_TRUE(read.color);
    EXPECT_EQ(read.level, 4000);
}

TEST(CQOptionParserTest, FileNameTakesEverythingUpToTheSeparator)
{
    EXPECT_EQ(Parse(L"L my dir/l5,c%T\u00E4\U0001F600.txt;c").name, L" my dir/l5,c%T\u00E4\U0001F600.txt");
}

TEST(CQOptionParserTest, SeveralFileNamesAreJoined) { EXPECT_EQ(Parse(L"Llog;Lfile").name, L"logfile"); }

TEST(CQOptionParserTest, FileNameOptionWithoutAValueAddsNothing) { EXPECT_EQ(Parse(L"Llog;L;c").name, L"log"); }

TEST(CQOptionParserTest, LongFileNameStaysWhole)
{
    const std::wstring name(5000, L'n');

    EXPECT_EQ(Parse((L"L" + name).c_str()).name, name);
}

TEST(CQOptionParserTest, SecondParseStartsAfreshButForTheNumberOfFiles)
{
    CQOptionParser parser;
    parser.ParseOptions(L"l5;o7E;c;Llog;S10k;N5");

    parser.ParseOptions(L"");

    const SRead read(parser);
    EXPECT_EQ(read.level, 9999);
    EXPECT_THAT(read.levels, IsEmpty());
    EXPECT_FALSE(read.color);
    EXPECT_EQ(read.name, L"");
    EXPECT_EQ(read.size, 0u);
    EXPECT_EQ(read.count, 5u) << "kept on purpose";
}

TEST(CQOptionParserTest, ParsingNullAfterAStringStartsAfreshToo)
{
    CQOptionParser parser;
    parser.ParseOptions(L"l5;o7E;c;Llog;S10k;N5");

    parser.ParseOptions(nullptr);

    const SRead read(parser);
    EXPECT_EQ(read.level, 9999);
    EXPECT_THAT(read.levels, IsEmpty());
    EXPECT_EQ(read.count, 5u);
}

class PieceRecorder final : public CQOptionParser::Observer
{
public:
    void PairRead(const wchar_t* begin, const wchar_t* end) override
    {
        pieces.push_back(L"pair " + std::wstring(begin, end));
    }
    void OptionRead(const wchar_t* begin, const wchar_t* end) override { pieces.emplace_back(begin, end); }

    std::vector<std::wstring> pieces;
};

TEST(CQOptionParserTest, ObserverIsToldOfEachPieceWithWhatItConsumed)
{
    CQOptionParser parser;
    PieceRecorder recorder;

    parser.ParseOptions(L";;l;c;x y;o7E;-3;o12w;S1M;;", &recorder);

    EXPECT_THAT(recorder.pieces, ElementsAre(L"l;c", L"x y", L"pair 7E", L"o7E", L"-3", L"pair 12w", L"o12w", L"S1M"));
}

} // namespace
