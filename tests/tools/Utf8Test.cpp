#include "Utf8.h"

#include <gtest/gtest.h>

using namespace Quarn::Logging::Tool;

namespace {

TEST(Utf8Test, EveryLengthIsEncoded)
{
    EXPECT_EQ(ToUtf8(L"a\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
              "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(Utf8Test, ValidBytesStay)
{
    const std::string valid = "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";

    EXPECT_EQ(CleanUtf8(valid), valid);
}

TEST(Utf8Test, EachByteThatBelongsToNoCharacterIsReplaced)
{
    const std::string mark = "\xEF\xBF\xBD";

    EXPECT_EQ(CleanUtf8("\x80"), mark);
    EXPECT_EQ(CleanUtf8("a\xE2\x82"), "a" + mark + mark) << "cut short";
    EXPECT_EQ(CleanUtf8("\xC1\x81"), mark + mark) << "too long a form of A";
    EXPECT_EQ(CleanUtf8("\xE0\x81\x81"), mark + mark + mark);
    EXPECT_EQ(CleanUtf8("\xED\xA0\x80"), mark + mark + mark) << "half of a pair";
    EXPECT_EQ(CleanUtf8("\xF4\x90\x80\x80z"), mark + mark + mark + mark + "z") << "beyond Unicode";
    EXPECT_EQ(CleanUtf8("\xC3z"), mark + "z");
}

TEST(Utf8Test, ControlCharactersAreReplacedButTabAndLineFeed)
{
    EXPECT_EQ(WithoutControls(std::string_view("a\x1b[m\t\n\x7F\xC2\x9B")),
              "a\xEF\xBF\xBD[m\t\n\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(WithoutControls(std::wstring_view(L"a\x1b[m\t\n\x7F\x9B")), L"a\uFFFD[m\t\n\uFFFD\uFFFD");
}

} // namespace
