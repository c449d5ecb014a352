// Log calls that are right, each in its own way. Compiled by check-accepted in all language versions, with all warnings
// as errors; never run.

#include <QuarnLogging/Log.h>

#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Accepted {

enum EPlain { PLAIN_ONE, PLAIN_TWO };
enum ENegative { NEGATIVE_ONE = -1 };
enum EFixed : unsigned int { FIXED_ONE };
enum EByte : unsigned char { BYTE_ONE };
enum class ECategory { Axis = 3, Bus = 4 };
enum ECategoryOfOldStyle : int { CATEGORY_AXIS = 3 };

struct SFields
{
    unsigned int three : 3;
    int four : 4;
    EPlain plain : 2;
    unsigned char text[4];
    static const int CONSTANT = 5; // without a definition
};

struct __attribute__((packed)) SPacked
{
    char first;
    int number;
};

struct SIncomplete;
template <int First, int Second>
int Sum()
{
    return First + Second;
}

#if __cplusplus >= 201703L
constexpr wchar_t NAMED_FORMAT[] = L"axis %d";
#endif

void LogIntegers(long l, unsigned long ul, long long ll, unsigned long long ull, short s, unsigned short us, bool b)
{
    QUARN_INFO(1, L"%d %i %u %x %X %o", 1, -1, 1U, 1U, 1, 1U);
    QUARN_INFO(1, L"%ld %li %lu %lx %lX %lo", l, l, ul, ul, l, ul);
    QUARN_INFO(1, L"%lld %lli %llu %llx %llX %llo", ll, ll, ull, ull, ll, ull);
    QUARN_INFO(1, L"%hd %hu %hx %d %u %d", s, us, us, s, us, us);
    QUARN_INFO(1, L"%d %u %x", b, b, b);
    QUARN_INFO(1, L"%zu %zx %td %jd %ju", sizeof l, sizeof l, std::ptrdiff_t{1}, std::intmax_t{1}, std::uintmax_t{1});
    QUARN_INFO(1, L"%d %u", std::int32_t{1}, std::uint32_t{1});
    QUARN_INFO(1, L"%d %d %u", std::int8_t{1}, std::int16_t{1}, std::uint16_t{1});
    QUARN_INFO(1, L"%hhd %hhu %hhx", static_cast<signed char>(1), std::uint8_t{1}, std::uint8_t{1});
    // The macros of <cinttypes> are right on both word sizes.
    QUARN_INFO(1, L"%" PRId64 L" %" PRIu64 L" %" PRIx32, std::int64_t{1}, std::uint64_t{1}, std::uint32_t{1});
}

void LogWhatHasTheWordSize(std::int64_t i64, std::size_t size)
{
#ifdef __x86_64__
    QUARN_INFO(1, L"%ld %lu", i64, size);
    QUARN_INFO(1, L"%jd", 1L);
#else
    QUARN_INFO(1, L"%lld %u", i64, size);
    QUARN_INFO(1, L"%jd", 1LL);
#endif
}

void LogCharactersAndStrings(char c, wchar_t w, const std::string& s, const std::wstring& ws)
{
    char array[8] = "array";
    const wchar_t wideArray[] = L"array";
    QUARN_INFO(1, L"%c %lc %C %c", c, w, w, 'c');
    QUARN_INFO(1, L"%s %s %s", "literal", array, s.c_str());
    QUARN_INFO(1, L"%ls %S %ls %ls", L"literal", L"literal", wideArray, ws.c_str());
    QUARN_INFO(1, L"%-10s|%10ls|%.3s|%-*.*ls|", "a", L"b", "c", 5, 2, L"d");
    QUARN_INFO(1, L"%s", __func__);
    QUARN_INFO(1, L"%d %x %d", w, w, c);
}

void LogFloatingPoint(float f, double d, long double ld)
{
    QUARN_INFO(1, L"%f %e %g %a %F %E %G %A", d, d, d, d, d, d, d, d);
    QUARN_INFO(1, L"%f %lf %Lf %Lg", f, d, ld, ld);
    QUARN_INFO(1, L"%+08.3f % g %#a %-10e %'f %.f %.*f %*f", d, d, d, d, d, d, 2, d, 10, d);
}

void LogPointers(void* p, const volatile int* v, SIncomplete* incomplete, const SIncomplete& reference)
{
    QUARN_INFO(1, L"%p %p %p %p %p", p, v, static_cast<const void*>(incomplete), nullptr, "text");
    QUARN_INFO(1, L"%p %-20p", static_cast<const void*>(&reference), p);
}

void LogFlags()
{
    QUARN_INFO(1, L"%+d % d %05d %-5d %'d %#x %#X %#o %-#8x %08X %.3d %999d", 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1);
    QUARN_INFO(1, L"100%% %%d");
    QUARN_INFO(1, L"");
    errno = ENOENT;
    QUARN_INFO(1, L"open: %m");
}

