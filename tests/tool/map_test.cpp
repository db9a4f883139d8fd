#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

CJson Map(const CImageBuilder& builder) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    const CChildResult result = RunVhdxIn(folder.Path(), {"map", "--json", "disk.vhdx"});
    EXPECT_EQ(result.status, 0) << result.errors;
    return CJson::parse(result.output);
}

TEST(Map, CoversTheDiskWithoutGapAndEndsWithIt) {
    std::uint64_t end = 0;
    for (const CJson& run : Map(DynamicDisk())) {
        EXPECT_EQ(run["start"], end);
        end += run["length"].get<std::uint64_t>();
    }
    EXPECT_EQ(end, 10 * MiB - 512);
}

TEST(Map, PlacesTheDataWhereTheFileHoldsIt) {
    const CImageBuilder disk = DynamicDisk();
    const CJson map = Map(disk);
    EXPECT_EQ(map[1], CJson({{"start", MiB},
                             {"length", 2 * MiB},
                             {"state", "FullyPresent"},
                             {"offset", disk.BlockPosition(1)}}));
    EXPECT_EQ(
        map[2],
        CJson({{"start", 3 * MiB}, {"length", MiB}, {"state", "NotPresent"}, {"offset", nullptr}}));
}

TEST(Map, NamesEveryState) {
    const CJson map = Map(CImageBuilder()
                              .VirtualSize(6 * MiB)
                              .Differencing()
                              .PayloadBlock(0, 0, 0)
                              .PayloadBlock(1, 1, 8)
                              .PayloadBlock(2, 2, 0)
                              .PayloadBlock(3, 3, 0)
                              .PayloadBlock(4, 6, 9)
                              .PayloadBlock(5, 7, 10));
    ASSERT_EQ(map.size(), 6U);
    EXPECT_EQ(map[0]["state"], "NotPresent");
    EXPECT_EQ(map[1]["state"], "Undefined");
    EXPECT_EQ(map[1]["offset"], 8 * MiB);
    EXPECT_EQ(map[2]["state"], "Zero");
    EXPECT_EQ(map[3]["state"], "Unmapped");
    EXPECT_EQ(map[4]["state"], "FullyPresent");
    EXPECT_EQ(map[5]["state"], "PartiallyPresent");
    EXPECT_EQ(map[5]["offset"], 10 * MiB);
}

TEST(Map, WritesTheLargestOffsetThatATableCanHold) {
    const CJson map = Map(CImageBuilder().VirtualSize(MiB).PayloadBlock(0, 6, 0xFFFFFFFFFFF));
    EXPECT_EQ(map[0]["offset"], 0xFFFFFFFFFFF00000);
}

}  // namespace
}  // namespace NTest
