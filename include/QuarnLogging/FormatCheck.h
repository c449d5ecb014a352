#ifndef QUARN_LOGGING_FORMAT_CHECK_H
#define QUARN_LOGGING_FORMAT_CHECK_H

/// @file
/// Checks wide printf formats against their arguments while the program is compiled, which compilers do for narrow
/// formats only. Used by the macros of Log.h. Empty before C++17. Nothing of it is left in the program.

#if __cplusplus >= 201703L

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <type_traits>

namespace Quarn {
namespace Logging {
namespace FormatCheck {

/// What can be wrong with a format. Explain holds the message of each.
enum class Fault {
    None,
    UnknownConversion,
    IncompleteConversion,
    NumberedArgument,
    CountConversion,
    LengthModifier,
    Flag,
    Precision,
    TooFewArguments,
    TooManyArguments,
    WidthOrPrecisionArgument,
    SignedIntegerArgument,
    UnsignedIntegerArgument,
    IntegerArgument,
    CharacterArgument,
    WideCharacterArgument,
    StringArgument,
    WideStringArgument,
    PointerArgument,
    FloatingPointArgument,
    LongDoubleArgument
};

/// A fault, and the number of the argument behind the format, from 1, at which it was found.
struct SVerdict
{
    Fault fault;
    std::size_t argument;
};

/// What is known of an argument: how it arrives behind the dots of a variadic function.
enum class Kind { Integer, Character, WideCharacter, String, WideString, Pointer, FloatingPoint, LongDouble, Other };

/// The integer types that a length modifier tells apart, by rank. Two of them may have the same size.
enum class Rank { Int, Long, LongLong, None };

struct SArgument
{
    Kind kind;
    Rank rank;       ///< Of an integer or character, promoted.
    bool isSigned;   ///< Of an integer: takes negative values when promoted.
    bool isUnsigned; ///< Of an integer: never was negative. Both hold for a promoted unsigned char.
};

template <class Promoted>
constexpr Rank RankOf()
{
    using Signed = std::make_signed_t<Promoted>;
    return std::is_same_v<Signed, int>         ? Rank::Int
           : std::is_same_v<Signed, long>      ? Rank::Long
           : std::is_same_v<Signed, long long> ? Rank::LongLong
                                               : Rank::None;
}

template <class T>
constexpr SArgument DescribeInteger()
{
    using Promoted = decltype(+T{});
    constexpr Kind KIND = std::is_same_v<T, wchar_t> || std::is_same_v<T, std::wint_t> ? Kind::WideCharacter
                          : sizeof(T) == 1                                             ? Kind::Character
                                                                                       : Kind::Integer;
    return {KIND, RankOf<Promoted>(), std::is_signed_v<Promoted>, !std::is_signed_v<T>};
}

template <class T>
constexpr SArgument DescribePointer()
{
    using Target = std::remove_cv_t<std::remove_pointer_t<T>>;
    return {std::is_same_v<Target, char>      ? Kind::String
            : std::is_same_v<Target, wchar_t> ? Kind::WideString
            : std::is_function_v<Target>      ? Kind::Other
                                              : Kind::Pointer,
            Rank::None, false, false};
}

/// Describes an argument by its type, arrays and functions already turned into pointers.
template <class T>
constexpr SArgument Describe()
{
    if constexpr (std::is_same_v<T, bool>) {
        return {Kind::Integer, Rank::Int, true, true};
    } else if constexpr (std::is_integral_v<T>) {
        return DescribeInteger<T>();
    } else if constexpr (std::is_enum_v<T> && std::is_convertible_v<T, long long>) {
        return DescribeInteger<std::underlying_type_t<T>>();
    } else if constexpr (std::is_pointer_v<T>) {
        return DescribePointer<T>();
    } else if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>) {
        return {Kind::FloatingPoint, Rank::None, false, false};
    } else if constexpr (std::is_same_v<T, long double>) {
        return {Kind::LongDouble, Rank::None, false, false};
    } else {
        return {Kind::Other, Rank::None, false, false};
    }
}

/// The arguments of a log call, the format left out.
template <class... Arguments>
struct TypeList
{
};

/// Never defined: only its type is used, so that no argument is evaluated.
template <class... Arguments>
TypeList<std::decay_t<Arguments>...> TypesBehind(const wchar_t* format, const Arguments&...);

/// Length modifiers, as they are written.
enum class Length { None, hh, h, l, ll, j, z, t, L };

/// One pass over a format. Everything here runs in the compiler.
template <std::size_t Count>
class Checker
{
public:
    constexpr Checker(const wchar_t* format, const SArgument* arguments)
        : m_pNext(format)
        , m_pArguments(arguments)
    {
    }

