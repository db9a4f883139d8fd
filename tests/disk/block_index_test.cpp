#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <utility>

#include "tests/support/memory_source.h"
#include "vhdx_disk/table/block_index.h"

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockIndex;
using NVHDXDisk::CFailure;
using NVHDXDisk::CGeometry;
using testing::ElementsAre;

/// First block, count, state, position of blocks that hold bytes, whether it is in the file.
using CRun = std::tuple<std::uint64_t, std::uint64_t, CPayloadBlock::EState, std::uint64_t, bool>;

/// The index of blocks of 1 MiB in one chunk of a differencing disk, in a file of 16 MiB.
CBlockIndex IndexOf(const std::vector<CPayloadBlock>& payloadBlocks,
                    std::uint64_t diskSize = 8 * MiB) {
    const CGeometry geometry{MiB, 512, diskSize, 4096, true};
    const auto blocks = std::make_shared<NVHDX::CBlocks>();
    std::vector<CPayloadBlock> moved = payloadBlocks;
    blocks->ratio = geometry.ratio;
    blocks->chunks.resize(1);
    blocks->chunks[0].AddAllPayloadBlocks(moved);
    CSparseImage file;
    file.Resize(16 * MiB);
    CBlockIndex index;
    CFailure failure;
    EXPECT_TRUE(index.Load(NVHDXDisk::CEntriesOfModel(blocks), geometry,
                           CMemorySource(std::move(file)), failure))
        << failure.text;
    return index;
}

std::vector<CRun> RunsOf(const std::vector<CPayloadBlock>& payloadBlocks,
                         std::uint64_t diskSize = 8 * MiB) {
    const CBlockIndex index = IndexOf(payloadBlocks, diskSize);
    std::vector<CRun> runs;
    for (const auto& run : index.Runs()) {
        const bool holdsBytes = run.state == CPayloadBlock::FullyPresent ||
                                run.state == CPayloadBlock::PartiallyPresent;
        runs.emplace_back(run.firstBlock, run.count, run.state, holdsBytes ? run.position : 0,
                          run.isInFile);
    }
    return runs;
}

TEST(BlockIndex, BlocksThatFollowOneAnotherInDiskAndFileAreOneRun) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {5, CPayloadBlock::FullyPresent},
                        {6, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 3, CPayloadBlock::FullyPresent, 4 * MiB, true)));
}

TEST(BlockIndex, BlocksThatLieElsewhereInTheFileAreAnotherRun) {
    EXPECT_THAT(RunsOf({{5, CPayloadBlock::FullyPresent}, {4, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 1, CPayloadBlock::FullyPresent, 5 * MiB, true),
                            CRun(1, 1, CPayloadBlock::FullyPresent, 4 * MiB, true)));
}

TEST(BlockIndex, BlocksWithoutDataAreOneRunWhereverTheyClaimToLie) {
    EXPECT_THAT(RunsOf({{9, CPayloadBlock::Zero}, {4, CPayloadBlock::Zero}}),
                ElementsAre(CRun(0, 2, CPayloadBlock::Zero, 0, true)));
}

TEST(BlockIndex, BlocksOfWhichNothingIsSaidAreInNoRun) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {0, CPayloadBlock::NotPresent},
                        {5, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 1, CPayloadBlock::FullyPresent, 4 * MiB, true),
                            CRun(2, 1, CPayloadBlock::FullyPresent, 5 * MiB, true)));
}

TEST(BlockIndex, EveryContentIsARunOfItsOwn) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {5, CPayloadBlock::PartiallyPresent},
                        {6, CPayloadBlock::Undefined},
                        {0, CPayloadBlock::Zero},
                        {0, CPayloadBlock::Unmapped},
                        {16, CPayloadBlock::FullyPresent},
                        {0, CPayloadBlock::FullyPresent}}),
                ElementsAre(CRun(0, 1, CPayloadBlock::FullyPresent, 4 * MiB, true),
                            CRun(1, 1, CPayloadBlock::PartiallyPresent, 5 * MiB, true),
                            CRun(2, 1, CPayloadBlock::Undefined, 0, true),
                            CRun(3, 1, CPayloadBlock::Zero, 0, true),
                            CRun(4, 1, CPayloadBlock::Unmapped, 0, true),
                            CRun(5, 1, CPayloadBlock::FullyPresent, 16 * MiB, false),
                            CRun(6, 1, CPayloadBlock::FullyPresent, 0, false)));
}

TEST(BlockIndex, BlocksPastTheEndOfTheDiskAreLeftOut) {
    EXPECT_THAT(RunsOf({{4, CPayloadBlock::FullyPresent},
                        {5, CPayloadBlock::FullyPresent},
                        {6, CPayloadBlock::FullyPresent},
                        {0, CPayloadBlock::Zero}},
                       2 * MiB),
                ElementsAre(CRun(0, 2, CPayloadBlock::FullyPresent, 4 * MiB, true)));
}

TEST(BlockIndex, FindsTheRunOfABlockOrTheNextOne) {
    const CBlockIndex index = IndexOf({{0, CPayloadBlock::NotPresent},
                                       {4, CPayloadBlock::FullyPresent},
                                       {5, CPayloadBlock::FullyPresent},
                                       {0, CPayloadBlock::NotPresent}});
    EXPECT_EQ(index.RunFrom(0)->firstBlock, 1U);
    EXPECT_EQ(index.RunFrom(2)->firstBlock, 1U);
    EXPECT_EQ(index.RunFrom(3), nullptr);
}

}  // namespace
}  // namespace NTest
