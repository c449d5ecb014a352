// What the statements of refused.txt use.

#include <QuarnLogging/Log.h>

#include <cstddef>
#include <cstdint>

enum class EScoped { ONE };
enum EFixed : unsigned int { FIXED_ONE };
struct SObject
{
    int number;
};
struct SIncomplete;
template <class Character>
struct SString
{
    const Character* c_str() const;
};

extern int i;
extern unsigned int u;
extern short s;
extern long l;
extern unsigned long ul;
extern long long ll;
extern unsigned long long ull;
extern std::int64_t i64;
extern std::uint64_t u64;
extern std::size_t size;
extern std::ptrdiff_t difference;
extern std::intmax_t largest;
extern char c;
extern wchar_t w;
extern char* text;
extern const wchar_t* wideText;
extern unsigned char bytes[4];
extern volatile char volatileText[4];
extern SString<char> string;
extern SString<wchar_t> wideString;
extern float f;
extern double d;
extern long double ld;
extern void* p;
extern SObject object;
extern SIncomplete& incomplete;
extern SObject* pObject;
void Function();
