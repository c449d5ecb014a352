#ifndef QUARN_LOGGING_TESTS_FORMAT_CALL_H
#define QUARN_LOGGING_TESTS_FORMAT_CALL_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QuarnTest {

/// A format, made of fuzz data, and arguments of the types that it asks for.
class FormatCall
{
public:
    static constexpr std::size_t MAX_ARGUMENTS = 4;

    /// How an argument is passed. Types of the same size are passed alike, at both word sizes.
    enum class Kind { Int, LongLong, Double, LongDouble, Pointer };

    struct SArgument
    {
        Kind kind;
        long long integer = 0;
        long double real = 0;
        const void* pointer = nullptr;
    };

    explicit FormatCall(FuzzedDataProvider& data);

    const wchar_t* Format() const { return m_Format.c_str(); }
    const std::vector<SArgument>& Arguments() const { return m_Arguments; }
    int Error() const { return m_Error; } ///< errno at the time of the call, which "%m" shows.
    void ShowArguments() const;

private:
    std::wstring Literal();
    std::wstring Conversion();
    std::wstring Flags();
    std::wstring Width();
    std::wstring Precision();
    std::wstring IntegerConversion();
    std::wstring RealConversion();
    std::wstring StringConversion();
    std::wstring CharacterConversion();
    std::wstring Star();
    std::wstring PrecisionStar();

    void AddInteger(std::size_t bytes);
    template <class Character>
    const void* MakeString();

    FuzzedDataProvider& m_Data;
    bool m_IsPositional;
    std::wstring m_Format;
    std::vector<SArgument> m_Arguments;
    std::vector<std::unique_ptr<char[]>> m_Strings; ///< Each as large as it is long, for the address sanitizer.
    int m_Error;
    int m_Precision = -1; ///< Of the current conversion; -1 for none.
};

} // namespace QuarnTest

#endif
