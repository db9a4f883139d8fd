#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

/// The content of `DynamicDisk`, straight from what it was built with.
std::string DynamicContent() {
    std::string content(10 * MiB, '\0');
    for (const std::uint64_t block : {1U, 2U, 4U, 9U}) {
        const CBytes data = Pattern(11, block * MiB, MiB);
        content.replace(block * MiB, MiB, std::string(data.begin(), data.end()));
    }
    content.resize(10 * MiB - 512);
    return content;
}

std::string Read(const CImageBuilder& builder, const std::string& offset,
                 const std::string& length) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    const CChildResult result =
        RunVhdxIn(folder.Path(), {"read", "disk.vhdx", "--offset", offset, "--length", length});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return result.output;
}

// The comparisons do not print both sides: they are megabytes.

TEST(Read, GivesTheWholeDisk) {
    EXPECT_TRUE(Read(DynamicDisk(), "0", "10485248") == DynamicContent());
}

TEST(Read, GivesRangesAtAnyPlaceAndOfAnyLength) {
    const std::string content = DynamicContent();
    struct CRange {
        std::uint64_t offset;
        std::uint64_t length;
    };
    for (const CRange& range : {CRange{0, 1}, CRange{MiB - 1, 2}, CRange{MiB, MiB},
                                CRange{MiB + 1, 3 * MiB - 2}, CRange{3 * MiB - 5, MiB + 10},
                                CRange{9 * MiB - 3, MiB - 512 + 3}, CRange{10 * MiB - 513, 1}}) {
        EXPECT_TRUE(
            Read(DynamicDisk(), std::to_string(range.offset), std::to_string(range.length)) ==
            content.substr(range.offset, range.length))
            << range.offset << " " << range.length;
    }
}

TEST(Read, TakesSuffixes) {
    EXPECT_TRUE(Read(DynamicDisk(), "1024K", "1M") == DynamicContent().substr(MiB, MiB));
}

TEST(Read, GivesNothingForAnEmptyRange) {
    EXPECT_EQ(Read(DynamicDisk(), "0", "0"), "");
    EXPECT_EQ(Read(DynamicDisk(), "10485248", "0"), "");
}

TEST(Read, GivesWhatACheckpointItselfHolds) {
    const std::string content = Read(DifferencingDisk(), "0", "4M");
    const CBytes full = Pattern(21, 0, MiB);
    const CBytes partial = Pattern(22, 2 * MiB, MiB);
    EXPECT_TRUE(content.substr(0, MiB) == std::string(full.begin(), full.end()));
    EXPECT_TRUE(content.substr(MiB, MiB) == std::string(MiB, '\0'));
    EXPECT_TRUE(content.substr(2 * MiB, MiB) == std::string(partial.begin(), partial.end()));
}

TEST(Read, ShowsHowFarItIsWhenAskedTo) {
    const CTemporaryFolder folder;
    DynamicDisk().Build().WriteTo(folder / "disk.vhdx");
    for (const char* merged : {"", "--merged"}) {
        std::vector<std::string> arguments = {"read",     "disk.vhdx", "--offset",   "1M",
                                              "--length", "3M",        "--progress", "always"};
        if (*merged != '\0') {
            arguments.emplace_back(merged);
        }
        const CChildResult result = RunVhdxIn(folder.Path(), arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(result.output == DynamicContent().substr(MiB, 3 * MiB));
        EXPECT_EQ(result.errors.substr(0, 34), "\rreading   0%  0 bytes of 3 MiB\x1B[K");
        EXPECT_EQ(result.errors.substr(result.errors.size() - 4), "\r\x1B[K");
    }
}

}  // namespace
}  // namespace NTest