    constexpr SVerdict Check()
    {
        while (*m_pNext != L'\0') {
            if (*m_pNext++ != L'%') {
                continue;
            }
            const Fault fault = CheckConversion();
            if (fault != Fault::None) {
                return {fault, m_Used};
            }
        }
        return {m_Used == Count ? Fault::None : Fault::TooManyArguments, m_Used + 1};
    }

private:
    constexpr bool Take(wchar_t character)
    {
        if (*m_pNext != character) {
            return false;
        }
        ++m_pNext;
        return true;
    }

    static constexpr bool IsOneOf(wchar_t character, const wchar_t* set)
    {
        for (; *set != L'\0'; ++set) {
            if (*set == character) {
                return true;
            }
        }
        return false;
    }

    constexpr const SArgument* NextArgument()
    {
        ++m_Used;
        return m_Used <= Count ? &m_pArguments[m_Used - 1] : nullptr;
    }

    constexpr bool TakeDigits()
    {
        bool any = false;
        for (; *m_pNext >= L'0' && *m_pNext <= L'9'; ++m_pNext) {
            any = true;
        }
        return any;
    }

    /// A width or precision: digits, or a "*" with an int of its own.
    constexpr Fault TakeNumber()
    {
        if (!Take(L'*')) {
            TakeDigits();
            return *m_pNext == L'$' ? Fault::NumberedArgument : Fault::None;
        }
        if (TakeDigits()) {
            return Fault::NumberedArgument;
        }
        const SArgument* const argument = NextArgument();
        if (argument == nullptr) {
            return Fault::TooFewArguments;
        }
        const bool isInt = (argument->kind == Kind::Integer || argument->kind == Kind::Character) &&
                           argument->rank == Rank::Int && argument->isSigned;
        return isInt ? Fault::None : Fault::WidthOrPrecisionArgument;
    }

    constexpr Length TakeLength()
    {
        if (Take(L'h')) {
            return Take(L'h') ? Length::hh : Length::h;
        }
        if (Take(L'l')) {
            return Take(L'l') ? Length::ll : Length::l;
        }
        return Take(L'j')   ? Length::j
               : Take(L'z') ? Length::z
               : Take(L't') ? Length::t
               : Take(L'L') ? Length::L
                            : Length::None;
    }

    constexpr Fault CheckConversion()
    {
        if (Take(L'%')) {
            return Fault::None;
        }
        const wchar_t* const flags = m_pNext;
        while (IsOneOf(*m_pNext, L"-+ #0'")) {
            ++m_pNext;
        }
        const wchar_t* const flagsEnd = m_pNext;
        Fault fault = TakeNumber();
        bool hasPrecision = false;
        if (fault == Fault::None && Take(L'.')) {
            hasPrecision = true;
            fault = TakeNumber();
        }
        if (fault != Fault::None) {
            return fault;
        }
        const Length length = TakeLength();
        const wchar_t conversion = *m_pNext;
        if (conversion == L'\0') {
            return Fault::IncompleteConversion;
        }
        ++m_pNext;
        fault = CheckSyntax(conversion, length, flags, flagsEnd, hasPrecision);
        return fault != Fault::None || conversion == L'm' ? fault : CheckArgument(conversion, length);
    }

