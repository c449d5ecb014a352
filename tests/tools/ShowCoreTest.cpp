#include "PeerBuild.h"
#include "Subprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace QuarnTest;

namespace {

/// Dies of a program's crash in a folder; the name of the core file there, or nothing.
std::string CoreOf(const std::string& program, const TempDir& dir)
{
    const SFinishedProcess run = RunCommand(Inside(dir) + "ASAN_OPTIONS=disable_coredump=0 " +
                                            "TSAN_OPTIONS=disable_coredump=0 exec " + Quoted(program));
    EXPECT_NE(run.exitCode, 0);
    for (const std::string& name : dir.Names()) {
        if (name.rfind("core", 0) == 0) {
            return dir.File(name);
        }
    }
    return {};
}

/// What a tool finds in the core of a program: texts and levels, in order.
void ExpectLogInCore(const std::string& tool, const std::string& program, const std::string& pointerSize)
{
    const TempDir dir;
    const std::string core = CoreOf(program, dir);
    if (core.empty()) {
        GTEST_SKIP() << "this system does not put a core file into the working folder";
    }
    const SFinishedProcess run = RunCommand(Quoted(tool) + " show --category 42 " + Quoted(core));

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.output, testing::ContainsRegex("core-dumper.cpp:7: \\?: m=42 t=[0-9.:-]* tid=0x[0-9a-f]*: " +
                                                   pointerSize + " bytes a pointer\n"));
    EXPECT_THAT(run.output, testing::EndsWith(": the last words\n"));
}

TEST(ShowCoreTest, LogThatWasOnTheHeapIsFoundInACoreFile)
{
    ExpectLogInCore(QUARN_LOG, CORE_DUMPER, std::to_string(sizeof(void*)));
}

TEST(ShowCoreTest, CoreOfTheOtherWordSizeIsRead)
{
    const std::string program = PeerProgram("/tests/tools/core-dumper");
    if (program.empty()) {
        GTEST_SKIP() << "the other word size is not built";
    }
    ExpectLogInCore(QUARN_LOG, program, sizeof(void*) == 8 ? "4" : "8");
}

TEST(ShowCoreTest, ToolOfTheOtherWordSizeReadsTheCore)
{
    const std::string tool = PeerProgram("/tools/quarn-log/quarn-log");
    if (tool.empty()) {
        GTEST_SKIP() << "the other word size is not built";
    }
    ExpectLogInCore(tool, CORE_DUMPER, std::to_string(sizeof(void*)));
}

} // namespace
