#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/image_builder.h"

namespace NTest {
namespace {

TEST(DiskGeometry, CountsEntriesOfDisksWithAndWithoutParent) {
    CDiskGeometry geometry{32 * MiB, 512, 10 * GiB, false};
    EXPECT_EQ(geometry.ChunkRatio(), 128u);
    EXPECT_EQ(geometry.DataBlocks(), 320u);
    EXPECT_EQ(geometry.Chunks(), 3u);
    EXPECT_EQ(geometry.EntryCount(), 322u);
    geometry.differencing = true;
    EXPECT_EQ(geometry.EntryCount(), 387u);
    EXPECT_EQ(geometry.PayloadEntry(128), 129u);
    EXPECT_EQ(geometry.SectorBitmapEntry(1), 257u);
}

TEST(ImageBuilder, BatEntriesInterleaveSectorBitmaps) {
    CImageBuilder builder;
    builder.BlockSize(32 * MiB).VirtualSize(10 * GiB).Differencing();
    builder.PayloadBlock(127, 6, 9).SectorBitmapBlock(0, 6, 8).PayloadBlock(128, 7, 10, 0x1FFFF);
    const CSparseImage image = builder.RawBatEntry(130, 0xFEDCBA9876543210).Build();
    EXPECT_EQ(image.Number(3 * MiB + 127 * 8, 8), 0x900006u);
    EXPECT_EQ(image.Number(3 * MiB + 128 * 8, 8), 0x800006u);
    EXPECT_EQ(image.Number(3 * MiB + 129 * 8, 8), 0xAFFFFFu);
    EXPECT_EQ(image.Number(3 * MiB + 130 * 8, 8), 0xFEDCBA9876543210u);
}

TEST(ImageBuilder, RefusesABatEntryThatWouldOverwriteOtherThings) {
    EXPECT_THROW(CImageBuilder().RawBatEntry(MiB / 8, 1).Build(), std::out_of_range);
    EXPECT_NO_THROW(CImageBuilder().RawBatEntry(MiB / 8 - 1, 1).Build());
}

TEST(ImageBuilder, AllocatedBlocksFollowEachOther) {
    CImageBuilder builder;
    builder.Differencing().AllocateData(3, 42).AllocateSectorBitmap(0, {0xF0});
    builder.AllocatePartialData(1, CBytes{1, 2});
    const CSparseImage image = builder.Build();
    const std::uint64_t first = builder.BatPosition() + builder.Geometry().Chunks() * MiB;
    EXPECT_EQ(builder.BlockPosition(3), first);
    EXPECT_EQ(builder.BitmapPosition(0), first + MiB);
    EXPECT_EQ(builder.BlockPosition(1), first + 2 * MiB);
    EXPECT_EQ(image.Number(builder.BatPosition() + 3 * 8, 8), first | 6);
    EXPECT_EQ(image.Number(builder.BatPosition() + 1 * 8, 8), (first + 2 * MiB) | 7);
    EXPECT_EQ(image.Bytes(first, MiB), Pattern(42, 3 * MiB, MiB));
    EXPECT_EQ(image.Bytes(first + MiB, 2), (CBytes{0xF0, 0}));
    EXPECT_EQ(image.Bytes(first + 2 * MiB, 3), (CBytes{1, 2, 0}));
    EXPECT_EQ(image.Size(), first + 3 * MiB);
    EXPECT_THROW(builder.BlockPosition(0), std::out_of_range);
}

TEST(ImageBuilder, HugeDiskCostsLittle) {
    const CSparseImage image = CImageBuilder()
                                   .BlockSize(32 * MiB)
                                   .VirtualSize(64 * TiB)
                                   .Differencing()
                                   .PayloadBlock(2097151, 6, 1000)
                                   .Build();
    EXPECT_LE(image.ResidentSize(), 1 * MiB);
    EXPECT_GT(image.Size(), 16 * MiB);
}

TEST(ContentPattern, IsTheSameWhereverItStarts) {
    const CBytes whole = Pattern(5, 1000, 64);
    EXPECT_EQ(Pattern(5, 1013, 20), CBytes(whole.begin() + 13, whole.begin() + 33));
    EXPECT_EQ(PatternByte(5, 1013), whole[13]);
    EXPECT_NE(Pattern(6, 1000, 64), whole);
}

}  // namespace
}  // namespace NTest
