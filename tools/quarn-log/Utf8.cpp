#include "Utf8.h"

#include <algorithm>
#include <cstdint>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::uint32_t REPLACEMENT = 0xFFFD;
constexpr std::uint32_t INVALID = 0xFFFFFFFF;

bool IsCharacter(std::uint32_t code) { return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF); }

/// C0 but tab and line feed, the delete character, C1.
bool IsControl(std::uint32_t code)
{
    return (code < 0x20 && code != '\t' && code != '\n') || (code >= 0x7F && code < 0xA0);
}

void Append(std::string& utf8, std::uint32_t code)
{
    const auto add = [&utf8](std::uint32_t byte) { utf8 += static_cast<char>(byte); };
    if (!IsCharacter(code)) {
        code = REPLACEMENT;
    }
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0 | code >> 6);
        add(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        add(0xE0 | code >> 12);
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    } else {
        add(0xF0 | code >> 18);
        add(0x80 | (code >> 12 & 0x3F));
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    }
}

/// Bytes of a sequence by its first byte; 0 if none begins so.
std::size_t LengthOf(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/// Takes the first character off the bytes, or their first byte alone, which is then INVALID.
std::uint32_t TakeCharacter(std::string_view& bytes)
{
    const auto first = static_cast<unsigned char>(bytes.front());
    const std::size_t length = LengthOf(first);
    std::uint32_t code = length == 1 ? first : first & (0x7FU >> length);
    bool valid = length != 0 && length <= bytes.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        valid = (byte & 0xC0) == 0x80;
        code = code << 6 | (byte & 0x3F);
    }
    // The shortest form alone counts.
    valid = valid && IsCharacter(code) && !(length == 3 && code < 0x800) && !(length == 4 && code < 0x10000);
    bytes.remove_prefix(valid ? length : 1);
    return valid ? code : INVALID;
}

} // namespace

std::string ToUtf8(std::wstring_view text)
{
    std::string utf8;
    utf8.reserve(text.size());
    for (const wchar_t character : text) {
        Append(utf8, static_cast<std::uint32_t>(character));
    }
    return utf8;
}

std::optional<std::wstring> FromUtf8(std::string_view text)
{
    std::wstring wide;
    while (!text.empty()) {
        const std::uint32_t code = TakeCharacter(text);
        if (code == INVALID) {
            return std::nullopt;
        }
        wide += static_cast<wchar_t>(code);
    }
    return wide;
}

std::string CleanUtf8(std::string_view bytes)
{
    std::string utf8;
    utf8.reserve(bytes.size());
    while (!bytes.empty()) {
        Append(utf8, TakeCharacter(bytes));
    }
    return utf8;
}

std::string WithoutControls(std::string_view text)
{
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const std::uint32_t code = TakeCharacter(text);
        Append(clean, IsControl(code) ? REPLACEMENT : code);
    }
    return clean;
}

std::wstring WithoutControls(std::wstring_view text)
{
    std::wstring clean(text);
    std::replace_if(
        clean.begin(), clean.end(), [](wchar_t character) { return IsControl(static_cast<std::uint32_t>(character)); },
        static_cast<wchar_t>(REPLACEMENT));
    return clean;
}

} // namespace Quarn::Logging::Tool
