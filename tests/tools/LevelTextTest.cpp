#include "LevelText.h"

#include "CQOptionParser.h"

#include <gtest/gtest.h>

#include <string>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;

namespace {

TEST(LevelTextTest, NamesMayBeginInAnyCase)
{
    for (const char* text : {"w", "W", "wa", "warn", "Warn", "WARNING", "warning"}) {
        EXPECT_EQ(ParseLevel(text), 3000) << text;
    }
    EXPECT_EQ(ParseLevel("deb"), 1000);
    EXPECT_EQ(ParseLevel("INFO"), 2000);
    EXPECT_EQ(ParseLevel("err"), 4000);
}

TEST(LevelTextTest, OneCharacterIsWhatAnOptionsStringTakesItFor)
{
    for (int character = 1; character < 128; ++character) {
        CQOptionParser parser;
        parser.ParseOptions((std::wstring(L"l") + static_cast<wchar_t>(character)).c_str());
        const int level = parser.GetDefaultLevel();
        const std::optional<int> parsed = ParseLevel(std::string(1, static_cast<char>(character)));
        if (level != 9999) {
            EXPECT_EQ(parsed, level) << character;
        } else if (parsed) { // 0, 6, 7, 8 and 9: numbers
            EXPECT_EQ(*parsed, character - '0');
        }
    }
}

TEST(LevelTextTest, OtherNumbersAreLevelsThemselves)
{
    EXPECT_EQ(ParseLevel("3001"), 3001);
    EXPECT_EQ(ParseLevel("-7"), -7);
    EXPECT_EQ(ParseLevel("0"), 0);
    EXPECT_EQ(ParseLevel("10"), 10);
}

TEST(LevelTextTest, WhatAnOptionsStringPassesOverIsNoLevel)
{
    for (const char* text : {"", "trace", "high", "warnings", "warm", "4x", "99999999999", " w", "?", "dd", "info "}) {
        EXPECT_EQ(ParseLevel(text), std::nullopt) << text;
    }
}

} // namespace
