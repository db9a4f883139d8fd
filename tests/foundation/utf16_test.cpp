#include "vhdx_parser/foundation/utf16.h"

#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

namespace {

using NUtf16::CodeUnits;
using NUtf16::ToUtf8;

constexpr const char* Replacement = "\xEF\xBF\xBD";
constexpr bool hasPoints = sizeof(wchar_t) > 2;

std::wstring Wide(std::initializer_list<unsigned> characters) {
    std::wstring text;
    for (const unsigned character : characters) {
        text += static_cast<wchar_t>(character);
    }
    return text;
}

TEST(Utf16, BecomesUtf8) {
    EXPECT_EQ(ToUtf8(L""), "");
    EXPECT_EQ(ToUtf8(L"a\\b.vhdx"), "a\\b.vhdx");
    EXPECT_EQ(ToUtf8(Wide({'a', 0, 0x7F})), std::string("a\0\x7F", 3));
    EXPECT_EQ(ToUtf8(Wide({0x80, 0x7FF})), "\xC2\x80\xDF\xBF");
    EXPECT_EQ(ToUtf8(Wide({0x800, 0xD7FF, 0xE000, 0xFFFF})),
              "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF");
    EXPECT_EQ(ToUtf8(Wide({0xD800, 0xDC00, 0xDBFF, 0xDFFF})), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(ToUtf8(Wide({'a', 0xD83D, 0xDCBE, 'z'})), "a\xF0\x9F\x92\xBEz");
}

TEST(Utf16, HasAReplacementForEachHalfOfAPair) {
    for (const unsigned half : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu}) {
        EXPECT_EQ(ToUtf8(Wide({half})), Replacement) << half;
        EXPECT_EQ(ToUtf8(Wide({half, 'z'})), Replacement + std::string("z")) << half;
    }
    EXPECT_EQ(ToUtf8(Wide({0xDC00, 0xD800})), std::string(Replacement) + Replacement);
    EXPECT_EQ(ToUtf8(Wide({0xD83D, 0xD83D, 0xDCBE})),
              Replacement + std::string("\xF0\x9F\x92\xBE"));
}

TEST(Utf16, MayHoldWholeCodePointsWhereCharactersDo) {
    if (!hasPoints) {
        GTEST_SKIP() << "characters are code units here";
    }
    EXPECT_EQ(ToUtf8(Wide({0x10000, 0x10FFFF})), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    for (const unsigned none : {0x110000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(ToUtf8(Wide({none})), Replacement) << none;
    }
}

TEST(Utf16, KeepsItsCodeUnitsAsTheyStand) {
    EXPECT_EQ(CodeUnits(L""), u"");
    EXPECT_EQ(CodeUnits(Wide({'a', 0, '\\', 0xFFFF})), (std::u16string{u'a', 0, u'\\', 0xFFFF}));
    const std::u16string halves = {0xDC00, 0xD83D, 0xDCBE, 0xD800};
    EXPECT_EQ(CodeUnits(Wide({0xDC00, 0xD83D, 0xDCBE, 0xD800})), halves);
}

TEST(Utf16, HasAPairOfUnitsForACharacterBeyond16Bits) {
    if (!hasPoints) {
        GTEST_SKIP() << "characters are code units here";
    }
    EXPECT_EQ(CodeUnits(Wide({0x1F4BE})), (std::u16string{0xD83D, 0xDCBE}));
    EXPECT_EQ(CodeUnits(Wide({0x10000, 0x10FFFF})),
              (std::u16string{0xD800, 0xDC00, 0xDBFF, 0xDFFF}));
    EXPECT_EQ(CodeUnits(Wide({0x110041, 0xFFFFFFFF})), (std::u16string{u'A', 0xFFFF}));
}

}  // namespace
