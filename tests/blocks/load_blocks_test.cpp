#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/accessor.h>

#include "tests/blocks/bat_trace.h"
#include "tests/blocks/naive_bat_walk.h"
#include "tests/blocks/opened_container.h"

namespace NVHDX {
namespace {

using NTest::CBytes;
using NTest::CImageBuilder;
using NTest::CNaiveBlock;
using NTest::COpenedContainer;
using NTest::CTraceCapture;
using NTest::CTraceLine;
using NTest::Described;
using NTest::GiB;
using NTest::LoadLines;
using NTest::MiB;
using NTest::PayloadBlockLine;
using NTest::PayloadBlocksLine;
using NTest::Portion;
using NTest::TiB;
using CLines = std::vector<CTraceLine>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A container that was opened and loaded, and the lines of the loading.
struct CLoaded : COpenedContainer {
    explicit CLoaded(const CImageBuilder& builder) : COpenedContainer(builder) {
        CTraceCapture trace;
        success = accessor.LoadBlocks(blocks, params, stream);
        lines = trace.Lines();
    }

    CBlocks blocks;
    CFileParameters params;
    std::vector<CTraceLine> lines;
    bool success = false;
};

/// Blocks of 1 GiB: 4 to the chunk.
CImageBuilder Disk(std::uint64_t blockCount) {
    return CImageBuilder().BlockSize(GiB).VirtualSize(blockCount * GiB);
}

TEST(LoadBlocks, DynamicDiskOf10GiB) {
    CLoaded loaded(CImageBuilder().BlockSize(32 * MiB).VirtualSize(10 * GiB));
    ASSERT_TRUE(loaded.success);
    EXPECT_EQ(loaded.blocks.ratio, 128u);
    ASSERT_THAT(loaded.blocks.chunks, SizeIs(3));
    EXPECT_EQ(loaded.blocks.chunks[0].getCount(), 128u);
    EXPECT_EQ(loaded.blocks.chunks[1].getCount(), 128u);
    EXPECT_EQ(loaded.blocks.chunks[2].getCount(), 64u);
    for (const CBlockChunk& chunk : loaded.blocks.chunks) {
        EXPECT_FALSE(chunk.IsSectorBitmapPresent());
        EXPECT_EQ(chunk.getSectorBitmatBlock(), nullptr);
        EXPECT_EQ(chunk.getSectorBitmap(), nullptr);
    }
    ASSERT_THAT(loaded.lines, SizeIs(6 + 320));
    loaded.lines.resize(7);
    EXPECT_EQ(loaded.lines, (LoadLines(128, 320, 3, 322) +
                             CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent")}));
}

TEST(LoadBlocks, DifferencingDiskOf10GiB) {
    CLoaded loaded(CImageBuilder()
                       .BlockSize(32 * MiB)
                       .VirtualSize(10 * GiB)
                       .Differencing()
                       .SectorBitmapBlock(0, 6, 8)
                       .SectorBitmapBlock(2, 6, 80)
                       .RawBatEntry(3 * 129 - 2, 0x700003));
    ASSERT_TRUE(loaded.success);
    EXPECT_EQ(loaded.blocks.ratio, 128u);
    ASSERT_THAT(loaded.blocks.chunks, SizeIs(3));
    for (const CBlockChunk& chunk : loaded.blocks.chunks) {
        EXPECT_EQ(chunk.getCount(), 128u);
        EXPECT_THAT(chunk.getPayloadBlocks(), SizeIs(128));
        EXPECT_TRUE(chunk.IsSectorBitmapPresent());
        EXPECT_EQ(chunk.getSectorBitmap(), nullptr);
    }
    ASSERT_NE(loaded.blocks.chunks[0].getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(loaded.blocks.chunks[0].getSectorBitmatBlock()->offset, 8u);
    EXPECT_EQ(loaded.blocks.chunks[0].getSectorBitmatBlock()->state, 2);
    EXPECT_EQ(loaded.blocks.chunks[1].getSectorBitmatBlock(), nullptr);
    ASSERT_NE(loaded.blocks.chunks[2].getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(loaded.blocks.chunks[2].getSectorBitmatBlock()->offset, 80u);
    // The last 64 places of the last chunk lie past the disk and hold what the table holds.
    EXPECT_EQ(loaded.blocks.chunks[2].getPayloadBlocks()[127].offset, 7u);
    EXPECT_EQ(loaded.blocks.chunks[2].getPayloadBlocks()[127].state, CPayloadBlock::Unmapped);
    ASSERT_THAT(loaded.lines, SizeIs(6 + 384));
    EXPECT_EQ(loaded.lines[4], NTest::Line(4, "BAT. Entries counts is \"387\""));
    EXPECT_EQ(loaded.lines.back(), PayloadBlockLine(383, 7, "Unmapped"));
}

TEST(LoadBlocks, TracesEveryPayloadBlock) {
    CLoaded loaded(Disk(6)
                       .PayloadBlock(0, 0, 0)
                       .PayloadBlock(1, 1, 100)
                       .PayloadBlock(2, 2, 200)
                       .PayloadBlock(3, 3, 300)
                       .PayloadBlock(4, 6, 0xFFFFFFFFFFF, 0x1FFFF)
                       .PayloadBlock(5, 6, 5));
    EXPECT_TRUE(loaded.success);
    EXPECT_EQ(loaded.lines,
              (LoadLines(4, 6, 2, 7) +
               CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent"),
                      PayloadBlockLine(1, 100, "Undefined"), PayloadBlockLine(2, 200, "Zero"),
                      PayloadBlockLine(3, 300, "Unmapped"),
                      PayloadBlockLine(4, 17592186044415, "FullyPresent"),
                      PayloadBlockLine(5, 5, "FullyPresent")}));
}

TEST(LoadBlocks, TracesPartiallyPresentBlocksOfADifferencingDisk) {
    CLoaded loaded(Disk(1).Differencing().PayloadBlock(0, 7, 20).SectorBitmapBlock(0, 6, 19));
    EXPECT_TRUE(loaded.success);
    EXPECT_EQ(loaded.lines,
              (LoadLines(4, 1, 1, 5) +
               CLines{PayloadBlocksLine(), PayloadBlockLine(0, 20, "PartiallyPresent"),
                      PayloadBlockLine(1, 0, "NotPresent"), PayloadBlockLine(2, 0, "NotPresent"),
                      PayloadBlockLine(3, 0, "NotPresent")}));
}

TEST(LoadBlocks, KeepsStatesAndOffsets) {
    CLoaded loaded(Disk(6)
                       .PayloadBlock(0, 0, 1)
                       .PayloadBlock(1, 1, 100)
                       .PayloadBlock(2, 2, 200)
                       .PayloadBlock(3, 3, 300)
                       .PayloadBlock(5, 6, 5));
    ASSERT_TRUE(loaded.success);
    const auto chunks = Described(loaded.blocks.chunks);
    ASSERT_THAT(chunks, SizeIs(2));
    EXPECT_EQ(chunks[0].blocks,
              (std::vector<CNaiveBlock>{{1, 1, {}}, {100, 2, 1}, {200, 3, {}}, {300, 4, {}}}));
    EXPECT_EQ(chunks[1].blocks, (std::vector<CNaiveBlock>{{0, 1, {}}, {5, 5, 1}}));
}

TEST(LoadBlocks, FillsTheParameters) {
    CLoaded loaded(
        CImageBuilder().BlockSize(32 * MiB).SectorSize(4096).VirtualSize(100 * MiB).PayloadBlock(
            2, 6, 50));
    ASSERT_TRUE(loaded.success);
    EXPECT_EQ(loaded.params.payloadblksz, 33554432u);
    EXPECT_EQ(loaded.params.logsectsz, 4096u);
    EXPECT_EQ(loaded.params.virtdisksz, 104857600u);
    EXPECT_EQ(loaded.params.maxFileOffset, 50u * 1048576 + 33554432);
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 2u);
    EXPECT_TRUE(loaded.params.requestNewBlockOffset);
    EXPECT_FALSE(loaded.params.bDifferencing);
    EXPECT_EQ(loaded.blocks.ratio, 1024u);
}

TEST(LoadBlocks, SaysWhetherTheDiskHasAParent) {
    EXPECT_TRUE(CLoaded(Disk(1).Differencing()).params.bDifferencing);
    EXPECT_FALSE(CLoaded(Disk(1)).params.bDifferencing);
}

TEST(LoadBlocks, SetsRequestNewBlockOffset) {
    COpenedContainer opened(Disk(1));
    CBlocks blocks;
    CFileParameters params;
    params.requestNewBlockOffset = false;
    ASSERT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_TRUE(params.requestNewBlockOffset);
}

TEST(LoadBlocks, TheFirstBlockWithTheLargestOffsetIsTheLast) {
    CLoaded loaded(Disk(7)
                       .PayloadBlock(0, 6, 10)
                       .PayloadBlock(1, 6, 30)
                       .PayloadBlock(2, 6, 20)
                       .PayloadBlock(4, 6, 31)
                       .PayloadBlock(5, 6, 31)
                       .PayloadBlock(6, 6, 30));
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 4u);
    EXPECT_EQ(loaded.params.maxFileOffset, 31 * MiB + GiB);
}

TEST(LoadBlocks, ATieWithAnEarlierChunkLeavesTheFirstBlock) {
    CLoaded loaded(Disk(7).PayloadBlock(2, 6, 31).PayloadBlock(5, 6, 31));
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 2u);
}

TEST(LoadBlocks, BlocksWithoutDataAreNeverTheLast) {
    CLoaded loaded(Disk(5)
                       .PayloadBlock(0, 0, 1000)
                       .PayloadBlock(1, 2, 2000)
                       .PayloadBlock(2, 3, 3000)
                       .PayloadBlock(3, 6, 9)
                       .PayloadBlock(4, 2, 4000));
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 3u);
    EXPECT_EQ(loaded.params.maxFileOffset, 9 * MiB + GiB);
}

TEST(LoadBlocks, UndefinedAndPartiallyPresentBlocksMayBeTheLast) {
    EXPECT_EQ(CLoaded(Disk(3).PayloadBlock(0, 6, 9).PayloadBlock(1, 1, 10)).params.maxFileOffset,
              10 * MiB + GiB);
    EXPECT_EQ(CLoaded(Disk(3).Differencing().PayloadBlock(0, 6, 9).PayloadBlock(2, 7, 10))
                  .params.lastPayloadBlockIndex,
              2u);
}

TEST(LoadBlocks, ADiskWithoutDataEndsAfterOneBlockSize) {
    CLoaded loaded(Disk(5).PayloadBlock(3, 2, 77));
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 0u);
    EXPECT_EQ(loaded.params.maxFileOffset, GiB);
}

