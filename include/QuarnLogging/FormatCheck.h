#ifndef QUARN_LOGGING_FORMAT_CHECK_H
#define QUARN_LOGGING_FORMAT_CHECK_H

/// @file
/// Checks wide printf formats against their arguments while the program is compiled, which compilers do for narrow
/// formats only. Used by the macros of Log.h. Empty before C++17. Nothing of it is left in the program.

#if __cplusplus >= 201703L

#include <QuarnLogging/FormatArgument.h>

#include <cstddef>
#include <cstdint>
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
    NumberTooLarge,
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
    LongDoubleArgument,
    ScopedEnumerationArgument,
    TextArgument,
    WideTextArgument,
    TextViewArgument,
    WideTextViewArgument,
    DurationArgument,
    TimePointArgument,
    AtomicArgument,
    SmartPointerArgument,
    ClassArgument
};

/// A fault, and the number of arguments behind the format that were taken when it was found, the faulty one included.
struct SVerdict
{
    Fault fault;
    std::size_t argument;
    bool mayBeSize; ///< The faulty one has the type that std::size_t has.
};

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
                return {fault, m_Used, MayBeSize(fault)};
            }
        }
        return {m_Used == Count ? Fault::None : Fault::TooManyArguments, m_Used + 1, false};
    }

private:
    constexpr bool MayBeSize(Fault fault) const
    {
        const bool isOfInteger = fault == Fault::SignedIntegerArgument || fault == Fault::UnsignedIntegerArgument ||
                                 fault == Fault::IntegerArgument;
        if (!isOfInteger) {
            return false;
        }
        const SArgument& argument = m_pArguments[m_Used - 1];
        return argument.rank == RankOf<std::size_t>() && argument.bytes == sizeof(std::size_t) && !argument.isSigned;
    }

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

    /// The number that stands here, or one that is too large; 0 if there is none.
    constexpr unsigned int TakeDigits()
    {
        unsigned int number = 0;
        for (; *m_pNext >= L'0' && *m_pNext <= L'9'; ++m_pNext) {
            number = number > MAX_NUMBER ? number : 10 * number + static_cast<unsigned int>(*m_pNext - L'0');
        }
        return number;
    }

    /// A width or precision: digits, or a "*" with an int of its own.
    constexpr Fault TakeNumber()
    {
        if (!Take(L'*')) {
            const unsigned int number = TakeDigits();
            return *m_pNext == L'$' ? Fault::NumberedArgument : Expect(number <= MAX_NUMBER, Fault::NumberTooLarge);
        }
        if (TakeDigits() != 0) {
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
        while (IsOneOf(*m_pNext, FLAGS)) {
            ++m_pNext;
        }
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
        fault = CheckSyntax(conversion, length, flags, hasPrecision);
        return fault != Fault::None || conversion == L'm' ? fault : CheckArgument(conversion, length);
    }

    static constexpr bool IsFloatingPoint(wchar_t conversion) { return IsOneOf(conversion, L"fFeEgGaA"); }

    /// What does not depend on the argument: that the parts of a conversion have a meaning together.
    static constexpr Fault CheckSyntax(wchar_t conversion, Length length, const wchar_t* flags, bool hasPrecision)
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
        for (; IsOneOf(*flags, FLAGS); ++flags) {
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
        const Fault fault = FaultOfAny(argument->kind);
        if (fault != Fault::None) {
            return fault;
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

    /// What no conversion takes.
    static constexpr Fault FaultOfAny(Kind kind)
    {
        return kind == Kind::ScopedEnumeration ? Fault::ScopedEnumerationArgument
               : kind == Kind::Text            ? Fault::TextArgument
               : kind == Kind::WideText        ? Fault::WideTextArgument
               : kind == Kind::TextView        ? Fault::TextViewArgument
               : kind == Kind::WideTextView    ? Fault::WideTextViewArgument
               : kind == Kind::Duration        ? Fault::DurationArgument
               : kind == Kind::TimePoint       ? Fault::TimePointArgument
               : kind == Kind::Atomic          ? Fault::AtomicArgument
               : kind == Kind::SmartPointer    ? Fault::SmartPointerArgument
               : kind == Kind::Class           ? Fault::ClassArgument
                                               : Fault::None;
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
        return length == Length::l    ? Rank::Long
               : length == Length::ll ? Rank::LongLong
               : length == Length::j  ? RankOf<std::intmax_t>()
               : length == Length::z  ? RankOf<std::size_t>()
               : length == Length::t  ? RankOf<std::ptrdiff_t>()
                                      : Rank::Int;
    }

    static constexpr Fault CheckInteger(const SArgument& argument, wchar_t conversion, Length length)
    {
        const bool isInteger =
            argument.kind == Kind::Integer || argument.kind == Kind::Character || argument.kind == Kind::WideCharacter;
        // All that is shorter than an int arrives as one. "h" and "hh" cut it, so they are for what was that short.
        const std::size_t bytes = length == Length::hh ? 1 : length == Length::h ? 2 : sizeof(std::intmax_t);
        const bool fits = isInteger && argument.rank == RankOfLength(length) && argument.bytes <= bytes;
        if (conversion == L'd' || conversion == L'i') {
            return Expect(fits && argument.isSigned, Fault::SignedIntegerArgument);
        }
        if (conversion == L'u') {
            return Expect(fits && argument.isUnsigned, Fault::UnsignedIntegerArgument);
        }
        return Expect(fits, Fault::IntegerArgument); // hexadecimal and octal show bits, whatever the sign
    }

    static constexpr const wchar_t* FLAGS = L"-+ #0'";
    static constexpr unsigned int MAX_NUMBER = 999; ///< Wide characters of the longest text.

    const wchar_t* m_pNext;
    const SArgument* m_pArguments;
    std::size_t m_Used = 0;
};

template <class... Arguments>
constexpr SVerdict Check(const wchar_t* format)
{
    constexpr SArgument ARGUMENTS[sizeof...(Arguments) + 1] = {Describe<Arguments>()...};
    return Checker<sizeof...(Arguments)>(format, ARGUMENTS).Check();
}

/// Compiles for Fault::None only, and otherwise shows what is wrong. Argument, in the compiler's message, is the number
/// of the argument behind the format at which the check came to a stop. CallSite makes each wrong call a type of its
/// own: none hides behind another.
template <Fault F, std::size_t Argument, class CallSite>
struct Explain
{
    static_assert(F != Fault::UnknownConversion, "log format: unknown conversion");
    static_assert(F != Fault::IncompleteConversion, "log format: ends inside a conversion; a percent sign is %%");
    static_assert(F != Fault::NumberedArgument, "log format: numbered arguments (%n$) are not supported");
    static_assert(F != Fault::CountConversion, "log format: %n writes through its argument and is not allowed");
    static_assert(F != Fault::LengthModifier, "log format: this length modifier does not go with the conversion");
    static_assert(F != Fault::Flag, "log format: this flag has no meaning for the conversion");
    static_assert(F != Fault::Precision, "log format: a precision has no meaning for the conversion");
    static_assert(F != Fault::NumberTooLarge, "log format: width or precision above 999, the length of a text");
    static_assert(F != Fault::TooFewArguments, "log format: more conversions than arguments");
    static_assert(F != Fault::TooManyArguments, "log format: more arguments than conversions");
    static_assert(F != Fault::WidthOrPrecisionArgument, "log format: * needs an int argument; cast a size to int");
    static_assert(F != Fault::SignedIntegerArgument,
                  "log format: %d needs a signed integer of its length (%hhd, %hd, %d, %ld, %lld, %jd, %td)");
    static_assert(F != Fault::UnsignedIntegerArgument,
                  "log format: %u needs an unsigned integer of its length (%hhu, %hu, %u, %lu, %llu, %ju, %zu)");
    static_assert(F != Fault::IntegerArgument,
                  "log format: %x and %o need an integer of their length (%hhx, %hx, %x, %lx, %llx, %jx, %zx)");
    static_assert(F != Fault::CharacterArgument, "log format: %c needs a char; a wchar_t takes %lc");
    static_assert(F != Fault::WideCharacterArgument, "log format: %lc needs a wchar_t; a char takes %c");
    static_assert(F != Fault::StringArgument, "log format: %s needs a char pointer; a wchar_t pointer takes %ls");
    static_assert(F != Fault::WideStringArgument, "log format: %ls needs a wchar_t pointer; a char pointer takes %s");
    static_assert(F != Fault::PointerArgument, "log format: %p needs a pointer to an object");
    static_assert(F != Fault::FloatingPointArgument, "log format: %f, %e, %g and %a need a double or float");
    static_assert(F != Fault::LongDoubleArgument, "log format: %Lf needs a long double");
    static_assert(F != Fault::ScopedEnumerationArgument, "log format: cast the enum class to an integer");
    static_assert(F != Fault::TextArgument, "log format: a std::string takes %s and c_str()");
    static_assert(F != Fault::WideTextArgument, "log format: a std::wstring takes %ls and c_str()");
    static_assert(F != Fault::TextViewArgument,
                  "log format: a std::string_view takes %.*s with static_cast<int>(size()) and data()");
    static_assert(F != Fault::WideTextViewArgument,
                  "log format: a std::wstring_view takes %.*ls with static_cast<int>(size()) and data()");
    static_assert(F != Fault::DurationArgument,
                  "log format: a std::chrono::duration takes %lld and static_cast<long long>(count())");
    static_assert(F != Fault::TimePointArgument, "log format: a std::chrono::time_point takes %lld and "
                                                 "static_cast<long long>(time_since_epoch().count())");
    static_assert(F != Fault::AtomicArgument, "log format: an atomic takes load() and the conversion of its value");
    static_assert(F != Fault::SmartPointerArgument, "log format: a smart pointer takes %p and get()");
    static_assert(F != Fault::ClassArgument, "log format: an object has no conversion; log its members");
    static constexpr bool OK = F == Fault::None;
};

/// What is to be said beside it. A type of its own: of one type some compilers show the first message only.
template <bool MayBeSize, class CallSite>
struct Hint
{
    static_assert(!MayBeSize, "log format: if the argument is a std::size_t, it takes %zu or %zx");
    static constexpr bool OK = !MayBeSize;
};

/// Whether a call is right; does not compile if it is not. A CallSite is a lambda that returns the format.
template <class CallSite, class... Arguments>
constexpr bool IsRight(CallSite callSite)
{
    if constexpr (std::is_same_v<decltype(callSite()), const wchar_t*>) {
        constexpr SVerdict VERDICT = Check<Arguments...>(callSite());
        constexpr bool HINT_OK = Hint<VERDICT.mayBeSize, CallSite>::OK;
        return Explain<VERDICT.fault, VERDICT.argument, CallSite>::OK && HINT_OK;
    } else {
        static_assert(std::is_same_v<decltype(callSite()), const wchar_t*>, "log format: has to be wide, L\"...\"");
        return false;
    }
}

} // namespace FormatCheck
} // namespace Logging
} // namespace Quarn

#endif // C++17

#endif
