#include <gtest/gtest.h>

#include <string>

// The prefix of this very file, as its build file names it.
#define QUARN_LOG_PATH_PREFIX QUARN_TEST_FOLDER
#include <QuarnLogging/Log.h>

using namespace Quarn::Logging;

namespace {

const char* g_pFile = nullptr;

void TakeFile(int, int, const char* file, int, const wchar_t*, va_list) { g_pFile = file; }

class PathPrefixTest : public testing::Test
{
protected:
    PathPrefixTest() { SetLogFunc(TakeFile); }
    ~PathPrefixTest() override { SetLogFunc(BuiltInLogging); }
};

TEST_F(PathPrefixTest, PrefixIsLeftOffTheFileName)
{
    QUARN_INFO(-1, L"text");

    EXPECT_STREQ(g_pFile, "PathPrefixTest.cpp");
}

TEST_F(PathPrefixTest, ScopeLeavesThePrefixOff)
{
    QUARN_LOG_SCOPE(-1);

    EXPECT_STREQ(g_pFile, "PathPrefixTest.cpp");
}

TEST_F(PathPrefixTest, OtherPathsStayAsTheyAre)
{
    EXPECT_EQ(PrefixLength("/a/b/c.cpp", "/a/b/", 0), 5U);
    EXPECT_EQ(PrefixLength("/a/x/c.cpp", "/a/b/", 0), 0U);
    EXPECT_EQ(PrefixLength("/a", "/a/b/", 0), 0U);
    EXPECT_EQ(PrefixLength("c.cpp", "", 0), 0U);
}

} // namespace
