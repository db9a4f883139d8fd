#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::ordered_json;

/// What `info --json` says of a disk.
CJson Info(const CImageBuilder& builder, const std::vector<std::string>& more = {}) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    std::vector<std::string> arguments = {"info", "--json", "disk.vhdx"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CChildResult result = RunVhdxIn(folder.Path(), arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    return CJson::parse(result.output);
}

TEST(Info, HasExactlyTheseKeysInThisOrder) {
    const CJson info = Info(DynamicDisk());
    std::vector<std::string> keys;
    for (const auto& [key, value] : info.items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys,
              (std::vector<std::string>{
                  "file", "size", "type", "payloadblksz", "logsectsz", "physical_sector_size",
                  "virtdisksz", "page83", "leaveBlocksAllocated", "bDifferencing", "maxFileOffset",
                  "lastPayloadBlockIndex", "ratio", "chunks", "blocks", "parent"}));
}

TEST(Info, TellsTheTypesApart) {
    EXPECT_EQ(Info(CImageBuilder())["type"], "dynamic");
    EXPECT_EQ(Info(CImageBuilder().LeaveBlocksAllocated())["type"], "fixed");
    EXPECT_EQ(Info(DifferencingDisk())["type"], "differencing");
    EXPECT_EQ(Info(DifferencingDisk().LeaveBlocksAllocated())["type"], "differencing");
}

TEST(Info, CountsBlocksByState) {
    EXPECT_EQ(Info(DynamicDisk())["blocks"],
              CJson::parse(R"({"total": 10, "NotPresent": 4, "Undefined": 0, "Zero": 1,
                               "Unmapped": 1, "FullyPresent": 4, "PartiallyPresent": 0})"));
}

TEST(Info, CountsNoBlocksPastTheEndOfADifferencingDisk) {
    const CJson info = Info(DifferencingDisk().PayloadBlock(5, 6, 9));
    EXPECT_EQ(info["blocks"]["total"], 4);
    EXPECT_EQ(info["blocks"]["FullyPresent"], 1);
    EXPECT_EQ(info["blocks"]["PartiallyPresent"], 1);
}

TEST(Info, LeavesTheTableUnreadWithNoBlocks) {
    // An entry that no reader may accept, and a table that the file does not even hold.
    const CImageBuilder disk =
        DynamicDisk().PayloadBlock(0, 5, 0).BatOffset(std::uint64_t{1} << 40).FileSize(32 * MiB);
    const CJson info = Info(disk, {"--no-blocks"});
    EXPECT_TRUE(info["blocks"].is_null());
    EXPECT_TRUE(info["maxFileOffset"].is_null());
    EXPECT_TRUE(info["lastPayloadBlockIndex"].is_null());
    EXPECT_EQ(info["ratio"], 4096);
    EXPECT_EQ(info["chunks"], 1);
    EXPECT_EQ(info["virtdisksz"], 10 * MiB - 512);
}

TEST(Info, CountsTheSameChunksWithAndWithoutTheTable) {
    for (const std::uint64_t size : {4095 * MiB, 4096 * MiB, 4096 * MiB + 512, 8192 * MiB}) {
        const CImageBuilder disk = CImageBuilder().VirtualSize(size);
        EXPECT_EQ(Info(disk)["chunks"], Info(disk, {"--no-blocks"})["chunks"]) << size;
    }
}

TEST(Info, GivesTheParentLocatorAsUtf8) {
    const CJson parent = Info(DifferencingDisk())["parent"];
    EXPECT_EQ(parent["relative_path"], ".\\b\u00E4se \U0001F600\u001B[31m.vhdx");
    EXPECT_EQ(parent["absolute_win32_path"], "C:\\disks\\\uFFFD.vhdx");
    EXPECT_EQ(parent.size(), 3U);
}

TEST(Info, HasAnEmptyParentForALocatorWithoutEntries) {
    EXPECT_EQ(Info(DifferencingDisk().ParentLocator({}))["parent"], CJson::object());
}

#if !defined(_WIN32)
TEST(Info, WritesNothingButAsciiInJson) {
    const CTemporaryFolder folder;
    DifferencingDisk().Build().WriteTo(folder / "d\xC3\xA4\xFF.vhdx");
    const CChildResult result = RunVhdxIn(folder.Path(), {"info", "--json", "d\xC3\xA4\xFF.vhdx"});
    ASSERT_EQ(result.status, 0) << result.errors;
    for (const char character : result.output) {
        EXPECT_TRUE(character == '\n' || (character >= ' ' && character < 0x7F));
    }
    EXPECT_EQ(CJson::parse(result.output)["file"], "d\u00E4\uFFFD.vhdx");
}
#endif

}  // namespace
}  // namespace NTest
