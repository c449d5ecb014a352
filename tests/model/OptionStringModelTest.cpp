#include "CQOptionParser.h"

#include "SeededRandom.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

/// Settings as an options string gives them.
struct SSettings
{
    int level = 9999;
    std::vector<std::pair<int, int>> levels;
    bool color = false;
    std::wstring name;
    std::uint32_t size = 0;
    std::uint32_t count = 0;
};

// The grammar once more, as tables and digit strings, and without any position in the text that moves.

constexpr std::pair<std::wstring_view, int> LEVEL_CHARACTERS[] = {
    {L"Dd54", 1000}, {L"Ii3", 2000}, {L"Ww2", 3000}, {L"Ee1", 4000}};

int LevelOf(wchar_t character)
{
    for (const auto& [characters, level] : LEVEL_CHARACTERS) {
        if (characters.find(character) != std::wstring_view::npos) {
            return level;
        }
    }
    return 9999;
}

/// These two split off what is in front of the first character that is not, or that is, one of a set.
std::wstring_view TakeWhile(std::wstring_view& text, std::wstring_view set)
{
    const std::wstring_view taken = text.substr(0, text.find_first_not_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

std::wstring_view TakeUpTo(std::wstring_view& text, std::wstring_view set)
{
    const std::wstring_view taken = text.substr(0, text.find_first_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

constexpr std::wstring_view DIGITS = L"0123456789";
constexpr std::wstring_view WHITE_SPACE = L" \t\n\v\f\r"; // of the locale "C"

/// A decimal number of any length: modulo 2^32, and whether it is 2^32 or more.
std::pair<std::uint32_t, bool> ValueOf(std::wstring_view digits)
{
    std::uint64_t value = 0;
    bool large = false;
    for (const wchar_t digit : digits) {
        value = value * 10 + DIGITS.find(digit);
        large = large || value > 0xFFFFFFFF;
        value &= 0xFFFFFFFF;
    }
    return {static_cast<std::uint32_t>(value), large};
}

int TakeCategory(std::wstring_view& text)
{
    const bool negative = !text.empty() && text.front() == L'-';
    text.remove_prefix(negative ? 1 : 0);
    const std::uint32_t value = ValueOf(TakeWhile(text, DIGITS)).first;
    return static_cast<int>(negative ? 0 - value : value);
}

/// The number at the front, and what is behind it; all of the text if there is none.
std::pair<std::uint32_t, std::wstring_view> NumberOf(const std::wstring_view text)
{
    std::wstring_view rest = text;
    TakeWhile(rest, WHITE_SPACE);
    const bool negative = !rest.empty() && rest.front() == L'-';
    rest.remove_prefix(!rest.empty() && (rest.front() == L'-' || rest.front() == L'+') ? 1 : 0);
    const std::wstring_view digits = TakeWhile(rest, DIGITS);
    if (digits.empty()) {
        return {0, text};
    }
    const auto [value, large] = ValueOf(digits);
    return {large ? 0xFFFFFFFF : negative ? 0 - value : value, rest};
}

void ApplyLevelOption(std::wstring_view& text, SSettings& settings)
{
    settings.level = text.empty() ? 9999 : LevelOf(text.front());
    text.remove_prefix(text.empty() ? 0 : 1); // a ";" too
    TakeUpTo(text, L";");
}

void ApplyCategoryOption(std::wstring_view& text, SSettings& settings)
{
    while (!text.empty() && text.front() != L';') {
        const int category = TakeCategory(text);
        settings.levels.emplace_back(category, text.empty() ? 9999 : LevelOf(text.front()));
        text.remove_prefix(text.empty() ? 0 : 1); // a ";" too
    }
}

SSettings Model(std::wstring_view text)
{
    SSettings settings;
    for (TakeWhile(text, L";"); !text.empty(); TakeWhile(text, L";")) {
        const wchar_t letter = text.front();
        text.remove_prefix(1);
        if (letter == L'l') {
            ApplyLevelOption(text, settings);
            continue;
        }
        if (letter == L'o') {
            ApplyCategoryOption(text, settings);
            continue;
        }
        const std::wstring_view value = TakeUpTo(text, L";");
        const auto [number, rest] = NumberOf(value);
        if (letter == L'c') {
            settings.color = true;
        } else if (letter == L'L') {
            settings.name += value;
        } else if (letter == L'S') {
            settings.size = rest == L"M" ? number << 20 : rest == L"k" ? number << 10 : number;
        } else if (letter == L'N') {
            settings.count = number;
        }
    }
    return settings;
}

std::wstring Noise(SeededRandom& random, int maxLength)
{
    static constexpr wchar_t ODD[] = {L'\u016C', L'\u0133',     L'\u0665', L'\U0001006C', L'\uFF4C',
                                      L'\u00A0', L'\U0010FFFF', L'\x7F',   L'\x01',       L'\n',
                                      L'\t',     L' ',          L'%',      L'\\'};
    static constexpr wchar_t USUAL[] = L"locLSN;;;;0123456789-+DdIiWwEekMKx,. T";
    std::wstring noise;
    for (int length = random.Between(0, maxLength); length > 0; --length) {
        noise += random.OneIn(6) ? random.AnyOf(ODD) : USUAL[random.Between(0, static_cast<int>(std::size(USUAL)) - 2)];
    }
    return noise;
}

std::wstring Number(SeededRandom& random)
{
    static constexpr const wchar_t* EDGES[] = {L"0",
                                               L"2147483647",
                                               L"2147483648",
                                               L"4294967295",
                                               L"4294967296",
                                               L"4294967301",
                                               L"18446744073709551615",
                                               L"18446744073709551616",
                                               L"99999999999999999999",
                                               L"4194304",
                                               L"4095",
                                               L"4096",
                                               L"184467440737095516160000000000000000000"};
    static constexpr const wchar_t* SIGNS[] = {L"", L"", L"", L"-", L"+", L"--", L" ", L" -", L"\t+"};
    const std::wstring digits = random.OneIn(2) ? random.AnyOf(EDGES) : std::to_wstring(random.Between(0, 1200));
    return random.AnyOf(SIGNS) + digits;
}

/// An option that is more or less well-formed.
std::wstring Option(SeededRandom& random)
{
    static constexpr const wchar_t* SUFFIXES[] = {L"", L"k", L"M", L"K", L"kB", L" M", L"MM", L"x"};
    static constexpr const wchar_t* WORDS[] = {L"debug", L"info", L"warning", L"error", L"5", L"6", L"0", L"", L"D"};
    std::wstring option;
    switch (random.Between(0, 6)) {
    case 0:
        return std::wstring(L"l") + random.AnyOf(WORDS);
    case 1:
        option = L"o";
        for (int pairs = random.Between(0, random.OneIn(8) ? 80 : 4); pairs > 0; --pairs) {
            option += random.OneIn(3) ? Number(random) : std::to_wstring(random.Between(-5, 1005));
            option += std::wstring(random.AnyOf(WORDS)).substr(0, 1);
        }
        return option;
    case 2:
        return L"c";
    case 3:
        return L"L" + Noise(random, 8);
    case 4:
        option = L"S" + Number(random);
        return option + random.AnyOf(SUFFIXES);
    case 5:
        option = L"N" + Number(random);
        return option + random.AnyOf(SUFFIXES);
    default:
        return Noise(random, 5);
    }
}

std::wstring OptionString(SeededRandom& random)
{
    std::wstring options;
    for (int count = random.Between(0, 7); count > 0; --count) {
        options += Option(random);
        options += random.OneIn(10) ? L";;" : random.OneIn(20) ? L"" : L";";
    }
    return options;
}

/// Printable, to be put into a unit test.
std::string Literal(const std::wstring& text)
{
    std::ostringstream literal;
    for (const wchar_t character : text) {
        if (character >= L' ' && character < 127) {
            literal << static_cast<char>(character);
        } else {
            literal << "\\x" << std::hex << static_cast<std::uint32_t>(character) << std::dec << "\"\"";
        }
    }
    return literal.str();
}

void ExpectReadAsModelled(const std::wstring& options)
{
    const SSettings expected = Model(options);
    CQOptionParser parser;

    parser.ParseOptions(options.c_str());

    ASSERT_EQ(parser.GetDefaultLevel(), expected.level);
    ASSERT_EQ(parser.GetColorSetting(), expected.color);
    ASSERT_EQ(std::wstring(parser.GetLogFileName().c_str()), expected.name);
    ASSERT_EQ(parser.GetLogFileSize(), expected.size);
    ASSERT_EQ(parser.GetMaxCountLogFiles(), expected.count);
    ASSERT_EQ(parser.GetNumberOfLevelSettings(), expected.levels.size());
    std::vector<SLevelDef> levels(expected.levels.size());
    parser.GetLevelSettings(levels.data());
    for (std::size_t i = 0; i < levels.size(); ++i) {
        ASSERT_EQ(std::make_pair(levels[i].category, levels[i].level), expected.levels[i]) << "pair " << i;
    }
}

TEST(OptionStringModelTest, OptionsAreReadAsModelled)
{
    SeededRandom random;
    for (int round = 0; round < 30000 && !testing::Test::HasFailure(); ++round) {
        const std::wstring options = OptionString(random);
        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(random.Seed()) + " L\"" + Literal(options) + '"');
        ExpectReadAsModelled(options);
    }
}

TEST(OptionStringModelTest, NoiseIsReadAsModelled)
{
    SeededRandom random;
    for (int round = 0; round < 30000 && !testing::Test::HasFailure(); ++round) {
        const std::wstring options = Noise(random, 60);
        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(random.Seed()) + " L\"" + Literal(options) + '"');
        ExpectReadAsModelled(options);
    }
}

} // namespace
