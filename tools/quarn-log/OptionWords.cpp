#include "OptionWords.h"

#include "OptionHints.h"
#include "Utf8.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <utility>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::wstring_view DIGITS = L"0123456789";

/// Whether digits are those of this number.
bool IsNumber(std::wstring_view digits, std::uint64_t number)
{
    digits.remove_prefix(std::min(digits.find_first_not_of(L'0'), digits.size() - 1));
    return digits == std::to_wstring(number);
}

/// The largest number there is for digits of more.
std::uint64_t ValueOf(std::wstring_view digits) { return std::wcstoull(std::wstring(digits).c_str(), nullptr, 10); }

/// A number as the parser takes it: what is written in front of its digits, they, and what is behind them.
struct SWrittenNumber
{
    std::wstring_view sign;
    std::wstring_view digits;
    std::wstring_view rest;
};

SWrittenNumber SplitNumber(std::wstring_view value)
{
    const auto isSpace = [](wchar_t character) { return std::iswspace(static_cast<std::wint_t>(character)) != 0; };
    value.remove_prefix(
        static_cast<std::size_t>(std::find_if_not(value.begin(), value.end(), isSpace) - value.begin()));
    const std::size_t signs = !value.empty() && (value.front() == L'-' || value.front() == L'+') ? 1 : 0;
    const std::size_t end = std::min(value.find_first_not_of(DIGITS, signs), value.size());
    return {value.substr(0, signs), value.substr(signs, end - signs), value.substr(end)};
}

/// Collects the warnings of one option.
class Warner
{
public:
    Warner(const SReadOption& option, EHints hints)
        : m_Option(option)
        , m_WithHints(hints == EHints::GIVE)
    {
    }

    std::vector<std::string> Warnings()
    {
        switch (m_Option.Letter()) {
        case L'l':
            WarnOfDefaultLevel();
            break;
        case L'o':
            WarnOfPairs();
            break;
        case L'c':
            WarnOfColor();
            break;
        case L'L':
            WarnOfFileName();
            break;
        case L'S':
            WarnOfSize();
            break;
        case L'N':
            WarnOfCount();
            break;
        default:
            Warn("there is no option " + Quote(m_Option.text.substr(0, 1)) + ": it is passed over" +
                 Hint(HintForUnknown, m_Option.text));
        }
        return std::move(m_Warnings);
    }

private:
    void Warn(const std::string& warning) { m_Warnings.push_back(warning); }

    std::string Hint(std::string (*hint)(std::wstring_view), std::wstring_view text) const
    {
        return m_WithHints ? hint(text) : std::string();
    }

    void WarnOfRest(std::wstring_view rest)
    {
        if (!rest.empty()) {
            Warn(Quote(rest) + " is passed over" + Hint(HintForRest, rest));
        }
    }

    void WarnOfDefaultLevel()
    {
        const std::wstring_view value = m_Option.Value();
        if (value.empty()) {
            Warn("the level is missing");
        } else if (value.front() == L';') {
            Warn("the \";\" is taken for the level; what follows is the rest of this option and passed over");
        } else if (m_Option.defaultLevel == LEVEL_NONE) {
            WarnOfNoLevel(value);
        } else if (const std::string hint = HintForLevelNumber(value); !hint.empty()) {
            Warn("only the first character counts" + hint);
        } else {
            const std::wstring_view word = LeadingWord(value);
            const std::wstring_view rest = value.substr(word.size());
            if (IsWordFor(m_Option.defaultLevel, word)) {
                WarnOfRest(rest);
                return;
            }
            Warn("only the first letter of " + Quote(word) + " counts");
            if (const std::string assigned = Hint(HintForAssigned, rest); !assigned.empty()) {
                Warn(Quote(rest) + " is passed over" + assigned);
            } else {
                WarnOfRest(rest);
            }
        }
    }

    void WarnOfNoLevel(std::wstring_view value)
    {
        const std::wstring_view word = LeadingWord(value);
        if (MeansNothing(value)) {
            return;
        }
        if (MeansNothing(word)) {
            WarnOfRest(value.substr(word.size()));
            return;
        }
        Warn(Quote(value.substr(0, 1)) + " is no level: nothing is logged" + Hint(HintForLevel, value));
    }

