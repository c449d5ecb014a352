#include "CQOptionParser.h"

#include "OptionStringReference.h"
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
    const SOptionSettings expected = SettingsByReference(options);
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
