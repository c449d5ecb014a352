#include "MessageFormat.h"

#include "CompiledLocale.h"
#include "SeededRandom.h"
#include "TestDepth.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

extern "C" int __real_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

namespace {

unsigned long g_FallBacks = 0;

constexpr std::size_t MAX_SIZE = 1000;
constexpr wchar_t UNTOUCHED = L'\x7E57';

struct SResult
{
    int value = 0;
    wchar_t text[MAX_SIZE] = {};
};

int CLibrary(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args)
{
    return __real_vswprintf(buffer, size, format, args);
}

using Format = int(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

SResult CallWith(Format* function, std::size_t size, const wchar_t* format, ...)
{
    SResult result;
    std::wmemset(result.text, UNTOUCHED, MAX_SIZE);
    va_list args;
    va_start(args, format);
    result.value = function(result.text, size, format, args);
    va_end(args);
    result.text[MAX_SIZE - 1] = L'\0';
    return result;
}

enum class Kind { INT, LONG_LONG, LONG, DOUBLE, STRING, WIDE_STRING, POINTER };

struct SArgument
{
    Kind kind = Kind::INT;
    int width = 0; ///< for the asterisks in front of the argument
    int precision = 0;
    long long integer = 0;
    double real = 0;
    const void* pointer = nullptr;
};

/// Calls the function with an argument list of up to three arguments. Each has two int in front of it, for its width
/// and its precision, which the format either takes with asterisks or does not have at all.
class Caller
{
public:
    Caller(Format* function, std::size_t size, const std::wstring& format, const std::vector<SArgument>& arguments)
        : m_pFunction(function)
        , m_Size(size)
        , m_Format(format)
        , m_Arguments(arguments)
    {
    }

    template <class... Passed>
    SResult Call(Passed... passed) const
    {
        if constexpr (sizeof...(Passed) < 9) {
            if (sizeof...(Passed) < 3 * m_Arguments.size()) {
                return CallWithNext(m_Arguments[sizeof...(Passed) / 3], passed...);
            }
        }
        return CallWith(m_pFunction, m_Size, m_Format.c_str(), passed...);
    }

private:
    template <class... Passed>
    SResult CallWithNext(const SArgument& next, Passed... passed) const
    {
        switch (next.kind) {
        case Kind::INT:
            return Call(passed..., next.width, next.precision, static_cast<int>(next.integer));
        case Kind::LONG_LONG:
            return Call(passed..., next.width, next.precision, next.integer);
        case Kind::LONG:
            return Call(passed..., next.width, next.precision, static_cast<long>(next.integer));
        case Kind::DOUBLE:
            return Call(passed..., next.width, next.precision, next.real);
        default:
            return Call(passed..., next.width, next.precision, next.pointer);
        }
    }

    Format* m_pFunction;
    std::size_t m_Size;
    const std::wstring& m_Format;
    const std::vector<SArgument>& m_Arguments;
};

/// Draws formats and arguments that fit them.
class Messages
{
public:
    std::wstring format;
    std::vector<SArgument> arguments;
    std::size_t size = 0;

    void Draw()
    {
        format.clear();
        arguments.clear();
        DrawLiteral();
        for (int left = m_Random.Between(0, 3); left > 0; --left) {
            DrawConversion();
            DrawLiteral();
        }
        if (m_Random.OneIn(100)) {
            const wchar_t* const broken[] = {L"%", L"%5", L"%y", L"%-", L"%.", L"%l", L"%m"};
            format += m_Random.AnyOf(broken);
        }
        size = static_cast<std::size_t>(m_Random.OneIn(2) ? m_Random.Between(1, 60) : 1000);
    }

private:
    void DrawLiteral()
    {
        const wchar_t* const literals[] = {L"", L"", L" ", L"a", L"text ", L"%%", L"100%% of ", L"\x20AC"};
        format += m_Random.AnyOf(literals);
    }

    void DrawConversion()
    {
        SArgument argument;
        // The two int in front of the argument are its width and precision, or have conversions of their own.
        const bool asterisks = m_Random.OneIn(3);
        argument.width = m_Random.OneIn(20) ? m_Random.Between(-2000, 2000) : m_Random.Between(-30, 30);
        argument.precision = m_Random.OneIn(20) ? m_Random.Between(-5, 500) : m_Random.Between(-3, 20);
        format += asterisks ? L"%" : L"%d,%x%";
        while (m_Random.OneIn(3)) {
            const wchar_t flags[] = {L'-', L'+', L' ', L'#', L'0'};
            format += m_Random.AnyOf(flags);
        }
        if (asterisks) {
            format += L"*.*";
        } else {
            DrawDigits();
        }
        DrawLetter(argument);
        arguments.push_back(argument);
    }

    void DrawDigits()
    {
        if (m_Random.OneIn(2)) {
            format += std::to_wstring(m_Random.Between(1, m_Random.OneIn(50) ? 20000 : 25));
        }
        if (m_Random.OneIn(2)) {
            format += L'.';
            if (!m_Random.OneIn(5)) {
                format += std::to_wstring(m_Random.Between(0, m_Random.OneIn(50) ? 400 : 20));
            }
        }
    }

    void DrawLetter(SArgument& argument)
    {
        switch (m_Random.Between(0, 9)) {
        case 0:
        case 1:
        case 2:
            return DrawInteger(argument);
        case 3:
        case 4:
            argument.kind = Kind::DOUBLE;
            argument.real = DrawReal();
            format += m_Random.OneIn(10) ? L'g' : L'f';
            return;
        case 5:
            argument.integer = m_Random.OneIn(10) ? m_Random.Between(128, 255) : m_Random.Between(0, 127);
            format += L"c";
            return;
        case 6:
            argument.integer = m_Random.OneIn(10) ? 0x20AC : m_Random.Between(0, 127);
            format += L"lc";
            return;
        case 7: {
            const void* const pointers[] = {nullptr, this, reinterpret_cast<const void*>(UINTPTR_MAX)};
            argument.kind = Kind::POINTER;
            argument.pointer = m_Random.AnyOf(pointers);
            format += L'p';
            return;
        }
        default:
            return DrawString(argument);
        }
    }

    void DrawInteger(SArgument& argument)
    {
        const long long values[] = {0,         1,         -1,      9,         10,       99,        100,      INT_MIN,
                                    INT_MAX,   UINT_MAX,  255,     128,       65535,    32768,     -32769,   LLONG_MIN,
                                    LLONG_MAX, LLONG_MIN, INT_MIN, 999999999, 10000000, 123456789, 1LL << 33};
        argument.integer = m_Random.OneIn(2) ? m_Random.AnyOf(values) : DrawBits() >> m_Random.Between(0, 63);
        const wchar_t* const lengths[] = {L"", L"", L"", L"h", L"hh", L"l", L"ll", L"z", L"j", L"t"};
        const std::wstring length = m_Random.AnyOf(lengths);
        if (length == L"ll" || length == L"j") {
            argument.kind = Kind::LONG_LONG;
        } else if (length == L"l" || length == L"z" || length == L"t") {
            argument.kind = Kind::LONG;
        }
        const wchar_t letters[] = {L'd', L'i', L'u', L'x', L'X', L'd', L'o'};
        format += length + m_Random.AnyOf(letters);
    }

    void DrawString(SArgument& argument)
    {
        static const std::string longOne(998, 'y');
        static const std::wstring wideLongOne(998, L'Y');
        const char* const narrow[] = {"",         "a",      "fifteen letters", longOne.c_str(), longOne.c_str() + 950,
                                      "\xC3\xA9", "ab\xFF", nullptr,           "some text",     "\x01 and \x11"};
        const wchar_t* const wide[] = {L"",         L"a",   L"fifteen letters", wideLongOne.c_str(), L"\x20AC",
                                       L"\x10FFFF", nullptr};
        argument.kind = m_Random.OneIn(2) ? Kind::STRING : Kind::WIDE_STRING;
        if (argument.kind == Kind::STRING) {
            argument.pointer = m_Random.AnyOf(narrow);
            format += L's';
        } else {
            argument.pointer = m_Random.AnyOf(wide);
            format += L"ls";
        }
    }

    double DrawReal()
    {
        const double values[] = {0.0,
                                 -0.0,
                                 0.5,
                                 1.5,
                                 2.5,
                                 0.125,
                                 1e15,
                                 1e16,
                                 1e22,
                                 1e23,
                                 123456.789,
                                 -9.9999995,
                                 DBL_MAX,
                                 DBL_MIN,
                                 5e-324,
                                 0.1,
                                 9007199254740993.0,
                                 999999.9999995,
                                 1e-7,
                                 5e-7,
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN(),
                                 -std::numeric_limits<double>::quiet_NaN()};
        switch (m_Random.Between(0, 3)) {
        case 0:
            return m_Random.AnyOf(values);
        case 1:
            return m_Random.Between(-1000000, 1000000) / 1024.0;
        case 2:
            return m_Random.Between(-1000000, 1000000) / 1000.0;
        default: {
            const long long bits = DrawBits();
            double real = 0;
            std::memcpy(&real, &bits, sizeof real);
            return real;
        }
        }
    }

    long long DrawBits()
    {
        const std::uint64_t high = m_Random();
        return static_cast<long long>(high << 32 | m_Random());
    }

    SeededRandom m_Random;
};

/// Restores locale and rounding, of which each test has its own.
class MessageFormatModelTest : public testing::Test
{
protected:
    ~MessageFormatModelTest() override
    {
        std::setlocale(LC_ALL, "C");
        std::fesetround(FE_TONEAREST);
    }

    /// Stops at the first difference. Returns how many of the messages went to the C library, in percent.
    static int CompareMany()
    {
        Messages messages;
        const int count = ByDepth(60000, 1000000);
        unsigned long fallBacks = 0;
        for (int i = 0; i < count; ++i) {
            messages.Draw();
            g_FallBacks = 0;
            const SResult ours = Caller(FormatMessage, messages.size, messages.format, messages.arguments).Call();
            fallBacks += g_FallBacks;
            const SResult theirs = Caller(CLibrary, messages.size, messages.format, messages.arguments).Call();
            if (ours.value != theirs.value || std::wcscmp(ours.text, theirs.text) != 0 ||
                (ours.value > 0 && std::wmemcmp(ours.text, theirs.text, static_cast<std::size_t>(ours.value)) != 0)) {
                ADD_FAILURE() << "message " << i << ", format " << testing::PrintToString(messages.format) << ", size "
                              << messages.size << "\nours   " << ours.value << ' ' << testing::PrintToString(ours.text)
                              << "\ntheirs " << theirs.value << ' ' << testing::PrintToString(theirs.text);
                break;
            }
        }
        return static_cast<int>(fallBacks * 100 / static_cast<unsigned long>(count));
    }
};

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryInTheLocaleC)
{
    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
    EXPECT_LT(fallBacks, 75);
}

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryInUtf8)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);

    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
    EXPECT_LT(fallBacks, 75);
}

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryWithADecimalComma)
{
    if (!CompiledLocale::HasSource("de_DE")) {
        GTEST_SKIP() << "no source of the locale; the package locales has it";
    }
    const CompiledLocale german("de_DE", "UTF-8");
    ASSERT_TRUE(german.IsSet());

    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
}

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryInAnOlderCharset)
{
    if (!CompiledLocale::HasSource("ja_JP")) {
        GTEST_SKIP() << "no source of the locale; the package locales has it";
    }
    const CompiledLocale japanese("ja_JP", "EUC-JP");
    ASSERT_TRUE(japanese.IsSet());

    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
    EXPECT_LT(fallBacks, 75);
}

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryInACharsetWithoutAllOfAscii)
{
    const CompiledLocale vietnamese("vi_VN", "TCVN5712-1");
    ASSERT_TRUE(vietnamese.IsSet());

    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
}

TEST_F(MessageFormatModelTest, TextsAreThoseOfTheCLibraryWhenNumbersRoundUp)
{
    ASSERT_EQ(std::fesetround(FE_UPWARD), 0);

    const int fallBacks = CompareMany();

    EXPECT_GT(fallBacks, 5);
}

} // namespace

extern "C" int __wrap_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

extern "C" int __wrap_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args)
{
    ++g_FallBacks;
    return __real_vswprintf(buffer, size, format, args);
}
