#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "host/block_map.h"
#include "tests/support/bytes.h"

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXHost::CBlockMap;
using NVHDXHost::EBlockContent;
using testing::ElementsAre;

/// First block, count, content, position.
using CRun = std::tuple<std::uint64_t, std::uint64_t, EBlockContent, std::uint64_t>;

/// The map of blocks of 1 MiB in one chunk, in a file of 16 MiB.
CBlockMap MapOf(const std::vector<CPayloadBlock>& payloadBlocks, std::uint64_t diskSize = 8 * MiB) {
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters parameters;
    parameters.payloadblksz = MiB;
    parameters.virtdisksz = diskSize;
    std::vector<CPayloadBlock> moved = payloadBlocks;
    blocks.chunks.resize(1);
    blocks.chunks[0].AddAllPayloadBlocks(moved);
    return CBlockMap(blocks, parameters, 16 * MiB);
}

std::vector<CRun> RunsOf(const std::vector<CPayloadBlock>& payloadBlocks,
                         std::uint64_t diskSize = 8 * MiB) {
    const CBlockMap map = MapOf(payloadBlocks, diskSize);
    std::vector<CRun> runs;
    for (const auto& run : map.Runs()) {
        runs.emplace_back(run.firstBlock, run.count, run.content, run.position);
    }
    return runs;
}

TEST(BlockMap, BlocksThatFollowOneAnotherInDiskAndFileAreOneRun) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {5, CPayloadBlock::FullyPresent},
                        {6, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 3, EBlockContent::present, 4 * MiB)));
}

TEST(BlockMap, BlocksThatLieElsewhereInTheFileAreAnotherRun) {
    EXPECT_THAT(RunsOf({{5, CPayloadBlock::FullyPresent}, {4, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 1, EBlockContent::present, 5 * MiB),
                            CRun(1, 1, EBlockContent::present, 4 * MiB)));
}

TEST(BlockMap, BlocksWithoutDataAreOneRunWhereverTheyClaimToLie) {
    EXPECT_THAT(RunsOf({{9, CPayloadBlock::Zero}, {4, CPayloadBlock::Zero}}),
                ElementsAre(CRun(0, 2, EBlockContent::zero, 0)));
}

TEST(BlockMap, BlocksOfWhichNothingIsSaidAreInNoRun) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {0, CPayloadBlock::NotPresent},
                        {5, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 1, EBlockContent::present, 4 * MiB),
                            CRun(2, 1, EBlockContent::present, 5 * MiB)));
}

TEST(BlockMap, EveryContentIsARunOfItsOwn) {
    EXPECT_THAT(
        RunsOf({{4, CPayloadBlock::FullyPresent},
                {5, CPayloadBlock::PartiallyPresent},
                {6, CPayloadBlock::Undefined},
                {0, CPayloadBlock::Zero},
                {0, CPayloadBlock::Unmapped},
                {16, CPayloadBlock::FullyPresent},
                {0, CPayloadBlock::FullyPresent}}),
        ElementsAre(CRun(0, 1, EBlockContent::present, 4 * MiB),
                    CRun(1, 1, EBlockContent::partial, 5 * MiB),
                    CRun(2, 1, EBlockContent::undefined, 0), CRun(3, 1, EBlockContent::zero, 0),
                    CRun(4, 1, EBlockContent::unmapped, 0),
                    CRun(5, 2, EBlockContent::unreadable, 0)));
}

TEST(BlockMap, BlocksPastTheEndOfTheDiskAreLeftOut) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {5, CPayloadBlock::FullyPresent},
                        {6, CPayloadBlock::FullyPresent},
                        {0, CPayloadBlock::Zero}},
                       2 * MiB),
                ElementsAre(CRun(0, 2, EBlockContent::present, 4 * MiB)));
}

TEST(BlockMap, FindsTheRunOfABlockOrTheNextOne) {
    const CBlockMap map = MapOf({{0, CPayloadBlock::NotPresent},
                                 {4, CPayloadBlock::FullyPresent},
                                 {5, CPayloadBlock::FullyPresent},
                                 {0, CPayloadBlock::NotPresent}});
    EXPECT_EQ(map.RunFrom(0)->firstBlock, 1U);
    EXPECT_EQ(map.RunFrom(2)->firstBlock, 1U);
    EXPECT_EQ(map.RunFrom(3), nullptr);
}

}  // namespace
}  // namespace NTest
