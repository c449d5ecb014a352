#include "Subprocess.h"

#include <gmock/gmock.h>

#include <string>

using namespace QuarnTest;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// The sample leaks on purpose, which is no finding for a sanitizer.
SFinishedProcess RunSample() { return RunCommand("ASAN_OPTIONS=detect_leaks=0 " SAMPLE_PROGRAM); }

SFinishedProcess RunLife(const std::string& life) { return RunCommand(FEEDER_PROGRAM " " + life + " 2>&1"); }

TEST(AllocationFeederTest, ObjectOfTheMacroFormIsReportedWithFileAndLine)
{
    const SFinishedProcess sample = RunSample();

    EXPECT_EQ(sample.exitCode, 0);
    EXPECT_THAT(sample.output,
                ContainsRegex("BlockSize of 8 bytes 1 times allocated\n.*"
                              ": allocation-feeder/leak\\.cpp@42 1 objects created - memory usage: 8 Bytes \n"));
}

TEST(AllocationFeederTest, ObjectOfPlainCodeIsReportedWithItsCaller)
{
#ifdef FEEDER_HAS_LIBDW
    const std::string site = ": allocation-feeder/Curve\\.cpp@12";
#else
    const std::string site = "allocation-leak\\+0x[0-9a-f]+@0";
#endif

    const SFinishedProcess sample = RunSample();

    EXPECT_THAT(sample.output, ContainsRegex("BlockSize of 96 bytes 2 times allocated\n.*" + site +
                                             " 2 objects created - memory usage: 192 Bytes \n"));
}

#if defined(FEEDER_HAS_LIBDW) && defined(NDEBUG) // nothing is inlined without optimisation
TEST(AllocationFeederTest, ObjectOfInlinedLibraryCodeIsReportedWithTheCallingLine)
{
    const SFinishedProcess sample = RunSample();

    EXPECT_THAT(sample.output,
                ContainsRegex(": allocation-feeder/leak\\.cpp@38 1 objects created - memory usage: 32 Bytes \n"));
}
#endif

TEST(AllocationFeederTest, SelectedObjectIsDumped)
{
    const SFinishedProcess sample = RunSample();

    EXPECT_THAT(sample.output,
                ContainsRegex("Object at address 0x[0-9a-f]+ uses 8 Bytes - Dump: "
                              "hex\\(0 0 0 0 0 0 f8 3f \\) \\| string\\(\\.{7}\\?\\) \\| double\\(1\\.5\\)\n"));
}

TEST(AllocationFeederTest, WhatThreadsReleaseIsForgotten)
{
    const SFinishedProcess sample = RunSample();

    // Two curves, a set-point, and the vector of the threads, which are one pointer-sized number each.
    const std::string total = sizeof(void*) == 8 ? "232" : "216";
    EXPECT_THAT(sample.output, EndsWith("Total memory usage:  " + total + " Bytes in 4 objects\n"));
}

TEST(AllocationFeederTest, NoAddressIsLeftUntranslated)
{
    const SFinishedProcess sample = RunSample();

    EXPECT_THAT(sample.output, Not(HasSubstr(": @0x")));
}

TEST(AllocationFeederTest, EveryFormOfTheOperatorsIsRecordedAndForgotten)
{
    const SFinishedProcess forms = RunLife("forms");

    EXPECT_EQ(forms.exitCode, 0);
    EXPECT_THAT(forms.output, ContainsRegex("Total memory usage:  4095 Bytes in 12 objects\n.*"
                                            "Total memory usage:  0 Bytes in 0 objects\nended\n"));
}

TEST(AllocationFeederTest, RegistryComesAndGoesWhileThreadsAllocate)
{
    const SFinishedProcess lives = RunLife("lives");

    EXPECT_EQ(lives.exitCode, 0);
    EXPECT_EQ(lives.output, "ended\n");
}

TEST(AllocationFeederTest, ReportsAndAllocatingLoggersDoNotBlockEachOther)
{
    const SFinishedProcess reports = RunLife("reports");

    EXPECT_EQ(reports.exitCode, 0);
    EXPECT_THAT(reports.output, EndsWith("ended\n"));
}

TEST(AllocationFeederTest, ProcessEndsWhileAThreadAllocates)
{
    const SFinishedProcess exit = RunLife("exit");

    EXPECT_EQ(exit.exitCode, 0);
    EXPECT_EQ(exit.output, "ended\n");
}

} // namespace
