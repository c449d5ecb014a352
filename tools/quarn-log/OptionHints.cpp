#include "OptionHints.h"

#include "FilePatternWords.h"
#include "OptionWords.h"
#include "OptionsReading.h"

#include <QuarnLogging/Logging.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::wstring_view DIGITS = L"0123456789";
constexpr std::wstring_view OPTION_LETTERS = L"locLSN";
constexpr std::wstring_view SEPARATORS = L" ,|:\t\n"; // that somebody may take for the one there is

struct SLevelWord
{
    std::wstring_view word;
    int level;
    std::wstring_view written; ///< How the level is written.
};

/// In full and in short; each stands for its beginnings, too.
constexpr SLevelWord LEVEL_WORDS[] = {
    {L"debug", LEVEL_DEBUG, L"debug"},     {L"dbg", LEVEL_DEBUG, L"debug"},
    {L"information", LEVEL_INFO, L"info"}, {L"warnings", LEVEL_WARNING, L"warning"},
    {L"wrn", LEVEL_WARNING, L"warning"},   {L"errors", LEVEL_ERROR, L"error"},
    {L"nothing", LEVEL_NONE, L"0"},        {L"none", LEVEL_NONE, L"0"},
};

/// Names that others have for levels.
constexpr SLevelWord OTHER_LEVEL_WORDS[] = {
    {L"trace", LEVEL_DEBUG, L"debug"},     {L"verbose", LEVEL_DEBUG, L"debug"},
    {L"all", LEVEL_DEBUG, L"debug"},       {L"fine", LEVEL_DEBUG, L"debug"},
    {L"full", LEVEL_DEBUG, L"debug"},      {L"notice", LEVEL_INFO, L"info"},
    {L"fatal", LEVEL_ERROR, L"error"},     {L"critical", LEVEL_ERROR, L"error"},
    {L"crit", LEVEL_ERROR, L"error"},      {L"alert", LEVEL_ERROR, L"error"},
    {L"emergency", LEVEL_ERROR, L"error"}, {L"panic", LEVEL_ERROR, L"error"},
    {L"severe", LEVEL_ERROR, L"error"},    {L"off", LEVEL_NONE, L"0"},
    {L"quiet", LEVEL_NONE, L"0"},          {L"silent", LEVEL_NONE, L"0"},
};

bool IsLetter(wchar_t character)
{
    return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z');
}

bool IsLetterOrDigit(wchar_t character) { return IsLetter(character) || (character >= L'0' && character <= L'9'); }

wchar_t Lower(wchar_t letter) { return IsLetter(letter) ? static_cast<wchar_t>(letter | 0x20) : letter; }

std::wstring Lower(std::wstring_view text)
{
    std::wstring lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](wchar_t letter) { return Lower(letter); });
    return lower;
}

bool BeginsWith(std::wstring_view text, std::wstring_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

/// Without the "=" of one who takes the option for a name.
std::wstring_view WithoutAssignment(std::wstring_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(L"=: "), text.size()));
    return text;
}

std::wstring_view WithoutPunctuation(std::wstring_view text)
{
    const auto begin = std::find_if(text.begin(), text.end(), IsLetterOrDigit);
    text.remove_prefix(static_cast<std::size_t>(begin - text.begin()));
    return text;
}

/// How the level is written that a word of two letters or more names; empty if none.
std::wstring_view WrittenLevel(std::wstring_view word)
{
    const std::wstring lower = Lower(word);
    for (const SLevelWord& known : LEVEL_WORDS) {
        if (lower.size() > 1 && BeginsWith(known.word, lower)) {
            return known.written;
        }
    }
    for (const SLevelWord& known : OTHER_LEVEL_WORDS) {
        if (known.word == lower) {
            return known.written;
        }
    }
    return {};
}

bool LooksLikePath(std::wstring_view text)
{
    return text.find(L'/') != std::wstring_view::npos || text.find(L"%T") != std::wstring_view::npos ||
           text.find(L".txt") != std::wstring_view::npos || text.find(L".log") != std::wstring_view::npos;
}

/// Whether this is one option, and one that there is nothing to say about.
bool IsCorrectOption(std::wstring_view text)
{
    if (text.empty() || OPTION_LETTERS.find(text.front()) == std::wstring_view::npos) {
        return false;
    }
    if (text.front() == L'L') {
        return LooksLikePath(text) && (IsLetterOrDigit(text[1]) || text[1] == L'/' || text[1] == L'.');
    }
    const std::wstring string = L";" + std::wstring(text); // one character alone would be a shortcut
    const SOptionsReading reading = ReadOptionsString(string);
    return reading.options.size() == 1 && WarningsOf(reading.options[0], EHints::LEAVE_OUT).empty() &&
           std::all_of(reading.options[0].pairs.begin(), reading.options[0].pairs.end(),
                       [](const SReadPair& pair) { return WarningsOf(pair).empty(); });
}