TEST(LoadBlocks, ABlockWithDataAtOffset0CountsForNothing) {
    CLoaded loaded(Disk(3).PayloadBlock(2, 6, 0));
    ASSERT_TRUE(loaded.success);
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 0u);
    EXPECT_EQ(loaded.params.maxFileOffset, GiB);
    EXPECT_NE(loaded.blocks.chunks[0].GetPayloadBlock(2), nullptr);
}

TEST(LoadBlocks, PlacesPastADifferencingDisksEndMayBeTheLast) {
    CLoaded loaded(Disk(1).Differencing().PayloadBlock(0, 6, 9).PayloadBlock(3, 6, 10));
    ASSERT_TRUE(loaded.success);
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 3u);
    EXPECT_EQ(loaded.params.maxFileOffset, 10 * MiB + GiB);
}

TEST(LoadBlocks, SectorBitmapsAreNeverTheLastAndNeverCounted) {
    CLoaded loaded(Disk(5).Differencing().PayloadBlock(4, 6, 9).SectorBitmapBlock(0, 6, 1000));
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 4u);
    EXPECT_EQ(loaded.params.maxFileOffset, 9 * MiB + GiB);
}

TEST(LoadBlocks, WithoutAParentSectorBitmapEntriesMayHoldAnything) {
    for (std::uint64_t state = 0; state < 8; ++state) {
        CLoaded loaded(Disk(5).RawBatEntry(4, 0x900000 | state));
        ASSERT_TRUE(loaded.success) << state;
        EXPECT_EQ(loaded.blocks.chunks[0].getSectorBitmatBlock(), nullptr);
        EXPECT_FALSE(loaded.blocks.chunks[0].IsSectorBitmapPresent());
    }
}

