#if !defined(_WIN32)

#include "vhdx_parser/foundation/byte_names.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using NByteNames::BytesOf;
using NByteNames::Widen;
using NByteNames::WithoutPairs;

wchar_t Byte(unsigned char byte) {
    return static_cast<wchar_t>(0xDC00 + byte);
}

TEST(ByteNames, AreWidenedAsUtf8) {
    EXPECT_EQ(Widen(""), L"");
    EXPECT_EQ(Widen("a\\b.vhdx"), L"a\\b.vhdx");
    EXPECT_EQ(Widen("\xC2\x80\xDF\xBF"), L"\x80\x7FF");
    EXPECT_EQ(Widen("\xE0\xA0\x80\xEF\xBF\xBF"), L"\x800\xFFFF");
    EXPECT_EQ(Widen("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), L"\x10000\x10FFFF");
}

TEST(ByteNames, KeepEachByteThatIsNoUtf8AsALoneSurrogate) {
    EXPECT_EQ(Widen("a\xFFz"), (std::wstring{L'a', Byte(0xFF), L'z'}));
    // A continuation without a beginning, and a beginning without its continuation.
    EXPECT_EQ(Widen("\x80"), (std::wstring{Byte(0x80)}));
    EXPECT_EQ(Widen("\xC3z"), (std::wstring{Byte(0xC3), L'z'}));
    EXPECT_EQ(Widen("\xE2\x82"), (std::wstring{Byte(0xE2), Byte(0x82)}));
    EXPECT_EQ(Widen("\xE2\x82\xC3\xBC"), (std::wstring{Byte(0xE2), Byte(0x82), L'\xFC'}));
    // More bytes than the character needs, a surrogate, and what lies behind the last character.
    EXPECT_EQ(Widen("\xC1\xBF"), (std::wstring{Byte(0xC1), Byte(0xBF)}));
    EXPECT_EQ(Widen("\xE0\x9F\xBF"), (std::wstring{Byte(0xE0), Byte(0x9F), Byte(0xBF)}));
    EXPECT_EQ(Widen("\xED\xB3\xBF"), (std::wstring{Byte(0xED), Byte(0xB3), Byte(0xBF)}));
    EXPECT_EQ(Widen("\xF4\x90\x80\x80"),
              (std::wstring{Byte(0xF4), Byte(0x90), Byte(0x80), Byte(0x80)}));
}

TEST(ByteNames, AreFoundAgainUnderTheirWideForm) {
    for (unsigned first = 1; first < 256; ++first) {
        for (unsigned second = 1; second < 256; ++second) {
            const std::string name{'x', static_cast<char>(first), static_cast<char>(second),
                                   static_cast<char>(0xBF)};
            ASSERT_EQ(BytesOf(Widen(name)), name) << first << ' ' << second;
        }
    }
}

TEST(ByteNames, TakePairsOfUtf16ForOneCharacter) {
    EXPECT_EQ(BytesOf(std::wstring{wchar_t(0xD83D), wchar_t(0xDCBE)}), "\xF0\x9F\x92\xBE");
    EXPECT_EQ(WithoutPairs(std::wstring{L'a', wchar_t(0xD83D), wchar_t(0xDCBE), L'z'}),
              L"a\U0001F4BEz");
    EXPECT_EQ(WithoutPairs(
                  std::wstring{wchar_t(0xD800), wchar_t(0xDC00), wchar_t(0xDBFF), wchar_t(0xDFFF)}),
              L"\x10000\x10FFFF");
}

TEST(ByteNames, LeaveHalvesOfAPairAlone) {
    const std::wstring halves{wchar_t(0xDCBE), wchar_t(0xD83D), L'a', wchar_t(0xD83D)};
    EXPECT_EQ(WithoutPairs(halves), halves);
}

TEST(ByteNames, HaveNoBytesForWhatNoNameIsReportedAs) {
    for (const unsigned character :
         {0xD800u, 0xDBFFu, 0xDC7Fu, 0xDD00u, 0xDFFFu, 0x110000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(BytesOf(std::wstring{L'a', static_cast<wchar_t>(character)}), std::nullopt)
            << character;
    }
}

}  // namespace

#endif
