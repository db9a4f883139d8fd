// Wrong usage ends with status 2 and one line, before any file is looked at.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CArguments = std::vector<std::string>;

void ExpectWrongUsage(const CArguments& arguments, const std::string& text) {
    const CChildResult result = RunVhdx(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "vhdx: " + text + " (vhdx --help shows the usage)\n");
}

TEST(Usage, NeedsACommandThatExists) {
    ExpectWrongUsage({}, "A subcommand is required");
    EXPECT_EQ(RunVhdx({"write", "disk.vhdx"}).status, 2);
    EXPECT_EQ(RunVhdx({"--strange"}).status, 2);
}

TEST(Usage, NeedsAFileAndARange) {
    ExpectWrongUsage({"info"}, "FILE is required");
    ExpectWrongUsage({"read"}, "FILE is required");
    ExpectWrongUsage({"locate", "disk.vhdx", "--offset", "0"}, "--length is required");
}

TEST(Usage, TakesOneFileOnly) {
    EXPECT_EQ(RunVhdx({"info", "a.vhdx", "b.vhdx"}).status, 2);
}

TEST(Usage, NeedsSizesThatAreSizes) {
    ExpectWrongUsage(
        {"read", "disk.vhdx", "--offset", "1X", "--length", "1"},
        "--offset: '1X' is not a number of bytes (digits, then K, M, G, T or nothing)");
    ExpectWrongUsage({"read", "disk.vhdx", "--offset", "1", "--length", "16777216T"},
                     "--length: '16777216T' is more bytes than a 64-bit number holds");
    EXPECT_EQ(RunVhdx({"read", "disk.vhdx", "--offset", "-1", "--length", "1"}).status, 2);
}

TEST(Usage, NeedsATraceLevelFrom1To4) {
    for (const char* level : {"0", "5", "-1", "x", ""}) {
        EXPECT_EQ(RunVhdx({"info", "disk.vhdx", "--trace", level}).status, 2) << level;
    }
}

TEST(Usage, TellsTheVersion) {
    const CChildResult result = RunVhdx({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "vhdx " VHDX_PARSER_TEST_VERSION "\n");
}

}  // namespace
}  // namespace NTest
