#include "tools/vhdx/ranges.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/vhdx/command_failure.h"

namespace NTool {
namespace {

std::string Refusal(const std::string& text) {
    try {
        (void)ParseRanges(text);
    } catch (const CCommandFailure& failure) {
        return failure.what();
    }
    return "taken";
}

TEST(Ranges, AreReadFromLines) {
    EXPECT_EQ(ParseRanges("0,512\n1024,1\n"), (CRanges{{0, 512}, {1024, 1}}));
    EXPECT_EQ(ParseRanges(" 1M , 64K \r\n\n2M,1"), (CRanges{{1048576, 65536}, {2097152, 1}}));
}

TEST(Ranges, AreReadFromJson) {
    EXPECT_EQ(ParseRanges(R"([{"offset": 0, "length": 512}, {"length": 1, "offset": 1024}])"),
              (CRanges{{0, 512}, {1024, 1}}));
    EXPECT_EQ(ParseRanges("\n [] "), CRanges());
}

TEST(Ranges, MayBeNone) {
    EXPECT_EQ(ParseRanges(""), CRanges());
    EXPECT_EQ(ParseRanges(" \n\n"), CRanges());
}

TEST(Ranges, MayTouchAndMayBeEmpty) {
    EXPECT_EQ(ParseRanges("0,512\n512,512"), (CRanges{{0, 512}, {512, 512}}));
    EXPECT_EQ(ParseRanges("512,0\n513,1"), (CRanges{{512, 0}, {513, 1}}));
}

TEST(Ranges, MayReachTheLastByteThatHasANumber) {
    EXPECT_EQ(ParseRanges("18446744073709551614,1"), (CRanges{{0xFFFFFFFFFFFFFFFE, 1}}));
    EXPECT_EQ(Refusal("\n18446744073709551614,2"),
              "line 2: the range of 2 bytes from 18446744073709551614 ends past 2^64");
}

TEST(Ranges, AreRefusedWhenTheyOverlap) {
    EXPECT_EQ(Refusal("0,512\n511,1"),
              "line 2: the range from 511 overlaps the one before it, 512 bytes from 0");
    EXPECT_EQ(Refusal("7,0\n7,1"),
              "line 2: the range from 7 overlaps the one before it, 0 bytes from 7");
    EXPECT_EQ(Refusal(R"([{"offset":0,"length":2},{"offset":1,"length":1}])"),
              "element 2: the range from 1 overlaps the one before it, 2 bytes from 0");
}

TEST(Ranges, AreClippedToADisk) {
    const auto clipped = [](NTool::CRanges ranges, std::uint64_t diskSize) {
        NTool::ClipRanges(ranges, diskSize);
        return ranges;
    };
    using CRanges = NTool::CRanges;
    EXPECT_EQ(clipped({{0, 10}, {20, 10}}, 30), (CRanges{{0, 10}, {20, 10}}));
    EXPECT_EQ(clipped({{0, 10}, {20, 10}}, 29), (CRanges{{0, 10}, {20, 9}}));
    EXPECT_EQ(clipped({{0, 10}, {20, 10}}, 20), (CRanges{{0, 10}}));
    EXPECT_EQ(clipped({{0, 10}, {20, 0}}, 20), (CRanges{{0, 10}, {20, 0}}));
    EXPECT_EQ(clipped({{0, 10}, {20, 0}}, 19), (CRanges{{0, 10}}));
    EXPECT_EQ(clipped({{1, 0xFFFFFFFFFFFFFFFE}}, 20), (CRanges{{1, 19}}));
    EXPECT_EQ(clipped({}, 20), CRanges());
}

TEST(Ranges, AreRefusedWhenTheyAreNotSorted) {
    EXPECT_EQ(Refusal("0,1\n\n9,1\n5,1"),
              "line 4: the range from 5 stands behind the one from 9; ranges must be sorted");
}

TEST(Ranges, AreRefusedWhenALineIsNone) {
    EXPECT_EQ(Refusal("0,1\n5"), "line 2: this is no \"offset,length\"");
    EXPECT_EQ(Refusal("0,\n"),
              "line 1: '' is not a number of bytes (digits, then K, M, G, T or nothing)");
    EXPECT_EQ(Refusal("0,1,2\n"),
              "line 1: '1,2' is not a number of bytes (digits, then K, M, G, T or nothing)");
    EXPECT_EQ(
        Refusal("\x1B[31m,2\n"),
        "line 1: '\\u{1B}[31m' is not a number of bytes (digits, then K, M, G, T or nothing)");
}

TEST(Ranges, AreRefusedWhenAnElementIsNone) {
    EXPECT_EQ(Refusal("[{\"offset\": 0, \"length\": 1}, 5]"),
              R"(element 2: this is no {"offset", "length"})");
    EXPECT_EQ(Refusal("[{\"offset\": 0}]"), "element 1: \"length\" is no whole number below 2^64");
    for (const std::string number : {"-1", "1.5", "\"1\"", "18446744073709551616", "null"}) {
        EXPECT_EQ(Refusal("[{\"offset\": " + number + ", \"length\": 1}]"),
                  "element 1: \"offset\" is no whole number below 2^64");
    }
}

TEST(Ranges, AreRefusedWhenAnElementIsLongerThanAMebibyte) {
    const std::string first = R"([{"offset":0,"length":1},{"offset":1,"length":1,"x":")";
    const std::string last = "\"}]";
    EXPECT_EQ(Refusal(first + std::string(1000000, 'x') + last), "taken");
    EXPECT_EQ(Refusal(first + std::string(1048576, 'x') + last),
              "element 2: it is longer than 1 MiB, which no range is");
}

TEST(Ranges, AreRefusedWhenTheTextIsNoArrayOrNoJson) {
    EXPECT_EQ(Refusal("{}"), R"(the JSON is no array of {"offset", "length"})");
    EXPECT_EQ(
        Refusal("[{\"offset\": 0"),
        "this is no JSON: parse error at line 1, column 14: syntax error while parsing object "
        "- unexpected end of input; expected '}'");
}

TEST(Ranges, AreRefusedWhenTheyAreNestedWithoutEnd) {
    EXPECT_EQ(Refusal(std::string(1000000, '[')), "the JSON is nested too deeply");
}

}  // namespace
}  // namespace NTool