TEST(LoadBlocks, ADifferencingDiskMayFillItsLastGroup) {
    CLoaded loaded(Disk(8).Differencing().SectorBitmapBlock(1, 6, 44));
    ASSERT_TRUE(loaded.success);
    ASSERT_THAT(loaded.blocks.chunks, SizeIs(2));
    EXPECT_EQ(loaded.blocks.chunks[1].getSectorBitmatBlock()->offset, 44u);
}

TEST(LoadBlocks, ADynamicDiskMayFillItsLastGroup) {
    CLoaded loaded(Disk(8));
    ASSERT_TRUE(loaded.success);
    ASSERT_THAT(loaded.blocks.chunks, SizeIs(2));
    EXPECT_EQ(loaded.blocks.chunks[1].getCount(), 4u);
}

TEST(LoadBlocks, ADifferencingDiskOfSize0HasNoChunk) {
    CLoaded loaded(Disk(0).Differencing());
    EXPECT_TRUE(loaded.success);
    EXPECT_THAT(loaded.blocks.chunks, IsEmpty());
    EXPECT_EQ(loaded.blocks.ratio, 4u);
    EXPECT_EQ(loaded.params.maxFileOffset, GiB);
    EXPECT_EQ(loaded.lines, LoadLines(4, 0, 0, 0) + std::vector{PayloadBlocksLine()});
}

