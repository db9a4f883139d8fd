// Parts of a table, and tables of more runs than are kept.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/replayed_stream.h>

#include "tests/disk/table_maker.h"
#include "tests/support/memory_source.h"
#include "tests/support/stop_at_every_call.h"

namespace NVHDXDisk {

static bool operator==(const CBlockRun& a, const CBlockRun& b) {
    return a.firstBlock == b.firstBlock && a.count == b.count && a.state == b.state &&
           (!a.HasData() || a.position == b.position);
}

}  // namespace NVHDXDisk

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockRun;
using NVHDXDisk::CBlockTable;
using NVHDXDisk::CFailure;
using NVHDXDisk::CGeometry;

/// A disk in memory with its table, and with the model of all of it as the first library loads it.
struct COpenedTable {
    explicit COpenedTable(CSparseImage image, CBlockTable::ERuns runs = CBlockTable::runsWanted)
        : source(std::make_shared<CMemorySource>(std::move(image))) {
        NVHDXDisk::CReplayedStream stream(source, NVHDXDisk::ELog::asItStands, failure);
        NVHDX::CAccessor accessor;
        EXPECT_TRUE(OpenContainer(accessor, stream, failure)) << failure.text;
        EXPECT_TRUE(ReadGeometry(accessor, stream, source->Path(), geometry, failure));
        EXPECT_TRUE(accessor.LoadBlocks(*model, parameters, stream));
        table = CBlockTable::Open(source, geometry, runs, failure);
        EXPECT_NE(table, nullptr) << failure.text;
    }

    std::shared_ptr<CMemorySource> source;
    CFailure failure;
    CGeometry geometry;
    std::shared_ptr<NVHDX::CBlocks> model = std::make_shared<NVHDX::CBlocks>();
    NVHDX::CFileParameters parameters;
    std::shared_ptr<const CBlockTable> table;
};

void ExpectSameChunk(const NVHDX::CBlockChunk& chunk, const NVHDX::CBlockChunk& expected) {
    ASSERT_EQ(chunk.getCount(), expected.getCount());
    for (std::uint64_t block = 0; block < expected.getCount(); ++block) {
        const CPayloadBlock& one = chunk.getPayloadBlocks()[static_cast<std::size_t>(block)];
        const CPayloadBlock& other = expected.getPayloadBlocks()[static_cast<std::size_t>(block)];
        EXPECT_EQ(one.state, other.state);
        EXPECT_EQ(one.offset, other.offset);
        EXPECT_EQ(chunk.GetPayloadBlock(block) == nullptr,
                  expected.GetPayloadBlock(block) == nullptr);
    }
    EXPECT_EQ(chunk.IsSectorBitmapPresent(), expected.IsSectorBitmapPresent());
    const auto& bitmap = chunk.getSectorBitmatBlock();
    const auto& other = expected.getSectorBitmatBlock();
    ASSERT_EQ(bitmap == nullptr, other == nullptr);
    if (bitmap != nullptr) {
        EXPECT_EQ(bitmap->offset, other->offset);
        EXPECT_EQ(bitmap->state, other->state);
    }
}

/// The chunks of the range are those of the model, the others are empty.
void ExpectRange(const COpenedTable& opened, const CBlockTable& table, std::uint64_t offset,
                 std::uint64_t length) {
    CFailure failure;
    NVHDX::CBlocks blocks;
    ASSERT_TRUE(table.LoadBlocks(blocks, offset, length, failure)) << failure.text;
    EXPECT_EQ(blocks.ratio, opened.model->ratio);
    ASSERT_EQ(blocks.chunks.size(), opened.model->chunks.size());
    const std::uint64_t chunkSize = opened.geometry.ratio * opened.geometry.blockSize;
    for (std::size_t chunk = 0; chunk < blocks.chunks.size(); ++chunk) {
        const std::uint64_t begin = chunk * chunkSize;
        if (begin < offset + length && offset < begin + chunkSize && length != 0) {
            ExpectSameChunk(blocks.chunks[chunk], opened.model->chunks[chunk]);
        } else {
            EXPECT_EQ(blocks.chunks[chunk].getCount(), 0U);
        }
    }
}

