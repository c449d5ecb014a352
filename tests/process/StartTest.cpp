#include "Subprocess.h"

#include <gtest/gtest.h>

#include <regex>

using namespace QuarnTest;

namespace {

TEST(StartTest, MessagesBeforeMainAreLoggedOnceTheLibraryIsInitialised)
{
    const SFinishedProcess run = RunCommand(EARLY_CALLER);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(std::regex_replace(run.output, std::regex("[^\n]* tid=0x[0-9a-f]+: "), "line: "),
              "constructor of the unlinked library\n"
              "constructor of the linked library\n"
              "line: from the constructor of the linked library\n"
              "line: from a static object of the program\n"
              "main\n"
              "line: from main\n");
}

} // namespace
