#include <gtest/gtest.h>
#if __has_include(<rapidcheck/gtest.h>)
#include <rapidcheck/gtest.h>
#endif

#include <cstdint>
#include <memory>
#include <ostream>
#include <vector>

#include <vhdx_disk/block_table.h>

#include "tests/support/bytes.h"
#include "vhdx_disk/table/run_joiner.h"

namespace NVHDXDisk {

static bool operator==(const CBlockRun& a, const CBlockRun& b) {
    return a.firstBlock == b.firstBlock && a.count == b.count && a.state == b.state &&
           (!a.HasData() || a.position == b.position);
}

static std::ostream& operator<<(std::ostream& out, const CBlockRun& run) {
    return out << "{" << run.firstBlock << ", " << run.count << ", " << run.state << ", "
               << run.position << "}";
}

}  // namespace NVHDXDisk

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockRun;
using NVHDXDisk::CBlockTable;
using NVHDXDisk::CFailure;

std::shared_ptr<const CBlockTable> Table(const std::vector<CPayloadBlock>& blocks,
                                         std::uint64_t ratio, std::uint64_t virtualSize) {
    NVHDX::CFileParameters params;
    params.payloadblksz = MiB;
    params.virtdisksz = virtualSize;
    const auto model = std::make_shared<NVHDX::CBlocks>();
    model->ratio = ratio;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i % ratio == 0) {
            model->chunks.emplace_back();
            model->chunks.back().Init(static_cast<std::uint32_t>(ratio));
        }
        model->chunks.back().InitPayloadBlock(blocks[i].state, blocks[i].offset);
    }
    return CBlockTable::Of(model, params);
}

std::vector<CBlockRun> Runs(const std::vector<CPayloadBlock>& blocks, std::uint64_t ratio,
                            std::uint64_t virtualSize) {
    std::vector<CBlockRun> runs;
    CFailure failure;
    EXPECT_TRUE(Table(blocks, ratio, virtualSize)
                    ->Runs(
                        [&runs](const CBlockRun& run) {
                            runs.push_back(run);
                            return true;
                        },
                        failure))
        << failure.text;
    return runs;
}

TEST(BlockRuns, MergesBlocksThatFollowOneAnotherInTheFile) {
    EXPECT_EQ(Runs({{4, CPayloadBlock::FullyPresent},
                    {5, CPayloadBlock::FullyPresent},
                    {9, CPayloadBlock::FullyPresent}},
                   8, 3 * MiB),
              (std::vector<CBlockRun>{{0, 2, CPayloadBlock::FullyPresent, 4 * MiB},
                                      {2, 1, CPayloadBlock::FullyPresent, 9 * MiB}}));
}

TEST(BlockRuns, MergesBlocksWithoutDataWhateverTheirOffset) {
    EXPECT_EQ(
        Runs({{7, CPayloadBlock::Zero}, {0, CPayloadBlock::Zero}, {1, CPayloadBlock::Unmapped}}, 8,
             3 * MiB),
        (std::vector<CBlockRun>{{0, 2, CPayloadBlock::Zero, 0},
                                {2, 1, CPayloadBlock::Unmapped, 0}}));
}

TEST(BlockRuns, DoesNotMergeStatesThoughTheirDataFollowOneAnother) {
    EXPECT_EQ(
        Runs({{4, CPayloadBlock::FullyPresent}, {5, CPayloadBlock::PartiallyPresent}}, 8, 2 * MiB)
            .size(),
        2U);
}

TEST(BlockRuns, MergesAcrossChunks) {
    EXPECT_EQ(Runs({{4, CPayloadBlock::FullyPresent},
                    {5, CPayloadBlock::FullyPresent},
                    {6, CPayloadBlock::FullyPresent}},
                   2, 3 * MiB),
              (std::vector<CBlockRun>{{0, 3, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, LeaveReservedBitsOfTheTableAside) {
    std::vector<CBlockRun> runs;
    NVHDXDisk::CRunJoiner joined(MiB, NVHDXDisk::CRunJoiner::hasPlaces,
                                 [&runs](const CBlockRun& run) { runs.push_back(run); });
    const std::vector<std::uint64_t> words = {4 * MiB | 0x10 | 6, 5 * MiB | 0x80000 | 6};
    joined.Add(words);
    joined.Finish();
    EXPECT_EQ(runs, (std::vector<CBlockRun>{{0, 2, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, EndsWithTheDiskAndLeavesOutBlocksPastIt) {
    EXPECT_EQ(Runs({{4, CPayloadBlock::FullyPresent},
                    {5, CPayloadBlock::FullyPresent},
                    {6, CPayloadBlock::FullyPresent}},
                   4, MiB + 512),
              (std::vector<CBlockRun>{{0, 2, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, AreNoneForADiskOfNoSize) {
    EXPECT_EQ(Runs({{4, CPayloadBlock::FullyPresent}}, 4, 0).size(), 0U);
}

#if __has_include(<rapidcheck/gtest.h>)

/// Block by block: a block joins the run before it, or starts one.
std::vector<CBlockRun> NaiveRuns(const std::vector<CPayloadBlock>& blocks, std::uint64_t size) {
    std::vector<CBlockRun> runs;
    for (std::size_t i = 0; i * MiB < size; ++i) {
        const CBlockRun block{i, 1, blocks[i].state, blocks[i].offset * MiB};
        const bool joins =
            !runs.empty() && runs.back().state == block.state &&
            (!block.HasData() || runs.back().position + runs.back().count * MiB == block.position);
        if (joins) {
            ++runs.back().count;
        } else {
            runs.push_back(block);
        }
    }
    return runs;
}

RC_GTEST_PROP(BlockRuns, AgreeWithTheBlockByBlockModel, ()) {
    const auto count = *rc::gen::inRange<std::size_t>(1, 40);
    std::vector<CPayloadBlock> blocks;
    for (std::size_t i = 0; i < count; ++i) {
        const auto state = static_cast<CPayloadBlock::EState>(*rc::gen::inRange(4, 7));
        // Mostly the next place, so that runs come about.
        const std::uint64_t offset =
            *rc::gen::weightedElement<std::uint64_t>({{4, i + 1}, {1, 99}});
        blocks.push_back({offset, state});
    }
    const std::uint64_t size = *rc::gen::inRange<std::uint64_t>(0, count * MiB + 1);
    const auto ratio = *rc::gen::inRange<std::uint64_t>(1, 9);
    RC_ASSERT(Runs(blocks, ratio, size) == NaiveRuns(blocks, size));
}

#endif

}  // namespace
}  // namespace NTest
