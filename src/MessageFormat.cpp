#include "MessageFormat.h"

#include "Charset.h"
#include "Digits.h"

#include <fpu_control.h>
#include <langinfo.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <type_traits>

namespace Quarn::Logging {

namespace {

/// Wider fields and longer precisions are not worth a path of their own, and below it no sum overflows.
constexpr int FIELD_LIMIT = 10000;

/// Characters for %f. A number that needs more is left to the C library.
constexpr std::size_t FIXED_SIZE = 64;

enum class Length { INT, CHAR, SHORT, LONG, LONG_LONG, SIZE };

struct SConversion
{
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    int width = 0;
    int precision = -1; ///< negative when none is given
    Length length = Length::INT;

    bool IsPlain() const { return !plus && !space && !alternate && !zero; }
};

/// What stands in front of a number's digits: its sign or "0x".
struct SPrefix
{
    wchar_t text[2] = {};
    int size = 0;

    void Add(wchar_t character) { text[size++] = character; }
};

SPrefix SignOf(const SConversion& conversion, bool negative)
{
    SPrefix prefix;
    if (negative) {
        prefix.Add(L'-');
    } else if (conversion.plus) {
        prefix.Add(L'+');
    } else if (conversion.space) {
        prefix.Add(L' ');
    }
    return prefix;
}

bool RoundsToNearest()
{
    // fegetround() would make the library depend on libm. The C library looks at this register, too.
    fpu_control_t control = 0;
    _FPU_GETCW(control);
    return (control & (_FPU_RC_UP | _FPU_RC_DOWN | _FPU_RC_ZERO)) == _FPU_RC_NEAREST;
}

bool DecimalPointIsDot() { return std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0; }

/// Formats one message. Each operation returns false where the message is to be left to the C library.
class Formatter
{
public:
    Formatter(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args)
        : m_pNext(buffer)
        , m_pLast(buffer + size - 1)
        , m_pFormat(format)
    {
        va_copy(m_Args, args);
    }
    ~Formatter() { va_end(m_Args); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    bool Run();
    const wchar_t* End() const { return m_pNext; }

private:
    void CopyLiteral();
    bool Convert();
    void ReadFlags(SConversion& conversion);
    bool ReadWidth(SConversion& conversion);
    bool ReadPrecision(SConversion& conversion);
    void ReadLength(SConversion& conversion);
    int ReadNumber();

    bool Signed(const SConversion& conversion);
    bool Unsigned(const SConversion& conversion);
    bool Hexadecimal(const SConversion& conversion, wchar_t letter);
    bool Pointer(const SConversion& conversion);
    bool Fixed(const SConversion& conversion);
    bool Character(const SConversion& conversion);
    bool String(const SConversion& conversion);

    std::int64_t NextSigned(Length length);
    std::uint64_t NextUnsigned(Length length);

    bool Number(const SConversion& conversion, const SPrefix& prefix, std::uint64_t value, const wchar_t* begin,
                const wchar_t* end);
    template <class T>
    bool Field(const SConversion& conversion, const SPrefix& prefix, int zeros, const T* text, int size);
    template <class T>
    bool Text(const SConversion& conversion, const T* text);
    void Fill(wchar_t character, int count);

    wchar_t* m_pNext;
    wchar_t* const m_pLast; ///< of the buffer, kept for the terminator
    const wchar_t* m_pFormat;
    va_list m_Args;
};

bool Formatter::Run()
{
    for (;;) {
        CopyLiteral();
        const wchar_t character = *m_pFormat++;
        if (character == L'\0') {
            *m_pNext = L'\0';
            return true;
        }
        if (character != L'%' || !Convert()) { // a literal that does not fit, or what is not known here
            return false;
        }
    }
}

/// Copies up to the next conversion, or as far as there is room.
void Formatter::CopyLiteral()
{
    const wchar_t* format = m_pFormat; // locals, which stay in registers
    wchar_t* next = m_pNext;
    while (*format != L'%' && *format != L'\0' && next != m_pLast) {
        *next++ = *format++;
    }
    m_pFormat = format;
    m_pNext = next;
}

bool Formatter::Convert()
{
    SConversion conversion;
    if (*m_pFormat == L'%') {
        return Field(conversion, SPrefix(), 0, m_pFormat++, 1);
    }
    ReadFlags(conversion);
    if (!ReadWidth(conversion) || !ReadPrecision(conversion)) {
        return false;
    }
    ReadLength(conversion);
    const wchar_t letter = *m_pFormat++;
    switch (letter) {
    case L'd':
    case L'i':
        return Signed(conversion);
    case L'u':
        return Unsigned(conversion);
    case L'x':
    case L'X':
        return Hexadecimal(conversion, letter);
    case L'p':
        return Pointer(conversion);
    case L'f':
        return Fixed(conversion);
    case L'c':
        return Character(conversion);
    case L's':
        return String(conversion);
    default:
        return false;
    }
}

void Formatter::ReadFlags(SConversion& conversion)
{
    for (;; ++m_pFormat) {
        const wchar_t flag = *m_pFormat;
        if (flag != L'-' && flag != L'+' && flag != L' ' && flag != L'#' && flag != L'0') {
            return;
        }
        conversion.left |= flag == L'-';
        conversion.plus |= flag == L'+';
        conversion.space |= flag == L' ';
        conversion.alternate |= flag == L'#';
        conversion.zero |= flag == L'0';
    }
}

/// The number at this place of the format, 0 without one, and FIELD_LIMIT for all that are not below it.
int Formatter::ReadNumber()
{
    int number = 0;
    for (; *m_pFormat >= L'0' && *m_pFormat <= L'9'; ++m_pFormat) {
        if (number < FIELD_LIMIT) {
            number = number * 10 + static_cast<int>(*m_pFormat - L'0');
        }
    }
    return number < FIELD_LIMIT ? number : FIELD_LIMIT;
}

bool Formatter::ReadWidth(SConversion& conversion)
{
    if (*m_pFormat != L'*') {
        conversion.width = ReadNumber();
        return conversion.width < FIELD_LIMIT;
    }
    ++m_pFormat;
    const int width = va_arg(m_Args, int);
    conversion.left = conversion.left || width < 0;
    if (width <= -FIELD_LIMIT || width >= FIELD_LIMIT) {
        return false;
    }
    conversion.width = width < 0 ? -width : width;
    return true;
}

bool Formatter::ReadPrecision(SConversion& conversion)
{
    if (*m_pFormat != L'.') {
        return true;
    }
    ++m_pFormat;
    if (*m_pFormat == L'*') {
        ++m_pFormat;
        const int precision = va_arg(m_Args, int);
        conversion.precision = precision < 0 ? -1 : precision;
    } else {
        conversion.precision = ReadNumber();
    }
    return conversion.precision < FIELD_LIMIT;
}

void Formatter::ReadLength(SConversion& conversion)
{
    const wchar_t letter = *m_pFormat;
    const bool isTwice = letter != L'\0' && m_pFormat[1] == letter;
    switch (letter) {
    case L'h':
        conversion.length = isTwice ? Length::CHAR : Length::SHORT;
        m_pFormat += isTwice ? 2 : 1;
        break;
    case L'l':
        conversion.length = isTwice ? Length::LONG_LONG : Length::LONG;
        m_pFormat += isTwice ? 2 : 1;
        break;
    case L'z':
        conversion.length = Length::SIZE;
        ++m_pFormat;
        break;
    default:
        break;
    }
}

std::int64_t Formatter::NextSigned(Length length)
{
    switch (length) {
    case Length::CHAR:
        return static_cast<signed char>(va_arg(m_Args, int));
    case Length::SHORT:
        return static_cast<short>(va_arg(m_Args, int));
    case Length::LONG:
        return va_arg(m_Args, long);
    case Length::LONG_LONG:
        return va_arg(m_Args, long long);
    case Length::SIZE:
        return va_arg(m_Args, std::make_signed_t<std::size_t>);
    default:
        return va_arg(m_Args, int);
    }
}

std::uint64_t Formatter::NextUnsigned(Length length)
{
    switch (length) {
    case Length::CHAR:
        return static_cast<unsigned char>(va_arg(m_Args, unsigned int));
    case Length::SHORT:
        return static_cast<unsigned short>(va_arg(m_Args, unsigned int));
    case Length::LONG:
        return va_arg(m_Args, unsigned long);
    case Length::LONG_LONG:
        return va_arg(m_Args, unsigned long long);
    case Length::SIZE:
        return va_arg(m_Args, std::size_t);
    default:
        return va_arg(m_Args, unsigned int);
    }
}

bool Formatter::Signed(const SConversion& conversion)
{
    const std::int64_t value = NextSigned(conversion.length);
    const auto bits = static_cast<std::uint64_t>(value);
    const std::uint64_t magnitude = value < 0 ? 0 - bits : bits;
    wchar_t digits[MAX_DIGITS];
    wchar_t* const end = std::end(digits);
    return Number(conversion, SignOf(conversion, value < 0), magnitude, PutDecimal(end, magnitude), end);
}

bool Formatter::Unsigned(const SConversion& conversion)
{
    const std::uint64_t value = NextUnsigned(conversion.length);
    wchar_t digits[MAX_DIGITS];
    wchar_t* const end = std::end(digits);
    return Number(conversion, SPrefix(), value, PutDecimal(end, value), end);
}

bool Formatter::Hexadecimal(const SConversion& conversion, wchar_t letter)
{
    const std::uint64_t value = NextUnsigned(conversion.length);
    SPrefix prefix;
    if (conversion.alternate && value != 0) {
        prefix.Add(L'0');
        prefix.Add(letter);
    }
    wchar_t digits[MAX_DIGITS];
    wchar_t* const end = std::end(digits);
    const char* const letters = letter == L'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    return Number(conversion, prefix, value, PutHexadecimal(end, value, letters), end);
}

bool Formatter::Pointer(const SConversion& conversion)
{
    if (!conversion.IsPlain() || conversion.precision >= 0 || conversion.length != Length::INT) {
        return false;
    }
    const auto value = reinterpret_cast<std::uintptr_t>(va_arg(m_Args, void*));
    if (value == 0) {
        return Text(conversion, L"(nil)");
    }
    SPrefix prefix;
    prefix.Add(L'0');
    prefix.Add(L'x');
    wchar_t digits[MAX_DIGITS];
    wchar_t* const end = std::end(digits);
    return Number(conversion, prefix, value, PutHexadecimal(end, value, "0123456789abcdef"), end);
}

bool Formatter::Fixed(const SConversion& conversion)
{
    if (conversion.alternate || (conversion.length != Length::INT && conversion.length != Length::LONG)) {
        return false;
    }
    const double value = va_arg(m_Args, double);
    if (!std::isfinite(value) || !RoundsToNearest() || !DecimalPointIsDot()) {
        return false;
    }
    char digits[FIXED_SIZE];
    const int precision = conversion.precision < 0 ? 6 : conversion.precision;
    const auto [end, error] =
        std::to_chars(std::begin(digits), std::end(digits), std::fabs(value), std::chars_format::fixed, precision);
    if (error != std::errc()) {
        return false;
    }
    const SPrefix sign = SignOf(conversion, std::signbit(value));
    const int size = static_cast<int>(end - digits);
    const int zeros = conversion.zero && !conversion.left ? conversion.width - sign.size - size : 0;
    return Field(conversion, sign, zeros, digits, size);
}

bool Formatter::Character(const SConversion& conversion)
{
    if (!conversion.IsPlain() || conversion.precision >= 0) {
        return false;
    }
    if (conversion.length == Length::LONG) {
        const std::wint_t character = va_arg(m_Args, std::wint_t);
        return character != WEOF && Field(conversion, SPrefix(), 0, &character, 1); // at which the C library gives up
    }
    const auto byte = static_cast<unsigned char>(va_arg(m_Args, int));
    return conversion.length == Length::INT && byte < 0x80 && CharsetKeepsAscii() &&
           Field(conversion, SPrefix(), 0, &byte, 1);
}

bool Formatter::String(const SConversion& conversion)
{
    if (!conversion.IsPlain()) {
        return false;
    }
    if (conversion.length == Length::LONG) {
        return Text(conversion, va_arg(m_Args, const wchar_t*));
    }
    return conversion.length == Length::INT && CharsetKeepsAscii() && Text(conversion, va_arg(m_Args, const char*));
}

/// A number of digits; of a zero with precision 0 there are none.
bool Formatter::Number(const SConversion& conversion, const SPrefix& prefix, std::uint64_t value, const wchar_t* begin,
                       const wchar_t* end)
{
    if (value == 0 && conversion.zero && conversion.length == Length::LONG_LONG) {
        return false; // on i386 glibc prints no digit for the "%0lld" of "%f %0lld"
    }
    const int size = value == 0 && conversion.precision == 0 ? 0 : static_cast<int>(end - begin);
    int zeros = conversion.precision - size;
    if (conversion.zero && !conversion.left && conversion.precision < 0) {
        zeros = conversion.width - prefix.size - size;
    }
    return Field(conversion, prefix, zeros, begin, size);
}

/// Puts blanks, prefix, zeros and text. Negative zeros are none.
template <class T>
bool Formatter::Field(const SConversion& conversion, const SPrefix& prefix, int zeros, const T* text, int size)
{
    zeros = zeros < 0 ? 0 : zeros;
    const int filled = prefix.size + zeros + size;
    const int blanks = conversion.width > filled ? conversion.width - filled : 0;
    if (m_pLast - m_pNext < filled + blanks) {
        return false;
    }
    if (!conversion.left) {
        Fill(L' ', blanks);
    }
    for (int i = 0; i < prefix.size; ++i) {
        *m_pNext++ = prefix.text[i];
    }
    Fill(L'0', zeros);
    for (int i = 0; i < size; ++i) {
        *m_pNext++ = static_cast<wchar_t>(text[i]);
    }
    if (conversion.left) {
        Fill(L' ', blanks);
    }
    return true;
}

/// A string, up to its terminator or to the precision, whichever comes first.
template <class T>
bool Formatter::Text(const SConversion& conversion, const T* text)
{
    if (text == nullptr) {
        return false;
    }
    const std::ptrdiff_t room = m_pLast - m_pNext;
    const std::ptrdiff_t limit = conversion.precision < 0 ? room + 1 : conversion.precision;
    int size = 0;
    for (; size < limit && text[size] != 0; ++size) {
        // What a byte above ASCII stands for depends on the locale.
        if (size == room || (sizeof(T) == 1 && (static_cast<unsigned int>(text[size]) & 0x80U) != 0)) {
            return false;
        }
    }
    return Field(conversion, SPrefix(), 0, text, size);
}

void Formatter::Fill(wchar_t character, int count)
{
    for (int i = 0; i < count; ++i) {
        *m_pNext++ = character;
    }
}

} // namespace

int FormatMessage(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args)
{
    if (size != 0) {
        Formatter formatter(buffer, size, format, args);
        if (formatter.Run()) {
            return static_cast<int>(formatter.End() - buffer);
        }
    }
    return std::vswprintf(buffer, size, format, args);
}

} // namespace Quarn::Logging
