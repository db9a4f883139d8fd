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

std::string Read(const CImageBuilder& builder, std::vector<std::string> arguments) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    arguments.insert(arguments.begin(), {"read", "disk.vhdx"});
    const CChildResult result = RunVhdxIn(folder.Path(), arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return result.output;
}

std::string Read(const CImageBuilder& builder, const std::string& offset,
                 const std::string& length) {
    return Read(builder, {"--offset", offset, "--length", length});
}

std::string Text(const CBytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// The comparisons do not print both sides: they are megabytes.

TEST(Read, GivesTheWholeDisk) {
    EXPECT_TRUE(Read(DynamicDisk(), "0", "10485248") == DynamicContent());
}

TEST(Read, GivesTheWholeDiskWhenNoRangeIsGiven) {
    EXPECT_TRUE(Read(DynamicDisk(), {}) == DynamicContent());
    EXPECT_TRUE(Read(DynamicDisk(), {"--merged"}) == DynamicContent());
    EXPECT_TRUE(Read(DynamicDisk(), {"--file-only"}) == DynamicContent());
}

TEST(Read, StartsAt0AndGoesToTheEndUnlessToldOtherwise) {
    EXPECT_TRUE(Read(DynamicDisk(), {"--length", "1537K"}) ==
                DynamicContent().substr(0, 1537 * KiB));
    EXPECT_TRUE(Read(DynamicDisk(), {"--offset", "9M"}) == DynamicContent().substr(9 * MiB));
    EXPECT_EQ(Read(DynamicDisk(), {"--offset", "10485248"}), "");
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

/// Block 0 in full, two sectors of block 2, the rest of whose bytes are stale.
CImageBuilder Checkpoint() {
    CBytes bitmap(2 * 256 + 1);
    bitmap[2 * 256] = 0x12;  // the second sector and the fifth
    return CImageBuilder()
        .VirtualSize(4 * MiB)
        .Differencing()
        .ParentLocator({{u"relative_path", u".\\gone.vhdx"}})
        .AllocateData(0, 21)
        .AllocatePartialData(2, 22)
        .AllocateSectorBitmap(0, bitmap);
}

std::string CheckpointContent() {
    std::string content(4 * MiB, '\0');
    content.replace(0, MiB, Text(Pattern(21, 0, MiB)));
    for (const std::uint64_t sector : {1U, 4U}) {
        const std::uint64_t offset = 2 * MiB + sector * 512;
        content.replace(offset, 512, Text(Pattern(22, offset, 512)));
    }
    return content;
}

TEST(Read, GivesWhatACheckpointItselfHoldsAndNothingStale) {
    EXPECT_TRUE(Read(Checkpoint(), {"--file-only"}) == CheckpointContent());
    EXPECT_TRUE(Read(Checkpoint(), {"--file-only", "--offset", "2098000", "--length", "1000"}) ==
                CheckpointContent().substr(2098000, 1000));
}

TEST(Read, GivesZerosOfBlocksThatHoldNoData) {
    for (const unsigned state : {0U, 1U, 2U, 3U}) {
        for (const std::uint64_t place : {0U, 4U}) {  // 4 is block 1's, full of other bytes
            const CImageBuilder disk =
                CImageBuilder().VirtualSize(2 * MiB).AllocateData(1, 7).PayloadBlock(0, state,
                                                                                     place);
            for (const char* view : {"--merged", "--file-only"}) {
                EXPECT_TRUE(Read(disk, {view, "--length", "1M"}) == std::string(MiB, '\0'))
                    << state << " at " << place << " " << view;
            }
        }
    }
}

TEST(Read, NeedsTheParents) {
    const CTemporaryFolder folder;
    Checkpoint().Build().WriteTo(folder / "disk.avhdx");
    const CChildResult result = RunVhdxIn(folder.Path(), {"read", "disk.avhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "vhdx: disk.avhdx: the parent \".\\gone.vhdx\" is missing\n");
}

TEST(Read, TellsInJsonWhereTheBytesComeFrom) {
    const std::uint64_t place = Checkpoint().BlockPosition(2);
    EXPECT_EQ(
        Read(Checkpoint(), {"--file-only", "--json", "--offset", "2M", "--length", "2K"}),
        "[\n"
        "  {\"start\": 2097152, \"length\": 512, \"kind\": \"parent\", \"file\": null, "
        "\"offset\": null, \"in_log\": false},\n"
        "  {\"start\": 2097664, \"length\": 512, \"kind\": \"data\", \"file\": \"disk.vhdx\", "
        "\"offset\": " +
            std::to_string(place + 512) +
            ", \"in_log\": false},\n"
            "  {\"start\": 2098176, \"length\": 1024, \"kind\": \"parent\", \"file\": null, "
            "\"offset\": null, \"in_log\": false}\n"
            "]\n");
    EXPECT_EQ(Read(DynamicDisk(), {"--json", "--length", "0"}), "[]\n");
}

TEST(Read, TellsTheSameInJsonAsTheMap) {
    const CTemporaryFolder folder;
    DynamicDisk().Build().WriteTo(folder / "disk.vhdx");
    const CChildResult map = RunVhdxIn(folder.Path(), {"map", "disk.vhdx", "--merged", "--json"});
    EXPECT_EQ(RunVhdxIn(folder.Path(), {"read", "disk.vhdx", "--json"}).output, map.output);
}

TEST(Read, OfASavedModelGivesTheSameBytes) {
    const CTemporaryFolder folder;
    Checkpoint().Build().WriteTo(folder / "disk.avhdx");
    ASSERT_EQ(RunVhdxIn(folder.Path(), {"save", "disk.avhdx", "model.xml"}).status, 0);
    const CChildResult result =
        RunVhdxIn(folder.Path(), {"read", "disk.avhdx", "--file-only", "--model", "model.xml"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(result.output == CheckpointContent());
}

TEST(Read, TakesAModelOfOneFileForOneFileOnly) {
    const CChildResult result = RunVhdx({"read", "disk.vhdx", "--model", "model.xml"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "vhdx: --model: a saved model is of one file and does not know its parents; it goes "
              "with --file-only (vhdx --help shows the usage)\n");
    EXPECT_EQ(RunVhdx({"read", "disk.vhdx", "--merged", "--file-only"}).status, 2);
    EXPECT_EQ(RunVhdx({"read", "disk.vhdx", "--other-paths", "--file-only"}).status, 2);
}

TEST(Read, TracesWhatTheLibraryDoes) {
    const CTemporaryFolder folder;
    DynamicDisk().Build().WriteTo(folder / "disk.vhdx");
    for (const char* view : {"--merged", "--file-only"}) {
        const CChildResult result =
            RunVhdxIn(folder.Path(), {"read", "disk.vhdx", view, "--trace", "4"});
        EXPECT_TRUE(result.output == DynamicContent());
        EXPECT_NE(result.errors.find("\nOK\n"), std::string::npos) << view;
        EXPECT_NE(result.errors.find("Payload block. Index is \"6\""), std::string::npos) << view;
    }
}

TEST(Read, ShowsHowFarItIsWhenAskedTo) {
    const CTemporaryFolder folder;
    DynamicDisk().Build().WriteTo(folder / "disk.vhdx");
    for (const char* view : {"--merged", "--file-only"}) {
        const std::vector<std::string> arguments = {
            "read", "disk.vhdx", view, "--offset", "1M", "--length", "3M", "--progress", "always"};
        const CChildResult result = RunVhdxIn(folder.Path(), arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(result.output == DynamicContent().substr(MiB, 3 * MiB));
        EXPECT_EQ(result.errors.substr(0, 34), "\rreading   0%  0 bytes of 3 MiB\x1B[K");
        EXPECT_EQ(result.errors.substr(result.errors.size() - 4), "\r\x1B[K");
    }
}

}  // namespace
}  // namespace NTest
