#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

using namespace QuarnTest;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

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
    EXPECT_THAT(run.output, MatchesRegex(file + "info: m=12" + STAMP + "axis 2 up\n" + //
                                         "syslog 4: " + file +
                                         "m=12: axis 2 warm: 63.5 \xC2\xB0"
                                         "C\n" + //
                                         file +
                                         "warning: m=12" + STAMP +
                                         "axis 2 warm: 63.5 \xC2\xB0"
                                         "C\n" + //
                                         "syslog 3: " +
                                         file + "m=12: axis 2 stands still\n" + //
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

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "plugin-host: /nowhere.so: cannot open shared object file: No such file or directory\n");
}

TEST(LoggerExamplesTest, LibraryThatIsNoPluginIsReported)
{
    const SFinishedProcess run = RunCommand(PLUGIN_HOST " libdl.so.2");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, MatchesRegex("plugin-host: .*undefined symbol: StartPlugin\n"
                                         "plugin-host: .*undefined symbol: StopPlugin\n"));
}

TEST(LoggerExamplesTest, ProgramsWithoutTheirArgumentTellTheirUsage)
{
    for (const char* arguments : {"", " --help", " one two"}) {
        const SFinishedProcess host = RunCommand(std::string(PLUGIN_HOST) + arguments);
        EXPECT_EQ(host.exitCode, 2);
        EXPECT_EQ(host.errors, "usage: plugin-host PLUGIN\n");
        const SFinishedProcess fifo = RunCommand(std::string(OPTIONS_FIFO) + arguments);
        EXPECT_EQ(fifo.exitCode, 2);
        EXPECT_EQ(fifo.errors, "usage: options-fifo FIFO\n");
    }
}

TEST(LoggerExamplesTest, OptionsComeFromNothingButAFifo)
{
    const TempDir dir;
    dir.Write("plain", "ldebug\n");
    for (const char* name : {"plain", "."}) {
        const SFinishedProcess run = RunCommand(Inside(dir) + "exec timeout 20 " OPTIONS_FIFO " " + name);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "options-fifo: " + std::string(name) + ": not a FIFO; mkfifo makes one\n");
    }

    const SFinishedProcess run = RunCommand(Inside(dir) + "exec timeout 20 " OPTIONS_FIFO " missing");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors, "options-fifo: missing: No such file or directory\n");
}

TEST(LoggerExamplesTest, FifoThatIsRemovedEndsTheWaitForOptions)
{
    const TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("control").c_str(), 0600), 0);

    const SFinishedProcess run = RunCommand(
        Inside(dir) + "{ timeout 20 " OPTIONS_FIFO " control & exec 3>control; rm control; exec 3>&-; wait $!; }");

    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors, "options-fifo: control: No such file or directory\n");
}

TEST(LoggerExamplesTest, OptionsBeyondAsciiAreAppliedAndLogged)
{
    const TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("control").c_str(), 0600), 0);

    const SFinishedProcess run =
        RunCommand(Inside(dir) + "{ timeout 20 " OPTIONS_FIFO
                                 " control & printf 'ldebug;Lcaf\\303\\251\\377-%%T.txt\\nldebug\\nquit\\n' "
                                 ">control; wait $!; }");

    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(dir.Names().size(), 2U);
    const std::string name = *dir.Names().begin();
    EXPECT_THAT(name, StartsWith("caf\xC3\xA9\xFF-"));
    EXPECT_THAT(dir.Read(name), EndsWith(": log options: ldebug;Lcaf\xC3\xA9?-%T.txt\n"));
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