/// A file name as it is best written, so that nothing is to be said of that either.
std::string Write(std::wstring_view text)
{
    const bool isFile = text.substr(0, 1) == L"L";
    return "; write " + (isFile ? "L" + Shown(Recommended(std::wstring(text.substr(1)))) : Shown(text));
}

std::string WriteIfCorrect(const std::wstring& option)
{
    return IsCorrectOption(option) ? Write(option) : std::string();
}

std::wstring_view Trimmed(std::wstring_view text)
{
    constexpr std::wstring_view BLANKS_AND_QUOTES = L" \t\r\n\"'`";
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS_AND_QUOTES), text.size()));
    text.remove_suffix(text.size() - (text.find_last_not_of(BLANKS_AND_QUOTES) + 1));
    return text;
}

} // namespace

std::wstring_view LeadingWord(std::wstring_view text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), IsLetter);
    return text.substr(0, std::max<std::size_t>(1, static_cast<std::size_t>(end - text.begin())));
}

bool IsWordFor(int level, std::wstring_view word)
{
    return word.size() == 1 ||
           std::any_of(std::begin(LEVEL_WORDS), std::end(LEVEL_WORDS), [&](const SLevelWord& known) {
               return known.level == level && BeginsWith(known.word, Lower(word));
           });
}

bool IsWordForColor(std::wstring_view word)
{
    constexpr std::wstring_view WORDS[] = {L"c", L"col", L"color", L"colour", L"colors", L"colours"};
    return std::find(std::begin(WORDS), std::end(WORDS), word) != std::end(WORDS);
}

bool MeansNothing(std::wstring_view level)
{
    constexpr std::wstring_view WORDS[] = {L"0", L"n", L"x", L"no", L"off", L"none", L"nothing", L"9999"};
    return std::find(std::begin(WORDS), std::end(WORDS), Lower(level)) != std::end(WORDS);
}

bool MeansOff(std::wstring_view value)
{
    constexpr std::wstring_view WORDS[] = {L"0", L"off", L"no", L"none", L"never", L"false"};
    return std::find(std::begin(WORDS), std::end(WORDS), Lower(WithoutPunctuation(value))) != std::end(WORDS);
}

std::string HintForUnknown(std::wstring_view option)
{
    const std::wstring_view trimmed = Trimmed(option);
    if (trimmed.empty()) {
        return {};
    }
    if (trimmed.size() != option.size() && IsCorrectOption(trimmed)) {
        return Write(trimmed);
    }
    if (const std::wstring_view level = WrittenLevel(trimmed); !level.empty()) {
        return Write(L"l" + std::wstring(level));
    }
    const std::wstring_view alone = L"012345";
    if (trimmed.size() == 1 && alone.find(trimmed.front()) != std::wstring_view::npos) {
        return Write(L"l" + std::wstring(trimmed)) + ", a digit alone must be the whole string";
    }
    std::wstring otherCase(trimmed);
    otherCase.front() = static_cast<wchar_t>(otherCase.front() ^ 0x20);
    for (const std::wstring& meant :
         {otherCase, L"o" + std::wstring(trimmed), L"L" + std::wstring(trimmed), L"l" + std::wstring(trimmed)}) {
        if (const std::string hint = WriteIfCorrect(meant); !hint.empty() && !MeansNothing(trimmed)) {
            return hint;
        }
    }
    return {};
}

std::string HintForLevel(std::wstring_view value)
{
    if (value.size() == 1 && value[0] >= L'6' && value[0] <= L'9') {
        return "; 6 to 9 mean debug as the whole string alone";
    }
    const std::wstring_view plain = WithoutPunctuation(value);
    if (const std::string hint = WriteIfCorrect(L"l" + std::wstring(plain));
        plain.size() != value.size() && !hint.empty()) {
        return hint;
    }
    if (const std::wstring_view level = WrittenLevel(LeadingWord(plain)); !level.empty()) {
        return Write(L"l" + std::wstring(level));
    }
    if (IsLetter(value.front())) {
        if (const std::string hint = HintForAssigned(value.substr(LeadingWord(value).size())); !hint.empty()) {
            return hint;
        }
    }
    if (const std::wstring_view path = WithoutAssignment(value); path.size() != value.size() && LooksLikePath(path)) {
        return WriteIfCorrect(L"L" + std::wstring(path));
    }
    if (LooksLikePath(value)) {
        return WriteIfCorrect((BeginsWith(value, L"og") ? L"Ll" : L"L") + std::wstring(value));
    }
    return {};
}

std::string HintForAssigned(std::wstring_view rest)
{
    const std::wstring_view assignment = rest.substr(std::min(rest.find_first_not_of(L' '), rest.size()));
    return !assignment.empty() && (assignment.front() == L'=' || assignment.front() == L':') ? HintForLevel(assignment)
                                                                                             : std::string();
}

