#ifndef QUARN_LOGGING_TESTS_OPTION_STRING_REFERENCE_H
#define QUARN_LOGGING_TESTS_OPTION_STRING_REFERENCE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QuarnTest {

/// Settings as an options string gives them.
struct SOptionSettings
{
    int level = 9999;
    std::vector<std::pair<int, int>> levels;
    bool color = false;
    std::wstring name;
    std::uint32_t size = 0;
    std::uint32_t count = 0;
    bool hasCount = false; ///< Whether the string gives the count.
};

// The grammar once more, as tables and digit strings, and without any position in the text that moves.

inline constexpr std::pair<std::wstring_view, int> LEVEL_CHARACTERS[] = {
    {L"Dd54", 1000}, {L"Ii3", 2000}, {L"Ww2", 3000}, {L"Ee1", 4000}};

inline int LevelOf(wchar_t character)
{
    for (const auto& [characters, level] : LEVEL_CHARACTERS) {
        if (characters.find(character) != std::wstring_view::npos) {
            return level;
        }
    }
    return 9999;
}

/// These two split off what is in front of the first character that is not, or that is, one of a set.
inline std::wstring_view TakeWhile(std::wstring_view& text, std::wstring_view set)
{
    const std::wstring_view taken = text.substr(0, text.find_first_not_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

inline std::wstring_view TakeUpTo(std::wstring_view& text, std::wstring_view set)
{
    const std::wstring_view taken = text.substr(0, text.find_first_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

inline constexpr std::wstring_view DIGITS = L"0123456789";
inline constexpr std::wstring_view WHITE_SPACE = L" \t\n\v\f\r"; // of the locale "C"

/// A decimal number of any length: modulo 2^32, and whether it is 2^32 or more.
inline std::pair<std::uint32_t, bool> ValueOf(std::wstring_view digits)
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

inline int TakeCategory(std::wstring_view& text)
{
    const bool negative = !text.empty() && text.front() == L'-';
    text.remove_prefix(negative ? 1 : 0);
    const std::uint32_t value = ValueOf(TakeWhile(text, DIGITS)).first;
    return static_cast<int>(negative ? 0 - value : value);
}

/// The number at the front, and what is behind it; all of the text if there is none.
inline std::pair<std::uint32_t, std::wstring_view> NumberOf(const std::wstring_view text)
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

inline void ApplyLevelOption(std::wstring_view& text, SOptionSettings& settings)
{
    settings.level = text.empty() ? 9999 : LevelOf(text.front());
    text.remove_prefix(text.empty() ? 0 : 1); // a ";" too
    TakeUpTo(text, L";");
}

inline void ApplyCategoryOption(std::wstring_view& text, SOptionSettings& settings)
{
    while (!text.empty() && text.front() != L';') {
        const int category = TakeCategory(text);
        settings.levels.emplace_back(category, text.empty() ? 9999 : LevelOf(text.front()));
        text.remove_prefix(text.empty() ? 0 : 1); // a ";" too
    }
}

/// What a whole options string means.
inline SOptionSettings SettingsByReference(std::wstring_view text)
{
    SOptionSettings settings;
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
            settings.hasCount = true;
        }
    }
    return settings;
}

} // namespace QuarnTest

#endif
