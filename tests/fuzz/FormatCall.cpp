#include "FormatCall.h"

#include "WideInput.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace QuarnTest {

namespace {

/// What must come from the library whole if it comes from there at all: nothing is converted behind it.
constexpr const wchar_t* MALFORMED[] = {L"%", L"%y", L"%-5", L"%l", L"%.", L"%5.", L"%hhh", L"%!", L"%\x100", L"% "};

} // namespace

FormatCall::FormatCall(FuzzedDataProvider& data)
    : m_Data(data)
    , m_IsPositional(data.ConsumeIntegralInRange(0, 15) == 15)
    , m_Error(data.ConsumeIntegralInRange(0, 140))
{
    const bool reverse = m_IsPositional && data.ConsumeBool();
    for (int pieces = 0; pieces < 12 && m_Data.remaining_bytes() != 0; ++pieces) {
        const std::wstring piece = m_Data.ConsumeIntegralInRange(0, 2) == 0 ? Literal() : Conversion();
        m_Format = reverse ? piece + m_Format : m_Format + piece;
    }
    if (!m_IsPositional && m_Data.ConsumeIntegralInRange(0, 15) == 15) {
        m_Format += m_Data.PickValueInArray(MALFORMED);
    }
}

std::wstring FormatCall::Literal()
{
    std::wstring text = ConsumeWide(m_Data, 20);
    while (text.find(L'%') != std::wstring::npos) {
        text.erase(text.find(L'%'), 1);
    }
    if (m_Data.ConsumeIntegralInRange(0, 7) == 7) { // up to the end of the text, or beyond
        text.insert(0, m_Data.ConsumeIntegralInRange<std::size_t>(0, 1010), L'x');
    }
    return text;
}

std::wstring FormatCall::Conversion()
{
    const std::size_t begin = m_Arguments.size();
    if (begin == MAX_ARGUMENTS) {
        return L"%%";
    }
    m_Precision = -1;
    std::wstring flags = Flags();
    if (!m_IsPositional && MAX_ARGUMENTS - begin > 2) {
        flags += m_Data.ConsumeIntegralInRange(0, 3) == 3 ? Star() : Width();
        flags += m_Data.ConsumeIntegralInRange(0, 3) == 3 ? PrecisionStar() : Precision();
    } else {
        flags += Width();
        flags += Precision();
    }
    std::wstring conversion;
    switch (m_Data.ConsumeIntegralInRange(0, 9)) {
    case 0:
        return L"%" + flags + (m_Data.ConsumeIntegralInRange(0, 3) == 3 ? L"%" : L"m");
    case 1:
        conversion = CharacterConversion();
        break;
    case 2:
    case 3:
    case 4:
        conversion = StringConversion();
        break;
    case 5:
    case 6:
        conversion = RealConversion();
        break;
    default:
        conversion = IntegerConversion();
    }
    return L"%" + (m_IsPositional ? std::to_wstring(begin + 1) + L"$" : L"") + flags + conversion;
}

std::wstring FormatCall::Flags()
{
    static constexpr wchar_t ALL[] = {L'-', L'+', L' ', L'#', L'0', L'\'', L'I'};
    std::wstring flags;
    for (int count = m_Data.ConsumeIntegralInRange(0, 7) - 4; count > 0; --count) {
        flags += m_Data.PickValueInArray(ALL);
    }
    return flags;
}

std::wstring FormatCall::Width()
{
    switch (m_Data.ConsumeIntegralInRange(0, 7)) {
    case 0:
        return std::to_wstring(m_Data.ConsumeIntegralInRange(0, 1100));
    case 1:
    case 2:
        return std::to_wstring(m_Data.ConsumeIntegralInRange(1, 30));
    default:
        return L"";
    }
}

std::wstring FormatCall::Precision()
{
    switch (m_Data.ConsumeIntegralInRange(0, 7)) {
    case 0:
        m_Precision = m_Data.ConsumeIntegralInRange(0, 1100);
        return L"." + std::to_wstring(m_Precision);
    case 1:
    case 2:
        m_Precision = m_Data.ConsumeIntegralInRange(0, 30);
        return L"." + std::to_wstring(m_Precision);
    case 3:
        m_Precision = 0;
        return L".";
    default:
        return L"";
    }
}

/// A width, or a precision. Negative ones mean something.
std::wstring FormatCall::Star()
{
    SArgument argument{Kind::Int};
    argument.integer = m_Data.ConsumeIntegralInRange(0, 7) == 7 ? m_Data.ConsumeIntegralInRange(-1100, 1100)
                                                                : m_Data.ConsumeIntegralInRange(-10, 30);
    m_Arguments.push_back(argument);
    return L"*";
}

std::wstring FormatCall::PrecisionStar()
{
    const std::wstring star = L"." + Star();
    m_Precision = static_cast<int>(m_Arguments.back().integer);
    return star;
}

void FormatCall::AddInteger(std::size_t bytes)
{
    static constexpr long long LIMITS[] = {0,       1,       9,         10,        -1,       127,
                                           128,     255,     SCHAR_MIN, SHRT_MIN,  SHRT_MAX, USHRT_MAX,
                                           INT_MIN, INT_MAX, UINT_MAX,  LLONG_MIN, LLONG_MAX};
    SArgument argument{bytes == 8 ? Kind::LongLong : Kind::Int};
    argument.integer = m_Data.ConsumeBool() ? m_Data.PickValueInArray(LIMITS) : m_Data.ConsumeIntegral<long long>();
    m_Arguments.push_back(argument);
}

