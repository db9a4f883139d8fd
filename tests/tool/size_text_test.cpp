#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tools/vhdx/size_text.h"

namespace NTool {
namespace {

std::string Error(std::string_view text) {
    try {
        return fmt::format("accepted as {}", ParseSize(text));
    } catch (const CSizeError& error) {
        return error.what();
    }
}

TEST(SizeText, TakesPlainNumbersAsBytes) {
    EXPECT_EQ(ParseSize("0"), 0U);
    EXPECT_EQ(ParseSize("4096"), 4096U);
    EXPECT_EQ(ParseSize("18446744073709551615"), UINT64_MAX);
}

TEST(SizeText, TakesSuffixesInEitherCaseAsPowersOf1024) {
    EXPECT_EQ(ParseSize("3K"), 3072U);
    EXPECT_EQ(ParseSize("3k"), 3072U);
    EXPECT_EQ(ParseSize("1M"), 1048576U);
    EXPECT_EQ(ParseSize("1m"), 1048576U);
    EXPECT_EQ(ParseSize("2G"), 2147483648U);
    EXPECT_EQ(ParseSize("2g"), 2147483648U);
    EXPECT_EQ(ParseSize("64T"), 70368744177664U);
    EXPECT_EQ(ParseSize("64t"), 70368744177664U);
}

TEST(SizeText, TakesTheLargestNumberOfEachUnitAndNoMore) {
    EXPECT_EQ(ParseSize("18014398509481983K"), UINT64_MAX - 1023);
    EXPECT_EQ(ParseSize("16777215T"), 16777215ULL << 40);
    const std::string tooLarge = "is more bytes than a 64-bit number holds";
    EXPECT_EQ(Error("18446744073709551616"), fmt::format("'18446744073709551616' {}", tooLarge));
    EXPECT_EQ(Error("18014398509481984K"), fmt::format("'18014398509481984K' {}", tooLarge));
    EXPECT_EQ(Error("16777216T"), fmt::format("'16777216T' {}", tooLarge));
    EXPECT_EQ(Error("99999999999999999999999T"),
              fmt::format("'99999999999999999999999T' {}", tooLarge));
}

TEST(SizeText, RefusesEverythingElse) {
    for (const char* text : {"", "K", "-1", "+1", " 1", "1 ", "1 K", "1KB", "1KiB", "1X", "1.5G",
                             "0x10", "1KK", "one"}) {
        EXPECT_EQ(Error(text),
                  fmt::format("'{}' is not a number of bytes (digits, then K, M, G, T or nothing)",
                              text));
    }
}

TEST(SizeText, DoesNotRepeatControlCharactersOfABadText) {
    EXPECT_EQ(Error("1\x1B"),
              "'1\\u{1B}' is not a number of bytes (digits, then K, M, G, T or nothing)");
}

}  // namespace
}  // namespace NTool
