#include "Subprocess.h"
#include "TempDir.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::Each;
using testing::EndsWith;
using testing::Gt;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char LINE[] = "control-loop/[A-Za-z]+\\.(cpp|h):[0-9]+: (debug|info|warning|error): m=[1-4] "
                        "t=[0-9]{4}\\.[0-9]{2}\\.[0-9]{2}-[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} tid=0x[0-9a-f]+: .+";
constexpr char NOTICE[] = "[0-9]+ Messages dropped \\(internal queue full\\)";
constexpr char ACCOUNT[] = "control-loop: [0-9]+ messages sent, [0-9]+ dropped";

/// Runs the example in a folder of its own. At half time its log moves from the console to a file and all categories
/// but the machine become verbose; then a burst overflows the queue.
class ControlLoopExampleTest : public testing::Test
{
protected:
    void Run(const std::string& arguments)
    {
        const std::string command =
            Inside(m_Dir) + QuarnTest::Quoted(CONTROL_LOOP_PROGRAM) + " " + arguments + " >console.txt 2>errors.txt";
        m_ExitStatus = std::system(command.c_str());
    }

    /// Without a limit of the file's size the one renaming is at exit, and nothing waits for a free name.
    void RunOverload(const std::string& sizeOption = "")
    {
        Run("--unpaced --scenario overload --later 'linfo;o2D3D4D;Llog/axis-%T.txt;N9" + sizeOption + "'");
    }

    std::vector<std::string> LinesOf(const std::string& name) const
    {
        std::vector<std::string> lines;
        std::ifstream file(m_Dir.File(name));
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::vector<std::string> ConsoleLines(const std::string& regex) const
    {
        std::vector<std::string> lines;
        for (const std::string& line : LinesOf("console.txt")) {
            if (testing::Matches(MatchesRegex(regex))(line)) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    std::vector<std::string> FileLines() const
    {
        std::vector<std::string> lines;
        for (const std::string& name : m_Dir.Names("log")) {
            const std::vector<std::string> more = LinesOf("log/" + name);
            lines.insert(lines.end(), more.begin(), more.end());
        }
        return lines;
    }

    QuarnTest::TempDir m_Dir;
    int m_ExitStatus = -1;
};

TEST_F(ControlLoopExampleTest, OverloadEndsWithSuccessAndWithoutErrors)
{
    RunOverload();

    EXPECT_EQ(m_ExitStatus, 0);
    EXPECT_THAT(LinesOf("errors.txt"), IsEmpty());
}

TEST_F(ControlLoopExampleTest, WrongArgumentIsNamedBeforeTheUsage)
{
    const std::pair<const char*, const char*> wrong[] = {
        {"--unpased", "control-loop: unknown option --unpased"},
        {"calm", "control-loop: unknown option calm"},
        {"--later", "control-loop: --later needs a value"},
        {"--scenario storm", "control-loop: --scenario cannot be storm"},
        {"--burst 2k", "control-loop: --burst cannot be 2k"},
        {"--milliseconds 100000001", "control-loop: --milliseconds cannot be 100000001"}};
    for (const auto& [arguments, error] : wrong) {
        Run(arguments);

        EXPECT_EQ(WEXITSTATUS(m_ExitStatus), 2) << arguments;
        const std::vector<std::string> errors = LinesOf("errors.txt");
        ASSERT_THAT(errors, SizeIs(Gt(2U))) << arguments;
        EXPECT_EQ(errors[0], error);
        EXPECT_THAT(errors[1], StartsWith("usage: control-loop "));
        EXPECT_THAT(LinesOf("console.txt"), IsEmpty()) << arguments;
    }
}

TEST_F(ControlLoopExampleTest, HelpIsNoError)
{
    Run("--help");

    EXPECT_EQ(m_ExitStatus, 0);
    EXPECT_THAT(LinesOf("errors.txt"), IsEmpty());
    EXPECT_THAT(LinesOf("console.txt"), SizeIs(Gt(2U)));
}

TEST_F(ControlLoopExampleTest, ConsoleHoldsNothingButLinesOneNoticeAndTheAccount)
{
    RunOverload();

    const std::vector<std::string> all = LinesOf("console.txt");
    const std::size_t lines = ConsoleLines(LINE).size();
    EXPECT_THAT(lines, Gt(0U));
    EXPECT_THAT(ConsoleLines(NOTICE), SizeIs(1));
    EXPECT_THAT(ConsoleLines(ACCOUNT), SizeIs(1));
    EXPECT_THAT(all, SizeIs(lines + 2));
}

TEST_F(ControlLoopExampleTest, FilesHoldNothingButLines)
{
    RunOverload();

    const std::vector<std::string> lines = FileLines();
    EXPECT_THAT(lines, SizeIs(Gt(1000U)));
    EXPECT_THAT(lines, Each(MatchesRegex(LINE)));
}

TEST_F(ControlLoopExampleTest, FullFileAndLastFileHaveTimeStampedNames)
{
    RunOverload(";S512k");

    const std::set<std::string> names = m_Dir.Names("log");
    EXPECT_THAT(names, SizeIs(2));
    EXPECT_THAT(names, Each(MatchesRegex("axis-[0-9]{8}-[0-9]{6}\\.txt")));
}

TEST_F(ControlLoopExampleTest, LinesDeliveredAndMessagesDroppedMakeTheMessagesSent)
{
    RunOverload();

    ASSERT_THAT(ConsoleLines(NOTICE), SizeIs(1));
    ASSERT_THAT(ConsoleLines(ACCOUNT), SizeIs(1));
    const std::size_t dropped = std::stoul(ConsoleLines(NOTICE)[0]);
    const std::size_t sent = std::stoul(ConsoleLines(ACCOUNT)[0].substr(std::string("control-loop: ").size()));
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(ConsoleLines(LINE).size() + FileLines().size() + dropped, sent);
}

TEST_F(ControlLoopExampleTest, OptionsAtHalfTimeMakeTheBusVerbose)
{
    Run("--unpaced --later 'linfo;o4D'");

    const std::vector<std::string> lines = ConsoleLines(LINE);
    // One report of the position in each of the four half seconds; those of the second half are seen.
    const std::vector<std::string> reports = ConsoleLines(".* debug: m=4 .* position -?[0-9.]+ mm sent");
    EXPECT_THAT(reports, SizeIs(2));
    EXPECT_THAT(lines, Each(Not(ContainsRegex(" debug: m=[123] "))));
}

TEST_F(ControlLoopExampleTest, ColourOptionWrapsEveryLine)
{
    Run("--unpaced --milliseconds 100 --options 'linfo;c'");

    std::vector<std::string> lines = LinesOf("console.txt");
    ASSERT_THAT(lines, SizeIs(7));
    EXPECT_EQ(lines.back(), "control-loop: 6 messages sent, 0 dropped");
    lines.pop_back();
    EXPECT_THAT(lines, Each(AllOf(ContainsRegex("^\x1b\\[32mcontrol-loop/"), EndsWith("\x1b[0m"))));
}

} // namespace