/// With up to 12 chunks of 16 blocks.
CSparseImage RandomDisk(unsigned seed) {
    CTableMaker maker(seed);
    CImageBuilder disk;
    disk.BlockSize(256 * MiB)
        .VirtualSize((1 + maker.Below(192)) * 256 * MiB - 512 * maker.Below(3))
        .Differencing(maker.Below(2) != 0);
    maker.FillTable(disk, false);
    return disk.Build();
}

TEST(TableRange, HasTheChunksOfTheWholeModel) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        const COpenedTable opened(RandomDisk(seed));
        const auto modelled = CBlockTable::Of(opened.model, opened.parameters);
        CTableMaker random(seed);
        for (int i = 0; i < 10; ++i) {
            const std::uint64_t offset = random.Below(opened.geometry.virtualSize + 1);
            const std::uint64_t length = random.Below(opened.geometry.virtualSize - offset + 1);
            ExpectRange(opened, *opened.table, offset, length);
            ExpectRange(opened, *modelled, offset, length);
        }
        ExpectRange(opened, *opened.table, 0, opened.geometry.virtualSize);
        ExpectRange(opened, *opened.table, opened.geometry.virtualSize, 0);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}

TEST(TableRange, MustLieInsideTheDisk) {
    const COpenedTable opened(CImageBuilder().VirtualSize(4 * MiB).Build());
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges = {
        {0, 4 * MiB + 1}, {4 * MiB, 1}, {4 * MiB + 1, 0}, {1, ~std::uint64_t{0}}};
    for (const auto& [offset, length] : ranges) {
        NVHDX::CBlocks blocks;
        blocks.ratio = 7;
        CFailure failure;
        EXPECT_FALSE(opened.table->LoadBlocks(blocks, offset, length, failure));
        EXPECT_EQ(failure.kind, CFailure::outOfRange);
        EXPECT_EQ(blocks.ratio, 7U);
    }
}

TEST(TableRange, ReadsOnlyItsOwnPartOfTheTable) {
    const COpenedTable opened(
        CImageBuilder().BlockSize(256 * MiB).VirtualSize(1024 * 256 * MiB).Build());
    // Chunks of 16 blocks have tables of 17 entries.
    const std::vector<CPortion> third = {Portion(3 * MiB + 2 * 17 * 8, 17 * 8)};
    constexpr std::uint64_t chunkSize = 16 * 256 * MiB;
    NVHDX::CBlocks blocks;
    CFailure failure;
    opened.source->ClearReads();
    ASSERT_TRUE(opened.table->LoadBlocks(blocks, 2 * chunkSize + 5, 1, failure));
    EXPECT_EQ(opened.source->Reads(), third);
    opened.source->ClearReads();
    ASSERT_TRUE(opened.table->LoadBlocks(blocks, 2 * chunkSize, chunkSize, failure));
    EXPECT_EQ(opened.source->Reads(), third);
}

/// More runs than are kept: every other block has data, somewhere.
constexpr std::uint64_t ManyBlocks = 70000;

CSparseImage ManyRuns() {
    CBytes table;
    for (std::uint64_t block = 0; block < ManyBlocks; ++block) {
        const bool hasData = block % 2 != 0;
        const std::uint64_t entry = block + block / 4096;
        Put64(table, static_cast<std::size_t>(8 * entry),
              hasData ? (4 + block * 7919 % ManyBlocks) << 20 | 6 : 2);
    }
    CImageBuilder disk;
    return disk.VirtualSize(ManyBlocks * MiB).Bytes(disk.BatPosition(), table).Build();
}

