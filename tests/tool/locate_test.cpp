#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

CJson Locate(const CImageBuilder& builder, std::uint64_t offset, std::uint64_t length) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    const CChildResult result =
        RunVhdxIn(folder.Path(), {"locate", "--json", "disk.vhdx", "--offset",
                                  std::to_string(offset), "--length", std::to_string(length)});
    EXPECT_EQ(result.status, 0) << result.errors;
    return CJson::parse(result.output);
}

TEST(Locate, GivesOnePieceForEachBlock) {
    const CImageBuilder disk = DynamicDisk();
    const CJson pieces = Locate(disk, 2 * MiB - 100, MiB + 300);
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[0], CJson({{"start", 2 * MiB - 100},
                                {"length", 100},
                                {"offset", disk.BlockPosition(2) - 100}}));
    EXPECT_EQ(pieces[1],
              CJson({{"start", 2 * MiB}, {"length", MiB}, {"offset", disk.BlockPosition(2)}}));
    EXPECT_EQ(pieces[2], CJson({{"start", 3 * MiB}, {"length", 200}, {"offset", nullptr}}));
}

TEST(Locate, GivesNothingForAnEmptyRange) {
    EXPECT_EQ(Locate(DynamicDisk(), MiB, 0), CJson::array());
    EXPECT_EQ(Locate(DynamicDisk(), 10 * MiB - 512, 0), CJson::array());
}

TEST(Locate, JoinsTheStepsOfALongRange) {
    const std::uint64_t blocks = 10000;
    const CJson pieces = Locate(CImageBuilder().VirtualSize(blocks * MiB), 512, blocks * MiB - 512);
    ASSERT_EQ(pieces.size(), blocks);
    std::uint64_t end = 512;
    for (const CJson& piece : pieces) {
        ASSERT_EQ(piece["start"], end);
        end += piece["length"].get<std::uint64_t>();
    }
    EXPECT_EQ(end, blocks * MiB);
}

}  // namespace
}  // namespace NTest
