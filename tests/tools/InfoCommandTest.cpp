#include "ToolTest.h"

#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

/// Three whole records, the newest of them undelivered; the header as it was found, not as adopting it made it.
std::string InfoImage()
{
    Image image;
    image.Write(L"7 chars");
    image.Write(L"7 chars");
    image.Write(L"7 chars");
    image.m_Block.Set(QueueBlock::Count, 1);
    image.m_Block.Set(QueueBlock::ReadPos, 192);
    image.m_Block.Set(QueueBlock::Dropped, 4);
    return image.Bytes();
}

TEST(InfoCommandTest, ShowsTheHeaderAsItWasFound)
{
    const SFinishedProcess run = RunOnBytes(InfoImage(), "info");

    EXPECT_EQ(run.output, "queue             0\n"
                          "bytes in image    2097152\n"
                          "start time        1715953500.0\n"
                          "start time iso    2024-05-17T13:45:00.000000Z\n"
                          "whole records     3\n"
                          "undelivered       1\n"
                          "delivered         2\n"
                          "readable records  3\n"
                          "hidden records    0\n"
                          "dropped           4\n"
                          "next sequence     3\n"
                          "write position    288\n"
                          "read position     192\n"
                          "end position      2097072\n"
                          "capacity          2097072\n");
}

TEST(InfoCommandTest, IsOneObjectInJson)
{
    const SFinishedProcess run = RunOnBytes(std::string(44, '\0') + InfoImage(), "info --json");

    EXPECT_EQ(run.output, "{\"queue\":44,\"bytes_in_image\":2097152,\"start_time\":1715953500.0,"
                          "\"start_time_iso\":\"2024-05-17T13:45:00.000000Z\",\"whole_records\":3,\"undelivered\":1,"
                          "\"delivered\":2,\"readable_records\":3,\"hidden_records\":0,\"dropped\":4,"
                          "\"next_sequence\":3,\"write_position\":288,\"read_position\":192,"
                          "\"end_position\":2097072,\"capacity\":2097072}\n");
}

TEST(InfoCommandTest, FormatMayBeNamed)
{
    EXPECT_EQ(RunOnBytes(InfoImage(), "info --output json").output, RunOnBytes(InfoImage(), "info --json").output);
    EXPECT_EQ(RunOnBytes(InfoImage(), "info --output text").output, RunOnBytes(InfoImage(), "info").output);
}

} // namespace