std::wstring FormatCall::IntegerConversion()
{
    static constexpr std::pair<const wchar_t*, std::size_t> MODIFIERS[] = {{L"", 4},   {L"hh", 4},
                                                                           {L"h", 4},  {L"l", sizeof(long)},
                                                                           {L"ll", 8}, {L"z", sizeof(std::size_t)},
                                                                           {L"j", 8},  {L"t", sizeof(std::ptrdiff_t)},
                                                                           {L"q", 8},  {L"Z", sizeof(std::size_t)}};
    static constexpr wchar_t LETTERS[] = {L'd', L'i', L'u', L'x', L'X', L'o'};
    const auto& [modifier, bytes] = m_Data.PickValueInArray(MODIFIERS);
    AddInteger(bytes);
    return std::wstring(modifier) + m_Data.PickValueInArray(LETTERS);
}

std::wstring FormatCall::RealConversion()
{
    static constexpr long double VALUES[] = {0.0L,
                                             -0.0L,
                                             1.0L,
                                             -1.5L,
                                             0.1L,
                                             9.9995L,
                                             0.5L,
                                             2.5L,
                                             1e15L,
                                             1e16L,
                                             1e-5L,
                                             123456789.0L,
                                             1e308L,
                                             1e-308L,
                                             5e-324L,
                                             static_cast<long double>(DBL_MAX),
                                             static_cast<long double>(DBL_MIN),
                                             LDBL_MAX,
                                             0x1p63L,
                                             0x1p64L,
                                             std::numeric_limits<long double>::infinity(),
                                             -std::numeric_limits<long double>::infinity(),
                                             std::numeric_limits<long double>::quiet_NaN(),
                                             -std::numeric_limits<long double>::quiet_NaN()};
    static constexpr wchar_t LETTERS[] = {L'f', L'e', L'g', L'a', L'F', L'E', L'G', L'A'};
    const bool isLong = m_Data.ConsumeIntegralInRange(0, 7) == 7;
    SArgument argument{isLong ? Kind::LongDouble : Kind::Double};
    if (m_Data.ConsumeBool()) {
        argument.real = m_Data.PickValueInArray(VALUES);
    } else {
        const auto bits = m_Data.ConsumeIntegral<std::uint64_t>();
        double real = 0;
        std::memcpy(&real, &bits, sizeof real);
        argument.real = static_cast<long double>(real);
    }
    m_Arguments.push_back(argument);
    return std::wstring(isLong ? L"L" : L"") + m_Data.PickValueInArray(LETTERS);
}

/// A string on the heap. It may go without a terminator where a precision ends it before.
template <class Character>
const void* FormatCall::MakeString()
{
    std::basic_string<Character> text;
    if constexpr (sizeof(Character) == 1) {
        text = m_Data.ConsumeRandomLengthString(40);
    } else {
        text = ConsumeWide(m_Data, 40);
    }
    if (m_Data.ConsumeIntegralInRange(0, 15) == 15) {
        text.append(m_Data.ConsumeIntegralInRange<std::size_t>(0, 1100), Character{'y'});
    }
    const std::size_t embedded = text.find(Character{0});
    text.resize(embedded == std::basic_string<Character>::npos ? text.size() : embedded);
    const bool hasEnd = m_Precision < 0 || text.size() < static_cast<std::size_t>(m_Precision) || m_Data.ConsumeBool();
    const std::size_t bytes = (text.size() + (hasEnd ? 1 : 0)) * sizeof(Character);
    m_Strings.emplace_back(new char[bytes]);
    std::memcpy(m_Strings.back().get(), text.c_str(), bytes);
    return m_Strings.back().get();
}

std::wstring FormatCall::StringConversion()
{
    const int type = m_Data.ConsumeIntegralInRange(0, 7);
    SArgument argument{Kind::Pointer};
    if (type == 7) {
        const auto address =
            static_cast<std::uintptr_t>(m_Data.ConsumeIntegral<std::uint64_t>()); // as long at both sizes
        argument.pointer = reinterpret_cast<const void*>(address);
        m_Arguments.push_back(argument);
        return L"p";
    }
    const bool isNarrow = type % 2 == 0;
    if (m_Data.ConsumeIntegralInRange(0, 15) != 15) {
        argument.pointer = isNarrow ? MakeString<char>() : MakeString<wchar_t>();
    }
    m_Arguments.push_back(argument);
    return isNarrow ? L"s" : type == 1 ? L"S" : L"ls";
}

std::wstring FormatCall::CharacterConversion()
{
    static constexpr const wchar_t* CONVERSIONS[] = {L"c", L"lc", L"C"};
    AddInteger(4);
    return m_Data.PickValueInArray(CONVERSIONS);
}

void FormatCall::ShowArguments() const
{
    for (const SArgument& argument : m_Arguments) {
        switch (argument.kind) {
        case Kind::Int:
        case Kind::LongLong:
            std::fprintf(stderr, "argument: %lld\n", argument.integer);
            break;
        case Kind::Double:
        case Kind::LongDouble:
            std::fprintf(stderr, "argument: %La\n", argument.real);
            break;
        case Kind::Pointer:
            std::fprintf(stderr, "argument: %p\n", argument.pointer);
        }
    }
}

} // namespace QuarnTest