    void WarnOfPairs()
    {
        const auto isClean = [](const SReadPair& pair) { return WarningsOf(pair).empty(); };
        if (m_Option.pairs.empty()) {
            Warn("the category and the level are missing");
        } else if (m_WithHints && !std::all_of(m_Option.pairs.begin(), m_Option.pairs.end(), isClean)) {
            if (const std::string hint = HintForPairs(m_Option.Value()); !hint.empty()) {
                Warn("numbers and single letters stand in turn, with nothing between them" + hint);
            }
        }
    }

    void WarnOfColor()
    {
        const std::wstring_view word = LeadingWord(m_Option.text);
        const std::wstring_view rest = m_Option.text.substr(IsWordForColor(word) ? word.size() : 1);
        if (MeansOff(rest)) {
            Warn(Quote(rest) + " is passed over; there is colour unless the c is left out");
        } else {
            WarnOfRest(rest);
        }
    }

    void WarnOfFileName()
    {
        const std::wstring_view name = m_Option.Value();
        if (name.empty()) {
            Warn("the name is missing");
        } else if (const std::string hint = Hint(HintForFileName, name); !hint.empty()) {
            Warn(Quote(name) + " is the name of a file" + hint);
        }
    }

    void WarnOfSize()
    {
        const SWrittenNumber written = SplitNumber(m_Option.Value());
        WarnOfNumber(written, m_Option.size);
        if (written.digits.empty() || !m_Warnings.empty()) {
            return;
        }
        if (written.rest == L"k" || written.rest == L"M") {
            const std::uint64_t unit = written.rest == L"k" ? 1024 : 1048576;
            if (ValueOf(written.digits) * unit != m_Option.size) {
                Warn("the product does not fit into 32 bits, its upper bits are lost: " + MeaningOf(m_Option));
            }
        } else if (!written.rest.empty()) {
            const std::string hint = m_WithHints ? HintForUnit(written.digits, written.rest) : std::string();
            Warn("only k and M at the very end are units: " + Quote(written.rest) + " is passed over" +
                 (hint.empty() ? Hint(HintForRest, written.rest) : hint));
        }
    }

    void WarnOfCount()
    {
        const SWrittenNumber written = SplitNumber(m_Option.Value());
        WarnOfNumber(written, m_Option.count);
        if (written.digits.empty()) {
            return;
        }
        WarnOfRest(written.rest);
        if (m_Option.count == 0) {
            Warn("0 is taken as 1");
        }
    }

    void WarnOfNumber(const SWrittenNumber& written, std::uint32_t understood)
    {
        if (written.digits.empty()) {
            Warn("the number is missing and taken as 0" + Hint(HintForNumber, m_Option.text));
        } else if (written.sign == L"-" && !IsNumber(written.digits, 0)) {
            Warn("a negative number is taken as " + std::to_string(understood));
        } else if (ValueOf(written.digits) > UINT32_MAX) {
            Warn("the number does not fit into 32 bits and is taken as 4294967295");
        }
    }

    const SReadOption& m_Option;
    bool m_WithHints;
    std::vector<std::string> m_Warnings;
};

std::string MeaningOfSize(std::uint32_t size)
{
    if (size == 0) {
        return "no limit to the size of the file";
    }
    return "a file of " + Bytes(std::to_string(size)) + " or more is put aside, and a new one begun";
}

bool IsVisible(wchar_t character)
{
    const auto code = static_cast<std::uint32_t>(character);
    const auto isIn = [code](std::uint32_t first, std::uint32_t last) { return code >= first && code <= last; };
    return !(code < 0x20 || isIn(0x7F, 0xA0) || code == 0xAD || isIn(0x2000, 0x200F) || isIn(0x2028, 0x202F) ||
             isIn(0x205F, 0x206F) || code == 0x3000 || isIn(0xD800, 0xDFFF) || code == 0xFEFF || isIn(0xFFF0, 0xFFFF) ||
             code > 0x10FFFF);
}

} // namespace

