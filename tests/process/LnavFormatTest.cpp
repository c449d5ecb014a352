#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <string>

using namespace QuarnTest;

namespace {

/// The log viewer lnav with the format definition that is installed, in a home of its own.
class LnavFormatTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (RunCommand("command -v lnav").exitCode != 0) {
            GTEST_SKIP() << "lnav is not installed";
        }
        std::filesystem::create_directories(m_Dir.Path() / "config/formats/installed");
        std::filesystem::copy(LNAV_FORMAT, m_Dir.Path() / "config/formats/installed");
    }

    /// What lnav selects from log.txt, as comma-separated values.
    std::string Select(const std::string& what) const
    {
        const SFinishedProcess run =
            RunCommand(Inside(m_Dir) + "HOME=$PWD XDG_CONFIG_HOME=$PWD TMPDIR=$PWD timeout 60 lnav" +
                       " -n -N -q -I config -c ';SELECT " + what + " FROM quarn_logging' -c ':write-csv-to -' log.txt");
        EXPECT_EQ(run.exitCode, 0) << run.errors;
        return run.output;
    }

    /// Writes the program's output to log.txt and returns it.
    std::string Record(const std::string& command) const
    {
        const SFinishedProcess run = RunCommand(command);
        EXPECT_EQ(run.exitCode, 0) << run.errors;
        m_Dir.Write("log.txt", run.output);
        return run.output;
    }

    static std::string NumberOf(const std::string& text, const std::string& part)
    {
        int number = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++number;
        }
        return std::to_string(number);
    }

    TempDir m_Dir;
};

TEST_F(LnavFormatTest, EachPartOfALineIsRecognised)
{
    m_Dir.Write("log.txt", "motion/axis:118: warning: m=12 t=2024.05.17-13:45:09.120 tid=0x1a2b: axis 2 slow\n"
                           "C:/motion/axis.cpp:7: debug: m=-3 t=2024.05.17-13:45:10.000 tid=0xf7d0b740: a:1: b\n");

    EXPECT_EQ(Select("log_time, log_level, file, line, category, thread, log_body"),
              "log_time,log_level,file,line,category,thread,log_body\n"
              "2024-05-17 13:45:09.120,warning,motion/axis,118,12,0x1a2b,axis 2 slow\n"
              "2024-05-17 13:45:10.000,debug,C:/motion/axis.cpp,7,-3,0xf7d0b740,a:1: b\n");
}

TEST_F(LnavFormatTest, LevelsOfColouredLinesAreRecognised)
{
    const std::string rest = " m=1 t=2024.05.17-13:45:09.120 tid=0x1: text\x1b[0m\n";
    m_Dir.Write("log.txt", "\x1b[36ma:1: debug:" + rest + "\x1b[32ma:1: info:" + rest + "\x1b[33ma:1: warning:" + rest +
                               "\x1b[31ma:1: error:" + rest);

    EXPECT_EQ(Select("log_level, file, log_body"), "log_level,file,log_body\n"
                                                   "debug,a,text\n"
                                                   "info,a,text\n"
                                                   "warning,a,text\n"
                                                   "error,a,text\n");
}

TEST_F(LnavFormatTest, LevelWithoutANameIsTakenForNoOther)
{
    m_Dir.Write("log.txt", "a:1: ?: m=1 t=2024.05.17-13:45:09.120 tid=0x1: text\n"
                           "\x1b[0ma:1: ?: m=2 t=2024.05.17-13:45:09.120 tid=0x1: text\x1b[0m\n");

    EXPECT_EQ(Select("category, log_level, log_body"), "category,log_level,log_body\n1,notice,text\n2,notice,text\n");
}

TEST_F(LnavFormatTest, LineOfTheHelloExampleIsRecognised)
{
    const std::string output = Record(HELLO_PROGRAM);

    const std::size_t time = output.find("t=") + 2;
    const std::size_t thread = output.find("tid=") + 4;
    ASSERT_LT(time, thread);
    // 2024.05.17-13:45:09.120 is 2024-05-17 13:45:09.120 to lnav.
    std::string lnavTime = output.substr(time, 23);
    lnavTime[4] = lnavTime[7] = '-';
    lnavTime[10] = ' ';
    EXPECT_EQ(Select("log_time, log_level, file, line, category, thread, log_body"),
              "log_time,log_level,file,line,category,thread,log_body\n" + lnavTime + ",warning,hello/hello.cpp,8,12," +
                  output.substr(thread, output.find(": axis") - thread) + ",axis 2 slow: 3.5 mm/s\n");
}

TEST_F(LnavFormatTest, NoticeOfDroppedMessagesBreaksNothing)
{
    const std::string output = Record(CONTROL_LOOP_PROGRAM " --unpaced --scenario overload --options 'linfo;o4D'");

    ASSERT_EQ(NumberOf(output, "Messages dropped"), "1");
    const std::string lines = NumberOf(output, " tid=0x");
    EXPECT_EQ(Select("count(*) AS n, count(category) AS c"), "n,c\n" + lines + "," + lines + "\n");
}

TEST_F(LnavFormatTest, NoticeOfDroppedMessagesMayStandFirst)
{
    m_Dir.Write("log.txt", "3 Messages dropped (internal queue full)\n"
                           "a:1: info: m=1 t=2024.05.17-13:45:09.120 tid=0x1: text\n");

    // lnav shows it as a line without a category.
    EXPECT_EQ(Select("count(category) AS n, max(thread) AS thread"), "n,thread\n1,0x1\n");
}

} // namespace