    static constexpr bool IsFloatingPoint(wchar_t conversion) { return IsOneOf(conversion, L"fFeEgGaA"); }

    /// What does not depend on the argument: that the parts of a conversion have a meaning together.
    static constexpr Fault CheckSyntax(wchar_t conversion, Length length, const wchar_t* flags, const wchar_t* flagsEnd,
                                       bool hasPrecision)
    {
        if (conversion == L'n') {
            return Fault::CountConversion;
        }
        const bool isInteger = IsOneOf(conversion, L"diuxXo");
        if (!isInteger && !IsFloatingPoint(conversion) && !IsOneOf(conversion, L"csCSpm")) {
            return Fault::UnknownConversion;
        }
        const bool lengthFits = length == Length::None || (isInteger && length != Length::L) ||
                                (IsFloatingPoint(conversion) && (length == Length::l || length == Length::L)) ||
                                (IsOneOf(conversion, L"cs") && length == Length::l);
        if (!lengthFits) {
            return Fault::LengthModifier;
        }
        for (; flags != flagsEnd; ++flags) {
            const wchar_t* const meaningful = *flags == L'#'    ? L"xXofFeEgGaA"
                                              : *flags == L'0'  ? L"diuxXofFeEgGaA"
                                              : *flags == L'\'' ? L"diufFgG"
                                              : *flags == L'-'  ? L"diuxXofFeEgGaAcsCSpm"
                                                                : L"difFeEgGaA"; // "+" and the blank
            if (!IsOneOf(conversion, meaningful)) {
                return Fault::Flag;
            }
        }
        return hasPrecision && IsOneOf(conversion, L"cCp") ? Fault::Precision : Fault::None;
    }

    constexpr Fault CheckArgument(wchar_t conversion, Length length)
    {
        const SArgument* const argument = NextArgument();
        if (argument == nullptr) {
            return Fault::TooFewArguments;
        }
        const bool wide = length == Length::l;
        switch (conversion) {
        case L's':
            return wide ? Expect(argument->kind == Kind::WideString, Fault::WideStringArgument)
                        : Expect(argument->kind == Kind::String, Fault::StringArgument);
        case L'S':
            return Expect(argument->kind == Kind::WideString, Fault::WideStringArgument);
        case L'c':
            return wide ? Expect(argument->kind == Kind::WideCharacter, Fault::WideCharacterArgument)
                        : Expect(IsNarrowCharacter(*argument), Fault::CharacterArgument);
        case L'C':
            return Expect(argument->kind == Kind::WideCharacter, Fault::WideCharacterArgument);
        case L'p':
            return Expect(argument->kind == Kind::Pointer || argument->kind == Kind::String ||
                              argument->kind == Kind::WideString,
                          Fault::PointerArgument);
        default:
            return IsFloatingPoint(conversion) ? CheckFloatingPoint(*argument, length)
                                               : CheckInteger(*argument, conversion, length);
        }
    }

    static constexpr Fault Expect(bool holds, Fault otherwise) { return holds ? Fault::None : otherwise; }

    static constexpr bool IsNarrowCharacter(const SArgument& argument)
    {
        return argument.kind == Kind::Character ||
               (argument.kind == Kind::Integer && argument.rank == Rank::Int && argument.isSigned);
    }

    static constexpr Fault CheckFloatingPoint(const SArgument& argument, Length length)
    {
        return length == Length::L ? Expect(argument.kind == Kind::LongDouble, Fault::LongDoubleArgument)
                                   : Expect(argument.kind == Kind::FloatingPoint, Fault::FloatingPointArgument);
    }

