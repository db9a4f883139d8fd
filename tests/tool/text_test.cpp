#include "tools/vhdx/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace NTool {
namespace {

std::wstring Units(std::initializer_list<unsigned> units) {
    std::wstring text;
    for (const unsigned unit : units) {
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

TEST(Utf8, EncodesEachLengthOfCharacter) {
    EXPECT_EQ(Utf8(L""), "");
    EXPECT_EQ(Utf8(L".\\base.vhdx"), ".\\base.vhdx");
    EXPECT_EQ(Utf8(Units({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
}

TEST(Utf8, JoinsSurrogatePairs) {
    EXPECT_EQ(Utf8(Units({0xD83D, 0xDE00})), "\xF0\x9F\x98\x80");
    EXPECT_EQ(Utf8(Units({0xD800, 0xDC00})), "\xF0\x90\x80\x80");
    EXPECT_EQ(Utf8(Units({0xDBFF, 0xDFFF})), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8, ReplacesUnpairedSurrogates) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(Utf8(Units({0xD83D})), replacement);
    EXPECT_EQ(Utf8(Units({0xDE00, 0xD83D})), replacement + replacement);
    EXPECT_EQ(Utf8(Units({0xD83D, 'a'})), replacement + "a");
    EXPECT_EQ(Utf8(Units({0xD83D, 0xD83D, 0xDE00})), replacement + "\xF0\x9F\x98\x80");
}

TEST(Utf8, KeepsEmbeddedZeros) {
    EXPECT_EQ(Utf8(Units({'a', 0, 'b'})), std::string("a\0b", 3));
}

TEST(InUnits, TakesTheLargestUnitThatFits) {
    EXPECT_EQ(InUnits(0), "0 bytes");
    EXPECT_EQ(InUnits(1023), "1023 bytes");
    EXPECT_EQ(InUnits(1024), "1 KiB");
    EXPECT_EQ(InUnits(1536), "1.5 KiB");
    EXPECT_EQ(InUnits(32ULL << 20), "32 MiB");
    EXPECT_EQ(InUnits(64ULL << 40), "64 TiB");
    EXPECT_EQ(InUnits(UINT64_MAX), "16.0 EiB");
}

TEST(SizeText, AddsTheExactNumberFromOneKibibyteOn) {
    EXPECT_EQ(SizeText(512), "512 bytes");
    EXPECT_EQ(SizeText(33554432), "32 MiB (33554432 bytes)");
}

}  // namespace
}  // namespace NTool
