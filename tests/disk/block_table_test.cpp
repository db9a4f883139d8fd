#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_parser/byte_stream.h>

#include "tests/disk/table_maker.h"
#include "tests/support/temporary_folder.h"
#include "vhdx_disk/table/table_entries.h"

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockRun;
using NVHDXDisk::CBlockTable;
using NVHDXDisk::CFailure;
using NVHDXDisk::CGeometry;

using CStateAndOffset = std::pair<int, std::uint64_t>;  // offset in MiB

/// What is asked of a table, from whichever source.
struct CAnswers {
    std::uint64_t maxFileOffset = 0;
    std::uint64_t lastPayloadBlockIndex = 0;
    std::map<int, std::uint64_t> counts;  // by state; without those that no block has
    std::vector<CStateAndOffset> blocks;

    bool operator==(const CAnswers&) const = default;
};

std::vector<CStateAndOffset> BlocksOf(const NVHDX::CBlocks& model, std::uint64_t blockCount) {
    std::vector<CStateAndOffset> blocks;
    for (const NVHDX::CBlockChunk& chunk : model.chunks) {
        for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
            if (blocks.size() < blockCount) {
                blocks.emplace_back(block.state, block.offset);
            }
        }
    }
    return blocks;
}

/// By the library's loading, block by block; nothing when it refuses the table.
std::optional<CAnswers> AnswersOfModel(const std::filesystem::path& path) {
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    stream.open(path, std::ios::binary);
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks model;
    NVHDX::CFileParameters params;
    EXPECT_TRUE(accessor.Entry(stream));
    if (!accessor.LoadBlocks(model, params, stream)) {
        return std::nullopt;
    }
    CAnswers answers{params.maxFileOffset, params.lastPayloadBlockIndex, {}, {}};
    answers.blocks =
        BlocksOf(model, (params.virtdisksz + params.payloadblksz - 1) / params.payloadblksz);
    for (const auto& [state, offset] : answers.blocks) {
        ++answers.counts[state];
    }
    return answers;
}

/// Every block of the runs, whose places must be those of `blocks`.
void ExpectRuns(const CBlockTable& table, std::uint32_t blockSize,
                const std::vector<CStateAndOffset>& blocks) {
    CFailure failure;
    std::uint64_t next = 0;
    EXPECT_TRUE(table.Runs(
        [&](const CBlockRun& run) {
            EXPECT_EQ(run.firstBlock, next);
            for (std::uint64_t i = 0; i < run.count; ++i, ++next) {
                EXPECT_EQ(blocks[next].first, run.state);
                if (run.HasData()) {
                    // As the table's numbers, which have no more bits, wrap around.
                    EXPECT_EQ(blocks[next].second << 20, run.position + i * blockSize);
                }
            }
            return !testing::Test::HasFailure();
        },
        failure));
    EXPECT_EQ(next, blocks.size());
}

/// By the table that is read in pieces.
std::optional<CAnswers> AnswersOfTable(const std::filesystem::path& path, CBlockTable::ERuns runs) {
    CFailure failure;
    NVHDXDisk::CReplayedStream stream(path, NVHDXDisk::ELog::replay, failure);
    NVHDX::CAccessor accessor;
    CGeometry geometry;
    EXPECT_TRUE(NVHDXDisk::OpenContainer(accessor, stream, failure)) << failure.text;
    EXPECT_TRUE(NVHDXDisk::ReadGeometry(accessor, stream, path, geometry, failure));
    const auto table = CBlockTable::Open(stream.Replayed(), geometry, runs, failure);
    if (table == nullptr) {
        EXPECT_EQ(failure.reason, NVHDXDisk::NoBlockTable);
        EXPECT_EQ(failure.kind, CFailure::damaged);
        EXPECT_EQ(failure.file, path);
        return std::nullopt;
    }
    CAnswers answers{
        table->Parameters().maxFileOffset, table->Parameters().lastPayloadBlockIndex, {}, {}};
    for (int state = CPayloadBlock::NotPresent; state <= CPayloadBlock::PartiallyPresent; ++state) {
        const std::uint64_t count = table->Count(static_cast<CPayloadBlock::EState>(state));
        if (count != 0) {
            answers.counts[state] = count;
        }
    }
    NVHDX::CBlocks model;
    EXPECT_TRUE(table->LoadBlocks(model, 0, geometry.virtualSize, failure)) << failure.text;
    answers.blocks = BlocksOf(model, table->BlockCount());
    ExpectRuns(*table, geometry.blockSize, answers.blocks);
    return answers;
}

void ExpectSameAnswers(const CImageBuilder& builder, const std::string& what) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    const auto expected = AnswersOfModel(folder / "disk.vhdx");
    EXPECT_EQ(AnswersOfTable(folder / "disk.vhdx", CBlockTable::runsWanted), expected) << what;
    EXPECT_EQ(AnswersOfTable(folder / "disk.vhdx", CBlockTable::runsNotWanted), expected) << what;
}

TEST(BlockTable, AnswersAsTheLoadedModelDoesForAnyTable) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        ExpectSameAnswers(CTableMaker(seed).Make(256 * MiB, 60), "seed " + std::to_string(seed));
    }
}

/// 100,000 entries are more than three pieces.
TEST(BlockTable, AnswersAsTheLoadedModelDoesForATableOfManyPieces) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        ExpectSameAnswers(CTableMaker(seed).Make(MiB, 100000), "seed " + std::to_string(seed));
    }
}

TEST(BlockTable, NamesTheFirstOfTwoBlocksThatLieFurthest) {
    const CTemporaryFolder folder;
    CImageBuilder()
        .VirtualSize(4 * MiB)
        .PayloadBlock(0, 6, 7)
        .PayloadBlock(1, 1, 9)
        .PayloadBlock(2, 6, 9)
        .PayloadBlock(3, 2, 99)
        .Build()
        .WriteTo(folder / "disk.vhdx");
    const auto answers = AnswersOfTable(folder / "disk.vhdx", CBlockTable::runsWanted);
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->maxFileOffset, 10 * MiB);
    EXPECT_EQ(answers->lastPayloadBlockIndex, 1U);
}

TEST(BlockTable, RefusesStatesThatTheirPlaceDoesNotAllow) {
    const auto isRefused = [](const CImageBuilder& builder) {
        const CTemporaryFolder folder;
        builder.Build().WriteTo(folder / "disk.vhdx");
        return !AnswersOfTable(folder / "disk.vhdx", CBlockTable::runsNotWanted);
    };
    const CImageBuilder alone = CImageBuilder().VirtualSize(4 * MiB);
    const CImageBuilder child = CImageBuilder(alone).Differencing();
    EXPECT_FALSE(isRefused(alone));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 4, 0)));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 5, 0)));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 7, 9)));
    EXPECT_FALSE(isRefused(CImageBuilder(child).PayloadBlock(1, 7, 9)));
    EXPECT_TRUE(isRefused(CImageBuilder(child).PayloadBlock(4, 5, 0)));  // behind the disk's end
    EXPECT_TRUE(isRefused(CImageBuilder(child).SectorBitmapBlock(0, 7, 9)));
}

}  // namespace
}  // namespace NTest