TEST(LoadBlocks, ReplacesAnOlderModel) {
    COpenedContainer opened(Disk(2));
    CBlocks blocks;
    blocks.chunks.resize(9);
    blocks.ratio = 77;
    CFileParameters params;
    params.lastPayloadBlockIndex = 5;
    ASSERT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_THAT(blocks.chunks, SizeIs(1));
    EXPECT_EQ(blocks.ratio, 4u);
    EXPECT_EQ(params.lastPayloadBlockIndex, 0u);
}

TEST(LoadBlocks, ReadsThreeItemsAndTheTableAndWritesNothing) {
    const CImageBuilder builder = Disk(5);
    CLoaded loaded(builder);
    EXPECT_THAT(loaded.Buffer().Reads(),
                ElementsAre(Portion(builder.ItemPosition(NTest::NGuid::logicalSectorSize), 4),
                            Portion(builder.ItemPosition(NTest::NGuid::fileParameters), 8),
                            Portion(builder.ItemPosition(NTest::NGuid::virtualDiskSize), 8),
                            Portion(builder.BatPosition(), 48)));
    EXPECT_THAT(loaded.Buffer().Writes(), IsEmpty());
}

TEST(LoadBlocks, TheStreamMayStandAnywhere) {
    COpenedContainer opened(Disk(5).PayloadBlock(4, 6, 9));
    opened.stream.seekg(12345);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_EQ(params.lastPayloadBlockIndex, 4u);
}

TEST(LoadBlocks, ATableThatEndsWithTheFileIsRead) {
    const CImageBuilder small = Disk(5);
    EXPECT_TRUE(CLoaded(CImageBuilder(small).FileSize(small.BatPosition() + 48)).success);
    const CImageBuilder large = CImageBuilder().BlockSize(MiB).VirtualSize(200 * GiB);
    const std::uint64_t size = large.Geometry().EntryCount() * 8;
    ASSERT_GT(size, MiB);
    EXPECT_TRUE(CLoaded(CImageBuilder(large).FileSize(large.BatPosition() + size)).success);
}

TEST(LoadBlocks, LoadsADiskOf64TiB) {
    COpenedContainer opened(
        CImageBuilder().BlockSize(32 * MiB).VirtualSize(64 * TiB).PayloadBlock(2097151, 6, 1000));
    CBlocks blocks;
    CFileParameters params;
    ASSERT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_THAT(blocks.chunks, SizeIs(16384));
    EXPECT_EQ(params.lastPayloadBlockIndex, 2097151u);
    EXPECT_EQ(blocks.chunks[16383].GetPayloadBlock(127)->offset, 1000u);
}

// The number of blocks is kept in 32 bits, deliberately.
TEST(LoadBlocks, ADiskOfMoreThan32BitsOfBlocksLoadsThoseThatAreLeft) {
    CBytes size(8);
    NTest::Put64(size, 0, (0x100000000 + 2) * GiB);
    CLoaded loaded(
        Disk(2).MetadataItem(NTest::NGuid::virtualDiskSize, size).PayloadBlock(1, 6, 90));
    ASSERT_TRUE(loaded.success);
    ASSERT_THAT(loaded.blocks.chunks, SizeIs(1));
    EXPECT_EQ(loaded.blocks.chunks[0].getCount(), 2u);
    EXPECT_EQ(loaded.params.virtdisksz, (0x100000000 + 2) * GiB);
    EXPECT_EQ(loaded.params.lastPayloadBlockIndex, 1u);
    EXPECT_EQ(loaded.lines, (LoadLines(4, 2, 1, 2) +
                             CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent"),
                                    PayloadBlockLine(1, 90, "FullyPresent")}));
}

TEST(LoadBlocks, WithoutAWriterTheResultIsTheSame) {
    COpenedContainer opened(Disk(6).PayloadBlock(1, 1, 100).PayloadBlock(4, 6, 90));
    CBlocks blocks;
    CFileParameters params;
    ASSERT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    CLoaded traced(Disk(6).PayloadBlock(1, 1, 100).PayloadBlock(4, 6, 90));
    EXPECT_EQ(Described(blocks.chunks), Described(traced.blocks.chunks));
    EXPECT_EQ(params.maxFileOffset, 100 * MiB + GiB);
    EXPECT_EQ(traced.params.maxFileOffset, 100 * MiB + GiB);
}

}  // namespace
}  // namespace NVHDX