void LogEnumerations(EPlain plain, ENegative negative, EFixed fixed, EByte byte)
{
    QUARN_INFO(1, L"%d %u %x %d", plain, plain, plain, PLAIN_TWO);
    QUARN_INFO(1, L"%d %u %u %d", negative, fixed, byte, byte);
}

void LogMembers(SFields& fields, SPacked& packed, volatile int& v)
{
    QUARN_INFO(1, L"%u %d %d", fields.three, fields.four, fields.plain);
    QUARN_INFO(1, L"%d %d %d", SFields::CONSTANT, packed.number, v);
    fields.three = 1;
    packed.first = 'x';
}

void LogToCategories(ECategory category, int number)
{
    QUARN_DEBUG(category, L"enum class");
    QUARN_WARNING(ECategory::Bus, L"enum class");
    QUARN_ERROR(CATEGORY_AXIS, L"enum");
    QUARN_LOG(2500, number, L"a level without a name");
    QUARN_LOG(Quarn::Logging::LEVEL_INFO, 'x', L"a small integer");
    QUARN_LOG_SCOPE(category);
    QUARN_LOG_EVERY_NTH(10, Quarn::Logging::LEVEL_INFO, ECategory::Axis, L"n %d", 1);
    QUARN_LOG_AT_MOST_EVERY(1000, Quarn::Logging::LEVEL_INFO, ECategory::Axis, L"n %d", 1);
}

void LogInBranches(bool condition)
{
    if (condition)
        QUARN_INFO(1, L"then %d", 1);
    else
        QUARN_INFO(1, L"else");
    if (condition)
        QUARN_LOG_EVERY_NTH(2, 2000, 1, L"then");
    else
        QUARN_LOG_AT_MOST_EVERY(2, 2000, 1, L"else");
    for (int i = 0; i < 2; ++i)
        QUARN_INFO(1, L"%d", i);
    condition ? static_cast<void>(0) : [] { QUARN_INFO(1, L"in a lambda"); }();
}

void LogInNestedScopes()
{
    QUARN_LOG_SCOPE(1);
    {
        QUARN_LOG_SCOPE(1);
        QUARN_LOG_EVERY_NTH(2, 2000, 1, L"%d", 1);
        {
            QUARN_LOG_SCOPE(1);
            QUARN_LOG_EVERY_NTH(2, 2000, 1, L"%d", 1);
        }
    }
}

void LogArgumentsWithCommas(int number)
{
    QUARN_INFO(1, L"%d", Sum<1, 2>());
    QUARN_INFO(
        1, L"%d %d", [](int a, int b) { return a + b; }(1, 2), [&] { return Sum<3, 4>() + number; }());
}

void LogFormatInParts(std::int64_t number)
{
    QUARN_INFO(1,
               L"a long format "
               L"in two parts %d and "
               "a narrow one %" PRId64,
               1, number);
}

template <class T>
void LogDependent(T value, const T* pointer)
{
    QUARN_INFO(1, L"%p %d", pointer, static_cast<int>(value));
    QUARN_INFO(1, L"%d", value);
    QUARN_LOG_SCOPE(1);
}
template void LogDependent<int>(int, const int*);
template void LogDependent<short>(short, const short*);

template <class... T>
void LogPack(T... values)
{
    QUARN_INFO(1, L"%d %s", values...);
}
template void LogPack<int, const char*>(int, const char*);

inline int LogInline(int value)
{
    QUARN_LOG_AT_MOST_EVERY(100, 2000, 1, L"%d", value);
    return value;
}

#if __cplusplus >= 201703L
void LogNamedFormat(int axis)
{
    static constexpr wchar_t LOCAL_FORMAT[] = L"local %d";
    QUARN_INFO(1, NAMED_FORMAT, axis);
    QUARN_INFO(1, LOCAL_FORMAT, axis);
}

constexpr int Divide(int dividend, int divisor)
{
    if (divisor == 0) {
        QUARN_ERROR(1, L"%d divided by zero", dividend);
        return 0;
    }
    return dividend / divisor;
}
static_assert(Divide(6, 3) == 2, "a function that logs stays constant where it does not");
int DivideAtRunTime(int dividend, int divisor) { return Divide(dividend, divisor); }
#endif

int g_LoggedWhileInitialising = [] {
    QUARN_INFO(1, L"text %d", 1);
    return 1;
}();

struct SMember
{
    ~SMember() { QUARN_INFO(1, L"%p", static_cast<void*>(this)); }
    int number = LogInline(1);
    void Log() const
    {
        QUARN_INFO(1, L"%d", number);
        const auto later = [this] { QUARN_INFO(1, L"%d", number); };
        later();
    }
};
void LogMember(const SMember& member) { member.Log(); }

} // namespace Accepted