    static constexpr Rank RankOfLength(Length length)
    {
        switch (length) {
        case Length::l:
            return Rank::Long;
        case Length::ll:
            return Rank::LongLong;
        case Length::j:
            return RankOf<std::intmax_t>();
        case Length::z:
            return RankOf<std::size_t>();
        case Length::t:
            return RankOf<std::ptrdiff_t>();
        default:
            return Rank::Int;
        }
    }

    static constexpr Fault CheckInteger(const SArgument& argument, wchar_t conversion, Length length)
    {
        const bool isInteger =
            argument.kind == Kind::Integer || argument.kind == Kind::Character || argument.kind == Kind::WideCharacter;
        const bool fits = isInteger && argument.rank == RankOfLength(length);
        if (conversion == L'd' || conversion == L'i') {
            return Expect(fits && argument.isSigned, Fault::SignedIntegerArgument);
        }
        if (conversion == L'u') {
            return Expect(fits && argument.isUnsigned, Fault::UnsignedIntegerArgument);
        }
        return Expect(fits, Fault::IntegerArgument); // hexadecimal and octal show bits, whatever the sign
    }

    const wchar_t* m_pNext;
    const SArgument* m_pArguments;
    std::size_t m_Used = 0;
};

template <class... Arguments>
constexpr SVerdict Check(const wchar_t* format, TypeList<Arguments...>)
{
    constexpr SArgument ARGUMENTS[sizeof...(Arguments) + 1] = {Describe<Arguments>()...};
    return Checker<sizeof...(Arguments)>(format, ARGUMENTS).Check();
}

/// Instantiated with what Check() found: compiles for Fault::None only, and otherwise shows what is wrong. The second
/// parameter, in the compiler's message, is the number of the argument behind the format.
template <Fault F, std::size_t Argument>
struct Explain
{
    static_assert(F != Fault::UnknownConversion, "log format: unknown conversion");
    static_assert(F != Fault::IncompleteConversion, "log format: ends inside a conversion; a percent sign is %%");
    static_assert(F != Fault::NumberedArgument, "log format: numbered arguments (%n$) are not supported");
    static_assert(F != Fault::CountConversion, "log format: %n writes through its argument and is not allowed");
    static_assert(F != Fault::LengthModifier, "log format: this length modifier does not go with the conversion");
    static_assert(F != Fault::Flag, "log format: this flag has no meaning for the conversion");
    static_assert(F != Fault::Precision, "log format: a precision has no meaning for the conversion");
    static_assert(F != Fault::TooFewArguments, "log format: more conversions than arguments");
    static_assert(F != Fault::TooManyArguments, "log format: more arguments than conversions");
    static_assert(F != Fault::WidthOrPrecisionArgument, "log format: * needs an int argument");
    static_assert(F != Fault::SignedIntegerArgument,
                  "log format: %d needs a signed integer of its length (%ld, %lld, %zd)");
    static_assert(F != Fault::UnsignedIntegerArgument,
                  "log format: %u needs an unsigned integer of its length (%lu, %zu)");
    static_assert(F != Fault::IntegerArgument,
                  "log format: %x and %o need an integer of their length (%lx, %llx, %zx)");
    static_assert(F != Fault::CharacterArgument, "log format: %c needs a char; a wchar_t takes %lc");
    static_assert(F != Fault::WideCharacterArgument, "log format: %lc needs a wchar_t; a char takes %c");
    static_assert(F != Fault::StringArgument, "log format: %s needs a char pointer; a wchar_t pointer takes %ls");
    static_assert(F != Fault::WideStringArgument, "log format: %ls needs a wchar_t pointer; a char pointer takes %s");
    static_assert(F != Fault::PointerArgument, "log format: %p needs a pointer to an object");
    static_assert(F != Fault::FloatingPointArgument, "log format: %f, %e, %g and %a need a double or float");
    static_assert(F != Fault::LongDoubleArgument, "log format: %Lf needs a long double");
    static constexpr bool OK = F == Fault::None;
};

} // namespace FormatCheck
} // namespace Logging
} // namespace Quarn

#endif // C++17

#endif
