// Sparse disks too large to be converted whole, of several chunks.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "tests/interop/qemu_disk.h"
#include "tests/support/bytes.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

CJson VhdxJson(const std::vector<std::string>& arguments) {
    const CChildResult result = RunVhdx(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    return CJson::parse(result.output);
}

std::string ReadRange(const CQemuDisk& disk, std::uint64_t offset, std::uint64_t length) {
    const CChildResult result = RunVhdx({"read", disk.Path(), "--offset", std::to_string(offset),
                                         "--length", std::to_string(length)});
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
}

void ExpectSameInfo(const CQemuDisk& disk) {
    const CJson ours = VhdxJson({"info", "--json", "--no-blocks", disk.Path()});
    EXPECT_EQ(ours["virtdisksz"], disk.Info()["virtual-size"]);
    EXPECT_EQ(ours["payloadblksz"], disk.Info()["cluster-size"]);
}

/// `count` ranges of whole sectors around a written place.
void ExpectSameRandomRanges(const CQemuDisk& disk, const CWrittenRange& written, int count) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const std::uint64_t size = disk.Info()["virtual-size"];
    for (int i = 0; i < count; ++i) {
        const std::uint64_t before = random() % 64 * 512;
        const std::uint64_t start = written.offset < before ? 0 : written.offset - before;
        const std::uint64_t length = std::min((random() % 4096 + 1) * 512, size - start);
        EXPECT_TRUE(ReadRange(disk, start, length) == disk.Read(start, length))
            << start << " " << length;
    }
}

struct CHugeCase {
    std::string name;
    std::uint64_t blockSize;
    std::uint64_t virtualSize;
};

class HugeDisk : public testing::TestWithParam<CHugeCase> {};

TEST_P(HugeDisk, AgreesWithQemu) {
    const auto& [name, blockSize, virtualSize] = GetParam();
    const CQemuDisk disk("block_size=" + std::to_string(blockSize), virtualSize);
    const CWrittenRange first{0, 4096, 0x61};
    const CWrittenRange middle{virtualSize / 2 - 4096, 8192, 0x62};  // across a border
    const CWrittenRange last{virtualSize - 4096, 4096, 0x63};
    disk.Write({first, middle, last});

    ExpectSameInfo(disk);
    const CJson map = VhdxJson({"map", "--json", disk.Path()});
    ASSERT_EQ(map.size(), 5U);
    EXPECT_EQ(map[0]["length"], blockSize);
    EXPECT_EQ(map[2]["start"], virtualSize / 2 - blockSize);
    EXPECT_EQ(map[2]["length"], 2 * blockSize);
    EXPECT_EQ(map[4]["start"], virtualSize - blockSize);
    EXPECT_EQ(map[4]["state"], "FullyPresent");
    for (const CWrittenRange& written : {first, middle, last}) {
        ExpectSameRandomRanges(disk, written, 2);
    }
}

INSTANTIATE_TEST_SUITE_P(Interop, HugeDisk,
                         testing::Values(CHugeCase{"Of9GiBIn1MiBBlocks", MiB, 9 * GiB},
                                         CHugeCase{"Of1TiBIn2MiBBlocks", 2 * MiB, TiB},
                                         CHugeCase{"Of10TiBIn8MiBBlocks", 8 * MiB, 10 * TiB},
                                         CHugeCase{"Of64TiBIn32MiBBlocks", 32 * MiB, 64 * TiB},
                                         CHugeCase{"Of64TiBIn256MiBBlocks", 256 * MiB, 64 * TiB}),
                         [](const testing::TestParamInfo<CHugeCase>& instance) {
                             return instance.param.name;
                         });

/// The largest disk in the smallest blocks: a table of 512 MiB, and 2 GiB of memory to load it.
TEST(HugestDisk, HasAMapOfSixtyFourMebiBlocks) {
    const CQemuDisk disk("block_size=1M,block_state_zero=off", 64 * TiB);
    disk.Write({{40 * TiB - 512, 1024, 0x71}});
    ExpectSameInfo(disk);
    const CJson info = VhdxJson({"info", "--json", "--no-blocks", disk.Path()});
    EXPECT_EQ(info["chunks"], 16384);
    const CJson map = VhdxJson({"map", "--json", disk.Path()});
    ASSERT_EQ(map.size(), 3U);
    EXPECT_EQ(map[0]["length"], 40 * TiB - MiB);
    EXPECT_EQ(map[1]["state"], "FullyPresent");
    EXPECT_EQ(map[1]["length"], 2 * MiB);
    EXPECT_EQ(map[2]["length"], 24 * TiB - MiB);
    // The sectors beside the border between the two blocks, straight from the file.
    const std::uint64_t border = map[1]["offset"].get<std::uint64_t>() + MiB;
    EXPECT_EQ(FileRange(disk.Path(), border - 512, 1024), std::string(1024, '\x71'));
}

}  // namespace
}  // namespace NTest
