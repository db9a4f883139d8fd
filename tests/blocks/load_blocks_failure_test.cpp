#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/accessor.h>

#include "tests/blocks/allocation_watch.h"
#include "tests/blocks/bat_trace.h"
#include "tests/blocks/opened_container.h"

namespace NVHDX {
namespace {

using NTest::CAllocationWatch;
using NTest::CImageBuilder;
using NTest::COpenedContainer;
using NTest::CountLines;
using NTest::CRegionTable;
using NTest::CTraceCapture;
using NTest::CTraceLine;
using NTest::GiB;
using NTest::Line;
using NTest::LoadLines;
using NTest::MiB;
using NTest::PayloadBlockLine;
using NTest::PayloadBlocksLine;
using testing::IsEmpty;
using testing::SizeIs;

using CLines = std::vector<CTraceLine>;

/// Blocks of 1 GiB: 4 to the chunk.
CImageBuilder Disk(std::uint64_t blockCount) {
    return CImageBuilder().BlockSize(GiB).VirtualSize(blockCount * GiB);
}

/// Loads into a model that is in use already: false, exactly these lines, and nothing changed.
void ExpectRefused(COpenedContainer& opened, const CLines& lines) {
    CBlocks blocks;
    blocks.chunks.resize(1);
    blocks.chunks[0].InitPayloadBlock(CPayloadBlock::Zero, 77);
    blocks.ratio = 78;
    CFileParameters params;
    params.payloadblksz = 79;
    params.logsectsz = 80;
    params.virtdisksz = 81;
    params.maxFileOffset = 82;
    params.lastPayloadBlockIndex = 83;
    params.requestNewBlockOffset = false;
    params.bDifferencing = true;

    CTraceCapture trace;
    EXPECT_FALSE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_EQ(trace.Lines(), lines);

    ASSERT_THAT(blocks.chunks, SizeIs(1));
    EXPECT_EQ(blocks.chunks[0].getPayloadBlocks().at(0).offset, 77u);
    EXPECT_EQ(blocks.ratio, 78u);
    EXPECT_EQ(params.payloadblksz, 79u);
    EXPECT_EQ(params.logsectsz, 80u);
    EXPECT_EQ(params.virtdisksz, 81u);
    EXPECT_EQ(params.maxFileOffset, 82u);
    EXPECT_EQ(params.lastPayloadBlockIndex, 83u);
    EXPECT_FALSE(params.requestNewBlockOffset);
    EXPECT_TRUE(params.bDifferencing);
}

void ExpectRefused(const CImageBuilder& builder, const CLines& lines) {
    COpenedContainer opened(builder);
    ExpectRefused(opened, lines);
    EXPECT_THAT(opened.Buffer().Writes(), IsEmpty());
    COpenedContainer silent(builder);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_FALSE(silent.accessor.LoadBlocks(blocks, params, silent.stream));
}

CImageBuilder Without(const NTest::CGuid& item) {
    return Disk(5).EditMetadata([item](NTest::CMetadataTable& table) { table.Remove(item); });
}

TEST(LoadBlocksFailure, ARequiredItemIsMissing) {
    ExpectRefused(Without(NTest::NGuid::logicalSectorSize),
                  {Line(3, "LOGICAL_SECTOR_SIZE_METADATA bad MetadataPosition")});
    ExpectRefused(Without(NTest::NGuid::fileParameters),
                  {Line(3, "FILE_PARAMETERS_METADATA bad MetadataPosition")});
    ExpectRefused(Without(NTest::NGuid::virtualDiskSize),
                  {Line(3, "VIRTUAL_DISK_SIZE_METADATA bad MetadataPosition")});
}

TEST(LoadBlocksFailure, TheAccessorIsEmpty) {
    COpenedContainer opened(Disk(5));
    opened.accessor.Clear();
    ExpectRefused(opened, {Line(3, "LOGICAL_SECTOR_SIZE_METADATA bad MetadataPosition")});
}

TEST(LoadBlocksFailure, AnySeekFails) {
    const std::vector<CLines> expected = {
        {Line(3, "LOGICAL_SECTOR_SIZE_METADATA bad MetadataPosition")},
        {Line(3, "FILE_PARAMETERS_METADATA bad MetadataPosition")},
        {Line(3, "VIRTUAL_DISK_SIZE_METADATA bad MetadataPosition")},
        LoadLines(4, 5, 2, 6)};
    for (std::size_t n = 1; n <= expected.size(); ++n) {
        COpenedContainer opened(Disk(5));
        opened.Buffer().FailSeek(n);
        ExpectRefused(opened, expected[n - 1]);
    }
    COpenedContainer opened(Disk(5));
    opened.Buffer().FailSeek(expected.size() + 1);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
}

TEST(LoadBlocksFailure, AnyReadComesUpShort) {
    const std::vector<CLines> expected = {
        {Line(3, "LOGICAL_SECTOR_SIZE_METADATA failed Stream Portion Reading")},
        {Line(3, "FILE_PARAMETERS_METADATA failed Stream Portion Reading")},
        {Line(3, "VIRTUAL_DISK_SIZE_METADATA failed Stream Portion Reading")},
        LoadLines(4, 5, 2, 6) + CLines{PayloadBlocksLine()}};
    const std::vector<std::uint64_t> allButOne = {3, 7, 7, 47};
    for (std::size_t n = 1; n <= expected.size(); ++n) {
        for (const std::uint64_t delivered : {std::uint64_t{0}, allButOne[n - 1]}) {
            COpenedContainer opened(Disk(5));
            opened.Buffer().FailRead(n, delivered);
            ExpectRefused(opened, expected[n - 1]);
        }
    }
    COpenedContainer opened(Disk(5));
    opened.Buffer().FailRead(expected.size() + 1);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
}

// The size of the file is asked for before a large table is read: seeks 5 and 6.
TEST(LoadBlocksFailure, AStreamThatCannotTellItsSizeStillGivesALargeTable) {
    COpenedContainer opened(CImageBuilder().BlockSize(MiB).VirtualSize(200 * GiB));
    opened.Buffer().FailSeek(5);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_THAT(blocks.chunks, SizeIs(50));
}

TEST(LoadBlocksFailure, AStreamDoesNotComeBackFromItsEnd) {
    COpenedContainer opened(CImageBuilder().BlockSize(MiB).VirtualSize(200 * GiB));
    opened.Buffer().FailSeek(6);
    ExpectRefused(opened, LoadLines(4096, 204800, 50, 204849) + CLines{PayloadBlocksLine()});
}

TEST(LoadBlocksFailure, TheStreamHasFailedBefore) {
    COpenedContainer opened(Disk(5));
    opened.stream.setstate(std::ios_base::badbit);
    ExpectRefused(opened, {Line(3, "LOGICAL_SECTOR_SIZE_METADATA bad MetadataPosition")});
    EXPECT_THAT(opened.Buffer().Reads(), IsEmpty());
}

TEST(LoadBlocksFailure, TheBATRegionIsShorterThanTheTable) {
    ExpectRefused(Disk(5).BatLength(47), LoadLines(4, 5, 2, 6));
    ExpectRefused(Disk(5).Differencing().BatLength(79), LoadLines(4, 5, 2, 10));
    ExpectRefused(Disk(5).BatLength(0), LoadLines(4, 5, 2, 6));
    CBlocks blocks;
    CFileParameters params;
    COpenedContainer exact(Disk(5).BatLength(48));
    EXPECT_TRUE(exact.accessor.LoadBlocks(blocks, params, exact.stream));
}

TEST(LoadBlocksFailure, TheBATRegionCannotBeReached) {
    COpenedContainer refused(Disk(5).EditRegionTables(
        [](CRegionTable& table) { table.Find(NTest::NGuid::batRegion).offset = 1 * GiB; }));
    refused.Buffer().RefuseSeekPastEnd();
    ExpectRefused(refused, LoadLines(4, 5, 2, 6));
    ExpectRefused(Disk(5).EditRegionTables([](CRegionTable& table) {
        table.Find(NTest::NGuid::batRegion).offset = 0xFFFFFFFFFFF00000;
    }),
                  LoadLines(4, 5, 2, 6));
}

TEST(LoadBlocksFailure, TheBATLiesPastTheEndOfTheFile) {
    ExpectRefused(Disk(5).EditRegionTables([](CRegionTable& table) {
        table.Find(NTest::NGuid::batRegion).offset = 1 * GiB;
    }),
                  LoadLines(4, 5, 2, 6) + CLines{PayloadBlocksLine()});
}

TEST(LoadBlocksFailure, TheFileEndsOneByteBeforeTheTableDoes) {
    const CImageBuilder small = Disk(5);
    ExpectRefused(CImageBuilder(small).FileSize(small.BatPosition() + 47),
                  LoadLines(4, 5, 2, 6) + CLines{PayloadBlocksLine()});
    const CImageBuilder large = CImageBuilder().BlockSize(MiB).VirtualSize(200 * GiB);
    ExpectRefused(CImageBuilder(large).FileSize(large.BatPosition() + 204849 * 8 - 1),
                  LoadLines(4096, 204800, 50, 204849) + CLines{PayloadBlocksLine()});
}

TEST(LoadBlocksFailure, ATableThatTheFileDoesNotHoldCostsNoMemory) {
    COpenedContainer opened(CImageBuilder()
                                .BlockSize(8)
                                .VirtualSize(8 * 536870911ull)
                                .BatLength(0xFFFFFFFF)
                                .FileSize(4 * MiB));
    const CAllocationWatch watch;
    ExpectRefused(opened,
                  LoadLines(536870912, 536870911, 1, 536870911) + CLines{PayloadBlocksLine()});
    EXPECT_LT(watch.Largest(), 65536u);
    EXPECT_THAT(opened.Buffer().Reads(), SizeIs(3));
}

// One chunk of 2^29 places and one entry: a place that nobody touches must not be allocated.
TEST(LoadBlocksFailure, ARatioThatTheTableDoesNotHoldCostsNoMemory) {
    COpenedContainer opened(CImageBuilder().BlockSize(8).VirtualSize(8));
    CBlocks blocks;
    CFileParameters params;
    const CAllocationWatch watch;
    EXPECT_TRUE(opened.accessor.LoadBlocks(blocks, params, opened.stream));
    EXPECT_LT(watch.Largest(), 65536u);
    EXPECT_EQ(blocks.ratio, 536870912u);
    EXPECT_EQ(blocks.chunks.at(0).getCount(), 1u);
}

TEST(LoadBlocksFailure, TheTableDoesNotFit32Bits) {
    // 2^29 + 131071 entries: 1,048,568 bytes in 32 bits.
    ExpectRefused(CImageBuilder().BlockSize(MiB).VirtualSize(536870912 * MiB).BatLength(0xFFFFFFFF),
                  LoadLines(4096, 536870912, 131072, 537001983));
    // 2^29 + 135169 entries: 1,081,352 bytes in 32 bits.
    ExpectRefused(CImageBuilder()
                      .Differencing()
                      .BlockSize(MiB)
                      .VirtualSize(536875008 * MiB)
                      .BatLength(0xFFFFFFFF),
                  LoadLines(4096, 536875008, 131073, 537006081));
}

TEST(LoadBlocksFailure, TheBlockSizeIs0) {
    ExpectRefused(CImageBuilder().BlockSize(0), {});
    ExpectRefused(CImageBuilder().BlockSize(0).Differencing(), {});
}

TEST(LoadBlocksFailure, TheRatioComesOutAs0) {
    ExpectRefused(CImageBuilder().BlockSize(1), {});
    ExpectRefused(CImageBuilder().SectorSize(0), {});
    ExpectRefused(CImageBuilder().SectorSize(1).BlockSize(8388609), {});
}

TEST(LoadBlocksFailure, ADiskOfSize0ClaimsATableThatItsRegionDoesNotHold) {
    ExpectRefused(CImageBuilder().BlockSize(GiB).VirtualSize(0), LoadLines(4, 0, 0, 1073741823));
    ExpectRefused(CImageBuilder().BlockSize(32 * MiB).VirtualSize(0),
                  LoadLines(128, 0, 0, 33554431));
}

TEST(LoadBlocksFailure, APayloadBlockHasAStateThatMeansNothing) {
    for (const unsigned state : {4u, 5u}) {
        const CLines first = LoadLines(4, 5, 2, 6) +
                             CLines{PayloadBlocksLine(), PayloadBlockLine(0, 9, "FullyPresent")};
        ExpectRefused(Disk(5).PayloadBlock(0, 6, 9).PayloadBlock(1, state, 9), first);
        ExpectRefused(Disk(5).PayloadBlock(0, state, 9),
                      LoadLines(4, 5, 2, 6) + CLines{PayloadBlocksLine()});
        ExpectRefused(Disk(5).Differencing().PayloadBlock(0, 6, 9).PayloadBlock(1, state, 9),
                      LoadLines(4, 5, 2, 10) +
                          CLines{PayloadBlocksLine(), PayloadBlockLine(0, 9, "FullyPresent")});
    }
}

TEST(LoadBlocksFailure, APartiallyPresentBlockHasNoParent) {
    ExpectRefused(
        Disk(3).PayloadBlock(0, 6, 9).PayloadBlock(1, 0, 0).PayloadBlock(2, 7, 9),
        LoadLines(4, 3, 1, 3) + CLines{PayloadBlocksLine(), PayloadBlockLine(0, 9, "FullyPresent"),
                                       PayloadBlockLine(1, 0, "NotPresent")});
}

TEST(LoadBlocksFailure, APayloadBlockOfALaterChunkHasABadState) {
    ExpectRefused(
        Disk(6).PayloadBlock(5, 5, 9),
        LoadLines(4, 6, 2, 7) +
            CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent"),
                   PayloadBlockLine(1, 0, "NotPresent"), PayloadBlockLine(2, 0, "NotPresent"),
                   PayloadBlockLine(3, 0, "NotPresent"), PayloadBlockLine(4, 0, "NotPresent")});
}

TEST(LoadBlocksFailure, ASectorBitmapHasAStateOtherThan0And6) {
    for (const unsigned state : {1u, 2u, 3u, 4u, 5u, 7u}) {
        ExpectRefused(Disk(5).Differencing().SectorBitmapBlock(0, state, 9),
                      LoadLines(4, 5, 2, 10) + CLines{PayloadBlocksLine(),
                                                      PayloadBlockLine(0, 0, "NotPresent"),
                                                      PayloadBlockLine(1, 0, "NotPresent"),
                                                      PayloadBlockLine(2, 0, "NotPresent"),
                                                      PayloadBlockLine(3, 0, "NotPresent")});
    }
}

TEST(LoadBlocksFailure, TheLastSectorBitmapHasABadState) {
    ExpectRefused(
        Disk(2).Differencing().SectorBitmapBlock(0, 7, 9),
        LoadLines(4, 2, 1, 5) + CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent"),
                                       PayloadBlockLine(1, 0, "NotPresent"),
                                       PayloadBlockLine(2, 0, "NotPresent"),
                                       PayloadBlockLine(3, 0, "NotPresent")});
}

TEST(LoadBlocksFailure, APlacePastADifferencingDisksEndHasABadState) {
    ExpectRefused(
        Disk(2).Differencing().PayloadBlock(3, 4, 9),
        LoadLines(4, 2, 1, 5) + CLines{PayloadBlocksLine(), PayloadBlockLine(0, 0, "NotPresent"),
                                       PayloadBlockLine(1, 0, "NotPresent"),
                                       PayloadBlockLine(2, 0, "NotPresent")});
}

}  // namespace
}  // namespace NVHDX
