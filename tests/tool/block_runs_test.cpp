#include "tools/vhdx/block_runs.h"

#include <gtest/gtest.h>
#if __has_include(<rapidcheck/gtest.h>)
#include <rapidcheck/gtest.h>
#endif

#include <cstdint>
#include <ostream>
#include <vector>

#include "tools/vhdx/block_word.h"

namespace NTool {

static bool operator==(const CBlockRun& a, const CBlockRun& b) {
    return a.start == b.start && a.length == b.length && a.state == b.state &&
           (!a.HasData() || a.fileOffset == b.fileOffset);
}

static std::ostream& operator<<(std::ostream& out, const CBlockRun& run) {
    return out << "{" << run.start << ", " << run.length << ", " << run.state << ", "
               << run.fileOffset << "}";
}

namespace {

using NVHDX::CPayloadBlock;
constexpr std::uint64_t MiB = 1048576;

CModel Model(const std::vector<CPayloadBlock>& blocks, std::uint64_t ratio,
             std::uint64_t virtualSize, std::uint32_t blockSize = MiB) {
    CModel model;
    model.params.payloadblksz = blockSize;
    model.params.virtdisksz = virtualSize;
    model.blocks.ratio = ratio;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i % ratio == 0) {
            model.blocks.chunks.emplace_back();
            model.blocks.chunks.back().Init(static_cast<std::uint32_t>(ratio));
        }
        model.blocks.chunks.back().InitPayloadBlock(blocks[i].state, blocks[i].offset);
    }
    return model;
}

/// The runs of the model's blocks, which are handed over chunk by chunk.
std::vector<CBlockRun> Runs(const CModel& model) {
    std::vector<CBlockRun> runs;
    CBlockRuns joined(model.params.payloadblksz, model.params.virtdisksz,
                      [&runs](const CBlockRun& run) { runs.push_back(run); });
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        std::vector<std::uint64_t> words;
        for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
            words.push_back(CBlockWord::Of(block));
        }
        joined.Add(words);
    }
    joined.Finish();
    return runs;
}

TEST(BlockRuns, MergesBlocksThatFollowOneAnotherInTheFile) {
    const CModel model = Model({{4, CPayloadBlock::FullyPresent},
                                {5, CPayloadBlock::FullyPresent},
                                {9, CPayloadBlock::FullyPresent}},
                               8, 3 * MiB);
    EXPECT_EQ(Runs(model),
              (std::vector<CBlockRun>{{0, 2 * MiB, CPayloadBlock::FullyPresent, 4 * MiB},
                                      {2 * MiB, MiB, CPayloadBlock::FullyPresent, 9 * MiB}}));
}

TEST(BlockRuns, MergesBlocksWithoutDataWhateverTheirOffset) {
    const CModel model =
        Model({{7, CPayloadBlock::Zero}, {0, CPayloadBlock::Zero}, {1, CPayloadBlock::Unmapped}}, 8,
              3 * MiB);
    EXPECT_EQ(Runs(model), (std::vector<CBlockRun>{{0, 2 * MiB, CPayloadBlock::Zero, 0},
                                                   {2 * MiB, MiB, CPayloadBlock::Unmapped, 0}}));
}

TEST(BlockRuns, DoesNotMergeStatesThoughTheirDataFollowOneAnother) {
    const CModel model =
        Model({{4, CPayloadBlock::FullyPresent}, {5, CPayloadBlock::PartiallyPresent}}, 8, 2 * MiB);
    EXPECT_EQ(Runs(model).size(), 2U);
}

TEST(BlockRuns, MergesAcrossChunks) {
    const CModel model = Model({{4, CPayloadBlock::FullyPresent},
                                {5, CPayloadBlock::FullyPresent},
                                {6, CPayloadBlock::FullyPresent}},
                               2, 3 * MiB);
    EXPECT_EQ(Runs(model),
              (std::vector<CBlockRun>{{0, 3 * MiB, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, LeaveReservedBitsOfTheTableAside) {
    std::vector<CBlockRun> runs;
    CBlockRuns joined(MiB, 2 * MiB, [&runs](const CBlockRun& run) { runs.push_back(run); });
    const std::vector<std::uint64_t> words = {4 * MiB | 0x10 | 6, 5 * MiB | 0x80000 | 6};
    joined.Add(words);
    joined.Finish();
    EXPECT_EQ(runs, (std::vector<CBlockRun>{{0, 2 * MiB, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, EndsWithTheDiskAndLeavesOutBlocksPastIt) {
    const CModel model = Model({{4, CPayloadBlock::FullyPresent},
                                {5, CPayloadBlock::FullyPresent},
                                {6, CPayloadBlock::FullyPresent}},
                               4, MiB + 512);
    EXPECT_EQ(Runs(model),
              (std::vector<CBlockRun>{{0, MiB + 512, CPayloadBlock::FullyPresent, 4 * MiB}}));
}

TEST(BlockRuns, AreNoneForADiskOfNoSize) {
    EXPECT_EQ(Runs(Model({{4, CPayloadBlock::FullyPresent}}, 4, 0)).size(), 0U);
}

TEST(HasData, LooksAtEveryBlockThatTheRangeTouches) {
    const CModel model = Model({{0, CPayloadBlock::Zero},
                                {0, CPayloadBlock::NotPresent},
                                {4, CPayloadBlock::FullyPresent},
                                {0, CPayloadBlock::Zero}},
                               2, 4 * MiB);
    EXPECT_FALSE(HasData(model, 0, 2 * MiB));
    EXPECT_TRUE(HasData(model, 0, 2 * MiB + 1));
    EXPECT_TRUE(HasData(model, 3 * MiB - 1, 2));
    EXPECT_FALSE(HasData(model, 3 * MiB, MiB));
}

#if __has_include(<rapidcheck/gtest.h>)

/// Block by block: a block joins the run before it, or starts one.
std::vector<CBlockRun> NaiveRuns(const std::vector<CPayloadBlock>& blocks, std::uint64_t size) {
    std::vector<CBlockRun> runs;
    for (std::size_t i = 0; i * MiB < size; ++i) {
        const std::uint64_t length = std::min(MiB, size - i * MiB);
        CBlockRun block{i * MiB, length, blocks[i].state, blocks[i].offset * MiB};
        const bool joins =
            !runs.empty() && runs.back().state == block.state &&
            (!block.HasData() || runs.back().fileOffset + runs.back().length == block.fileOffset);
        if (joins) {
            runs.back().length += length;
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
    RC_ASSERT(Runs(Model(blocks, ratio, size)) == NaiveRuns(blocks, size));
}

#endif

}  // namespace
}  // namespace NTool
