#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

using namespace QuarnTest;
using testing::MatchesRegex;

namespace {

// A line of the built-in logger behind its file name and line.
constexpr char STAMP[] = " t=[0-9]{4}\\.[0-9]{2}\\.[0-9]{2}-[0-9:]{8}\\.[0-9]{3} tid=0x[0-9a-f]+: ";

TEST(LoggerExamplesTest, SyslogReceivesWarningsAndErrorsBesideTheConsole)
{
    const SFinishedProcess run = RunCommand(SYSLOG_LOGGER);

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    // The newest logger has each message first.
    const std::string file = "loggers/syslog-logger.cpp:[0-9]+: ";
    EXPECT_THAT(run.output, MatchesRegex(file + "info: m=12" + STAMP + "axis 2 up\n" +                //
                                         "syslog 4: " + file + "m=12: axis 2 slow: 3.5 mm/s\n" +      //
                                         file + "warning: m=12" + STAMP + "axis 2 slow: 3.5 mm/s\n" + //
                                         "syslog 3: " + file + "m=12: axis 2 stands still\n" +        //
                                         file + "error: m=12" + STAMP + "axis 2 stands still\n"));
}

TEST(LoggerExamplesTest, LastMessagesAreKeptForATest)
{
    const SFinishedProcess run = RunCommand(LAST_MESSAGES);

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "60 mm/s\n20 mm/s\nstanding\nas expected\n");
    EXPECT_EQ(run.errors, "");
}

TEST(LoggerExamplesTest, PluginReceivesTheLogWhileItIsLoaded)
{
    const SFinishedProcess run = RunCommand(PLUGIN_HOST " " PLUGIN_LOGGER);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "plug-in: m=40: plug-in starts\n"
                          "plug-in: m=1: the plug-in listens\n"
                          "plug-in: m=40: plug-in stops\n");
}

TEST(LoggerExamplesTest, PluginThatIsMissingIsReported)
{
    const SFinishedProcess run = RunCommand(PLUGIN_HOST " /nowhere.so");

    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "usage: plugin-host PLUGIN\n");
}

TEST(LoggerExamplesTest, OptionsFromTheFifoAreAppliedInTurn)
{
    const TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("control").c_str(), 0600), 0);
    const std::string fifo = Quoted(dir.File("control"));

    const SFinishedProcess run = RunCommand(OPTIONS_FIFO " " + fifo + " & printf 'ldebug\\nlerror\\n' >" + fifo +
                                            "; printf 'lwarning;o7D\\no-1E\\n\\nquit\\n' >" + fifo + "; wait");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    const std::string head = "loggers/options-fifo.cpp:[0-9]+: debug: m=7" + std::string(STAMP);
    EXPECT_THAT(run.output, MatchesRegex(head + "log options: ldebug\n" + head + "log options: lwarning;o7D\n"));
}

} // namespace
