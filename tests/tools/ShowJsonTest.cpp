#include "ToolTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QuarnTest;

namespace {

TEST(ShowJsonTest, ObjectHasEveryFieldOfTheRecord)
{
    Image image;
    image.Write(1000, 1, 1.0, L"7 chars");
    image.Write(3000, -5, 2.5, L"\"quoted\"\n");

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--json --level info");

    EXPECT_EQ(run.output, "{\"queue\":0,\"sequence\":1,\"level\":3000,\"level_name\":\"warning\",\"category\":-5,"
                          "\"monotonic_time\":2.5,\"wall_time\":1715953502.5,"
                          "\"wall_time_iso\":\"2024-05-17T13:45:02.500000Z\",\"thread_id\":6699,"
                          "\"file\":\"axis.cpp\",\"line\":7,\"text\":\"\\\"quoted\\\"\\n\","
                          "\"position\":96,\"size\":104,\"next\":200,\"cut_off\":false,\"delivered\":false}\n");
    EXPECT_EQ(run.exitCode, 0);
}

TEST(ShowJsonTest, TextIsUtf8InEveryLocale)
{
    Image image;
    image.m_pQueue->WriteMessage(2000, 1, 9.0, 0x1A2B, "\xC3\xA4xis", 7, L"\u20AC");

    for (const char* locale : {"LC_ALL=C", "LC_ALL=C.UTF-8"}) {
        EXPECT_THAT(ShowBytes(image.Bytes(), "--json", locale).output,
                    testing::HasSubstr("\"file\":\"\xC3\xA4xis\",\"line\":7,\"text\":\"\xE2\x82\xAC\""));
    }
}

TEST(ShowJsonTest, BytesThatAreNoTextAreReplaced)
{
    Image image;
    const wchar_t text[] = {static_cast<wchar_t>(0xFFFFFFFF), L'\0'};
    image.m_pQueue->WriteMessage(2000, 1, 9.0, 0x1A2B, "\xC0\x80", 7, text);

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--json");

    EXPECT_THAT(run.output,
                testing::HasSubstr("\"file\":\"\xEF\xBF\xBD\xEF\xBF\xBD\",\"line\":7,\"text\":\"\xEF\xBF\xBD\""));
}

TEST(ShowJsonTest, TimeThatIsNoNumberIsNull)
{
    Image image;
    image.Write(L"a text");
    image.m_Block.SetRecord(0, 20, 0); // a quiet NaN
    image.m_Block.SetRecord(0, 24, 0x7FF80000);

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--json");

    EXPECT_THAT(run.output, testing::HasSubstr("\"monotonic_time\":null,\"wall_time\":null,\"wall_time_iso\":null,"));
}

TEST(ShowJsonTest, DeliveredRecordsAreMarked)
{
    Image image;
    image.Write(L"seen by the loggers");
    image.Write(L"not seen");
    image.m_Block.Set(QueueBlock::Count, 1);
    image.m_Block.Set(QueueBlock::ReadPos, 144);

    const SFinishedProcess run = ShowBytes(image.Bytes(), "--json");

    EXPECT_THAT(run.output, testing::ContainsRegex("seen by the loggers.*\"delivered\":true\\}\n.*"
                                                   "not seen.*\"delivered\":false\\}\n"));
}

TEST(ShowJsonTest, FormatMayBeNamed)
{
    Image image;
    image.Write(L"a text");

    EXPECT_EQ(ShowBytes(image.Bytes(), "--output json").output, ShowBytes(image.Bytes(), "--json").output);
    EXPECT_EQ(ShowBytes(image.Bytes(), "--output text").output, InfoLine("a text"));
}

} // namespace
