#include "TempDir.h"

#include <QuarnLogging/Logging.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <string>

using namespace QuarnTest;

namespace {

/// The permissions of a file, in octal.
std::string ModeOf(const std::string& file)
{
    struct stat status
    {
    };
    stat(file.c_str(), &status);
    char octal[16];
    std::snprintf(octal, sizeof octal, "%04o", static_cast<unsigned int>(status.st_mode & 07777));
    return octal;
}

struct SUmask
{
    const char* name;
    mode_t mask;
    const char* file;
    const char* folder;
};

void PrintTo(const SUmask& umask, std::ostream* out) { *out << umask.name; }

class UmaskTest : public testing::TestWithParam<SUmask>
{
protected:
    ~UmaskTest() override
    {
        SetLogOptions(L"l0");
        umask(m_Before);
    }

    TempDir m_Dir;
    const mode_t m_Before = umask(GetParam().mask);
};

TEST_P(UmaskTest, DecidesAboutTheLogFileAndItsFolder)
{
    SetLogOptions((L"ldebug;L" + m_Dir.Wide("log/app.txt")).c_str());

    EXPECT_EQ(ModeOf(m_Dir.File("log/app.txt")), GetParam().file);
    EXPECT_EQ(ModeOf(m_Dir.File("log")), GetParam().folder);
}

INSTANTIATE_TEST_SUITE_P(UmaskTest, UmaskTest,
                         testing::Values(SUmask{"OwnerAlone", 077, "0600", "0700"},
                                         SUmask{"OthersMayRead", 022, "0644", "0755"},
                                         SUmask{"OthersMayDoAll", 0, "0666", "0755"}),
                         [](const testing::TestParamInfo<SUmask>& umask) { return std::string(umask.param.name); });

} // namespace