TEST(TableRuns, AreTheSameWhereTheyAreTooManyToBeKept) {
    const CSparseImage image = ManyRuns();
    for (const auto wanted : {CBlockTable::runsWanted, CBlockTable::runsNotWanted}) {
        const COpenedTable opened(image, wanted);
        std::uint64_t next = 0;
        CFailure failure;
        EXPECT_TRUE(opened.table->Runs(
            [&next](const CBlockRun& run) {
                const bool hasData = next % 2 != 0;
                const CBlockRun expected = {
                    next, 1, hasData ? CPayloadBlock::FullyPresent : CPayloadBlock::Zero,
                    (4 + next * 7919 % ManyBlocks) * MiB};
                ++next;
                return run == expected;
            },
            failure));
        EXPECT_EQ(next, ManyBlocks);
        EXPECT_EQ(opened.table->Count(CPayloadBlock::FullyPresent), ManyBlocks / 2);
    }
}

TEST(TableRuns, EndWhenTheCallbackSaysSo) {
    const CSparseImage few = RandomDisk(3);
    for (const auto wanted : {CBlockTable::runsWanted, CBlockTable::runsNotWanted}) {
        const COpenedTable opened(few, wanted);
        CFailure failure;
        std::vector<CBlockRun> all;
        EXPECT_TRUE(opened.table->Runs(
            [&all](const CBlockRun& run) {
                all.push_back(run);
                return true;
            },
            failure));
        EXPECT_GT(all.size(), 10U);
        ExpectStopAtEveryCall(
            all, true, [&](const auto& report) { return opened.table->Runs(report, failure); });
    }
}

TEST(TableRuns, ThatAreReadAgainEndWithTheCallbackToo) {
    const COpenedTable opened(ManyRuns());
    for (const std::uint64_t most : {std::uint64_t{1}, std::uint64_t{65536}, ManyBlocks}) {
        std::uint64_t calls = 0;
        CFailure failure;
        EXPECT_TRUE(opened.table->Runs([&](const CBlockRun&) { return ++calls != most; }, failure));
        EXPECT_EQ(calls, most);
    }
}

TEST(TableRuns, ThatCannotBeReadAgainTellTheError) {
    const COpenedTable opened(RandomDisk(3), CBlockTable::runsNotWanted);
    opened.source->FailAt(3 * MiB, EIO);
    CFailure failure;
    EXPECT_FALSE(opened.table->Runs([](const CBlockRun&) { return true; }, failure));
    EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(failure.error, EIO);
    NVHDX::CBlocks blocks;
    failure = {};
    EXPECT_FALSE(opened.table->LoadBlocks(blocks, 0, 1, failure));
    EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(failure.error, EIO);
}

TEST(TableRuns, ThatAreKeptNeedNoFile) {
    const COpenedTable opened(RandomDisk(3));
    opened.source->FailAt(3 * MiB, EIO);
    CFailure failure;
    EXPECT_TRUE(opened.table->Runs([](const CBlockRun&) { return true; }, failure));
}

TEST(BlockTable, OfAGeometryThatNobodyReadIsRefused) {
    const COpenedTable opened(CImageBuilder().Build());
    CFailure failure;
    EXPECT_EQ(CBlockTable::Open(opened.source, CGeometry(), CBlockTable::runsWanted, failure),
              nullptr);
    EXPECT_EQ(failure.kind, CFailure::damaged);
}

TEST(BlockTable, OfAModelWhoseBlocksHaveNoSizeThereIsNone) {
    const COpenedTable opened(CImageBuilder().Build());
    NVHDX::CFileParameters parameters = opened.parameters;
    EXPECT_NE(CBlockTable::Of(opened.model, parameters), nullptr);
    EXPECT_EQ(CBlockTable::Of(std::make_shared<NVHDX::CBlocks>(), parameters), nullptr);
    parameters.payloadblksz = 0;
    EXPECT_EQ(CBlockTable::Of(opened.model, parameters), nullptr);
}

}  // namespace
}  // namespace NTest
