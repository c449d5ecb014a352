#ifndef QUARN_LOGGING_FORMAT_ARGUMENT_H
#define QUARN_LOGGING_FORMAT_ARGUMENT_H

/// @file
/// The arguments of a log call as FormatCheck.h sees them. Empty before C++17.

#if __cplusplus >= 201703L

#include <cstddef>
#include <cwchar>
#include <type_traits>
#include <utility>

namespace Quarn {
namespace Logging {
namespace FormatCheck {

/// What an argument is, as far as a conversion cares.
enum class Kind {
    Integer,
    Character,     ///< Of one byte.
    WideCharacter, ///< wchar_t, or std::wint_t, which is an unsigned int and counts as an integer as well.
    String,
    WideString,
    Pointer,
    FloatingPoint,
    LongDouble,
    ScopedEnumeration,
    Text, ///< An object from here on to Class, told by its members: no header of its own is included. Has c_str().
    WideText,
    TextView, ///< Has data() and size().
    WideTextView,
    Duration,
    TimePoint,
    Atomic,
    SmartPointer,
    Class,
    Other
};

/// The integer types that a length modifier tells apart, by rank. Two of them may have the same size.
enum class Rank { Int, Long, LongLong, None };

struct SArgument
{
    Kind kind;
    Rank rank;         ///< Of an integer or character, promoted.
    std::size_t bytes; ///< Of an integer or character, before it is promoted.
    bool isSigned;     ///< Of an integer: %d shows it. Takes negative values when promoted.
    bool isUnsigned;   ///< Of an integer: %u shows it. Is never negative. Both hold for an unsigned char: it becomes an
                       ///< int.
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

/// An integer, or an unscoped enumeration, which is promoted as its values allow. Underlying is T itself, or the
/// enumeration's type.
template <class T, class Underlying>
constexpr SArgument DescribeInteger()
{
    using Promoted = decltype(+T{});
    constexpr Kind KIND = std::is_same_v<T, wchar_t> || std::is_same_v<T, std::wint_t> ? Kind::WideCharacter
                          : sizeof(T) == 1 && !std::is_enum_v<T>                       ? Kind::Character
                                                                                       : Kind::Integer;
    return {KIND, RankOf<Promoted>(), sizeof(T), std::is_signed_v<Promoted>, !std::is_signed_v<Underlying>};
}

constexpr SArgument DescribeOther(Kind kind) { return {kind, Rank::None, 0, false, false}; }

template <class Target>
constexpr Kind KindOfPointerTo()
{
    return std::is_same_v<std::remove_const_t<Target>, char>      ? Kind::String
           : std::is_same_v<std::remove_const_t<Target>, wchar_t> ? Kind::WideString
           : std::is_function_v<Target>                           ? Kind::Other
                                                                  : Kind::Pointer;
}

/// What a call gives; void if there is no such call.
template <class T, class = void>
struct CStr
{
    using Type = void;
};
template <class T>
struct CStr<T, std::void_t<decltype(std::declval<const T&>().c_str())>>
{
    using Type = decltype(std::declval<const T&>().c_str());
};

template <class T, class = void>
struct ViewData
{
    using Type = void;
};
template <class T>
struct ViewData<T, std::void_t<typename T::traits_type, decltype(std::declval<const T&>().size())>>
{
    using Type = decltype(std::declval<const T&>().data());
};

template <class T, class = void>
constexpr bool IS_DURATION = false;
template <class T>
constexpr bool IS_DURATION<T, std::void_t<typename T::period, decltype(std::declval<const T&>().count())>> = true;

template <class T, class = void>
constexpr bool IS_TIME_POINT = false;
template <class T>
constexpr bool IS_TIME_POINT<T, std::void_t<typename T::clock, decltype(std::declval<const T&>().time_since_epoch())>> =
    true;

template <class T, class = void>
constexpr bool IS_ATOMIC = false;
template <class T>
constexpr bool IS_ATOMIC<
    T, std::void_t<decltype(std::declval<const T&>().load()), decltype(std::declval<const T&>().is_lock_free())>> =
    true;

template <class T, class = void>
constexpr bool IS_SMART_POINTER = false;
template <class T>
constexpr bool IS_SMART_POINTER<T, std::void_t<typename T::element_type, decltype(std::declval<const T&>().get())>> =
    true;

template <class T>
constexpr Kind KindOfObject()
{
    return std::is_same_v<typename CStr<T>::Type, const char*>          ? Kind::Text
           : std::is_same_v<typename CStr<T>::Type, const wchar_t*>     ? Kind::WideText
           : std::is_same_v<typename ViewData<T>::Type, const char*>    ? Kind::TextView
           : std::is_same_v<typename ViewData<T>::Type, const wchar_t*> ? Kind::WideTextView
           : IS_DURATION<T>                                             ? Kind::Duration
           : IS_TIME_POINT<T>                                           ? Kind::TimePoint
           : IS_ATOMIC<T>                                               ? Kind::Atomic
           : IS_SMART_POINTER<T>                                        ? Kind::SmartPointer
                                                                        : Kind::Class;
}

/// Describes an argument by its type, arrays and functions already turned into pointers.
template <class T>
constexpr SArgument Describe()
{
    if constexpr (std::is_same_v<T, bool>) {
        return {Kind::Integer, Rank::Int, sizeof(int), true, true};
    } else if constexpr (std::is_integral_v<T>) {
        return DescribeInteger<T, T>();
    } else if constexpr (std::is_enum_v<T> && std::is_convertible_v<T, long long>) {
        return DescribeInteger<T, std::underlying_type_t<T>>();
    } else if constexpr (std::is_pointer_v<T>) {
        return DescribeOther(KindOfPointerTo<std::remove_pointer_t<T>>());
    } else if constexpr (std::is_class_v<T> || std::is_union_v<T>) {
        return DescribeOther(KindOfObject<T>());
    } else {
        return DescribeOther(std::is_same_v<T, float> || std::is_same_v<T, double> ? Kind::FloatingPoint
                             : std::is_same_v<T, long double>                      ? Kind::LongDouble
                             : std::is_null_pointer_v<T>                           ? Kind::Pointer
                             : std::is_enum_v<T>                                   ? Kind::ScopedEnumeration
                                                                                   : Kind::Other);
    }
}

} // namespace FormatCheck
} // namespace Logging
} // namespace Quarn

#endif // C++17

#endif