std::string HintForLevelNumber(std::wstring_view value)
{
    constexpr std::wstring_view LEVELS[][2] = {
        {L"1000", L"ldebug"}, {L"2000", L"linfo"}, {L"3000", L"lwarning"}, {L"4000", L"lerror"}};
    for (const auto& [number, option] : LEVELS) {
        if (value == number) {
            return Write(option);
        }
    }
    return {};
}

std::string HintForPairs(std::wstring_view value)
{
    constexpr std::wstring_view BETWEEN = L" :=,/+|";
    std::wstring meant = L"o";
    const std::wstring written = std::wstring(1, L'o').append(value);
    while (!value.empty()) {
        const std::size_t number = value.find_first_not_of(DIGITS, value.front() == L'-' ? 1 : 0);
        if (number == 0 || number == std::wstring_view::npos) {
            return {};
        }
        meant += value.substr(0, number);
        value.remove_prefix(std::min(value.find_first_not_of(BETWEEN, number), value.size()));
        if (value.empty()) {
            return {};
        }
        const std::wstring_view word = LeadingWord(value);
        const std::wstring_view level = word.size() > 1 ? WrittenLevel(word) : word;
        if (level.empty()) {
            return {};
        }
        meant += level == L"0" ? L'n' : level.front();
        value.remove_prefix(std::min(value.find_first_not_of(BETWEEN, word.size()), value.size()));
    }
    return meant == written ? std::string() : WriteIfCorrect(meant);
}

std::string HintForDigits(std::wstring_view pair)
{
    constexpr std::wstring_view LETTERS = L"nEWIDD"; // of the digits 0 to 5
    if (pair.size() < 2 || pair.back() < L'0' || pair.back() > L'5' || pair[pair.size() - 2] == L'-') {
        return {};
    }
    std::wstring meant = L"o" + std::wstring(pair);
    meant.back() = LETTERS[static_cast<std::size_t>(pair.back() - L'0')];
    return ", and here no digit can be one; for category " + Shown(pair.substr(0, pair.size() - 1)) + " write " +
           Shown(meant);
}

std::string HintForFileName(std::wstring_view name)
{
    if (const std::wstring_view assigned = WithoutAssignment(name);
        assigned.size() != name.size() && !assigned.empty()) {
        if (const std::wstring_view level = WrittenLevel(assigned); !level.empty()) {
            return Write(L"l" + std::wstring(level)) + " for the level";
        }
        const std::size_t separator = std::min(assigned.find_first_of(SEPARATORS), assigned.size());
        const std::string rest = HintForRest(assigned.substr(separator));
        return Write(L"L" + std::wstring(rest.empty() ? assigned : assigned.substr(0, separator))) + rest;
    }
    if (!WrittenLevel(name).empty() || name.size() == 1) {
        const std::string hint = WriteIfCorrect(L"l" + Lower(name));
        return hint.empty() ? hint : hint + " for the level";
    }
    if (name.find_first_of(L"\"'") != std::wstring_view::npos) {
        return "; the quotes are part of it";
    }
    const std::size_t separator = name.find_first_of(SEPARATORS);
    return separator == std::wstring_view::npos ? std::string() : HintForRest(name.substr(separator));
}

std::string HintForNumber(std::wstring_view option)
{
    return WriteIfCorrect(std::wstring(option.substr(0, 1)).append(WithoutPunctuation(option.substr(1))));
}

std::string HintForUnit(std::wstring_view digits, std::wstring_view unit)
{
    const std::wstring lower = Lower(Trimmed(unit));
    const std::wstring number = L"S" + std::wstring(digits);
    if (lower == L"k" || lower == L"kb" || lower == L"kib") {
        return WriteIfCorrect(number + L"k");
    }
    if (lower == L"m" || lower == L"mb" || lower == L"mib") {
        return WriteIfCorrect(number + L"M");
    }
    if (lower == L"b" || lower == L"bytes") {
        return WriteIfCorrect(number);
    }
    const unsigned long gigabytes = std::wcstoul(number.c_str() + 1, nullptr, 10);
    if ((lower == L"g" || lower == L"gb" || lower == L"gib") && gigabytes < 4) {
        return WriteIfCorrect(L"S" + std::to_wstring(gigabytes * 1024) + L"M");
    }
    return {};
}

std::string HintForRest(std::wstring_view rest)
{
    while (!rest.empty()) {
        const std::wstring_view piece = rest.substr(0, rest.find_first_of(SEPARATORS));
        if (IsCorrectOption(piece)) {
            return "; a \";\" is missing in front of " + Quote(piece);
        }
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
    }
    return {};
}

} // namespace Quarn::Logging::Tool