std::string Shown(std::wstring_view text)
{
    std::string shown;
    for (const wchar_t character : text) {
        if (IsVisible(character)) {
            shown += ToUtf8({&character, 1});
        } else {
            char code[16];
            std::snprintf(code, sizeof code, "<U+%04X>", static_cast<unsigned int>(character));
            shown += code;
        }
    }
    return shown;
}

std::string Quote(std::wstring_view text) { return '"' + Shown(text) + '"'; }

std::string Bytes(const std::string& number) { return number + (number == "1" ? " byte" : " bytes"); }

std::string Passes(int level)
{
    switch (level) {
    case LEVEL_DEBUG:
        return "everything from debug (1000) on";
    case LEVEL_INFO:
        return "everything from info (2000) on";
    case LEVEL_WARNING:
        return "warnings (3000) and errors";
    case LEVEL_ERROR:
        return "errors (4000)";
    default:
        return "nothing (" + std::to_string(level) + ")";
    }
}

std::string MeaningOf(const SReadOption& option)
{
    switch (option.Letter()) {
    case L'l':
        return "by default, " + Passes(option.defaultLevel);
    case L'o':
        return "levels of single categories";
    case L'c':
        return "lines are coloured, in files too";
    case L'L':
        return "lines go to the file of this name";
    case L'S':
        return MeaningOfSize(option.size);
    case L'N':
        return "of the files that were put aside " + std::to_string(std::max(option.count, 1U)) +
               (option.count > 1 ? " are kept" : " is kept");
    default:
        return "nothing";
    }
}

std::string MeaningOf(const SReadPair& pair)
{
    switch (pair.level.category) {
    case CATEGORY_ALL:
        return "forgets the levels of all categories; by default, " + Passes(pair.level.level);
    case CATEGORY_DEFAULT:
        return "by default, " + Passes(pair.level.level);
    default:
        return "category " + std::to_string(pair.level.category) + ": " + Passes(pair.level.level);
    }
}

std::vector<std::string> WarningsOf(const SReadOption& option, EHints hints)
{
    return Warner(option, hints).Warnings();
}

std::vector<std::string> WarningsOf(const SReadPair& pair)
{
    std::vector<std::string> warnings;
    std::wstring_view text = pair.text;
    const bool isNegative = text.front() == L'-';
    text.remove_prefix(isNegative ? 1 : 0);
    const std::wstring_view digits = text.substr(0, text.find_first_not_of(DIGITS));
    const std::wstring_view level = text.substr(digits.size());
    const std::string category = "category " + std::to_string(pair.level.category);
    if (digits.empty()) {
        warnings.push_back("there is no number in front of " + Quote(level.empty() ? pair.text : level) +
                           ": it counts for " + category);
    } else if (!IsNumber(digits, isNegative ? 0 - static_cast<std::uint64_t>(pair.level.category)
                                            : static_cast<std::uint64_t>(pair.level.category))) {
        warnings.push_back("the number does not fit into 32 bits and is taken as " +
                           std::to_string(pair.level.category));
    }
    if (level.empty()) {
        warnings.push_back("the level is missing" + HintForDigits(pair.text));
    } else if (level == L";") {
        warnings.emplace_back("the \";\" is taken for the level, and what follows belongs to this option");
    } else if (pair.level.level == LEVEL_NONE && !MeansNothing(level)) {
        warnings.push_back(Quote(level) + " is no level: nothing of " + category + " is logged");
    }
    return warnings;
}

std::vector<std::string> WarningsOfShortcut(wchar_t character)
{
    if (DIGITS.find(character) != std::wstring_view::npos) {
        return {};
    }
    const auto low = static_cast<wchar_t>(static_cast<unsigned char>(character));
    if (DIGITS.find(low) != std::wstring_view::npos) {
        return {"of " + Quote({&character, 1}) + " the low eight bits count, which are those of " + Quote({&low, 1})};
    }
    return {"a string of one character is a shortcut, and means nothing if it is no digit" +
            HintForUnknown({&character, 1})};
}

} // namespace Quarn::Logging::Tool
