#include "vhdx_parser/blocks/geometry.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/support/disk_geometry.h"

namespace NVHDX {
namespace {

using NTest::GiB;
using NTest::MiB;

TEST(ChunkRatio, IsTheBlocksThatOneSectorBitmapCovers) {
    EXPECT_EQ(ChunkRatio(512, 33554432), 128u);
    EXPECT_EQ(ChunkRatio(4096, 1048576), 32768u);
    EXPECT_EQ(ChunkRatio(512, 1048576), 4096u);
    EXPECT_EQ(ChunkRatio(512, 268435456), 16u);
    EXPECT_EQ(ChunkRatio(512, 1431655766), 2u);
}

TEST(ChunkRatio, IsComputedIn64BitsAndKeptAs32) {
    EXPECT_EQ(ChunkRatio(0xFFFF, 0xFFFFFFFF), 127u);
    EXPECT_EQ(ChunkRatio(0xFFFF, 1), 0xFF800000u);
    EXPECT_EQ(ChunkRatio(513, 1), 0x00800000u);
}

TEST(ChunkRatio, ComesOutAs0WhereNoChunkFits) {
    EXPECT_EQ(ChunkRatio(512, 1), 0u);
    EXPECT_EQ(ChunkRatio(1, 8388609), 0u);
    EXPECT_EQ(ChunkRatio(0, 1048576), 0u);
}

TEST(ChunkRatio, IsZeroForABlockSizeOf0) {
    EXPECT_EQ(ChunkRatio(512, 0), 0u);
}

TEST(DivideRoundingUp, CountsAPartForAWhole) {
    EXPECT_EQ(DivideRoundingUp(0, 7), 0u);
    EXPECT_EQ(DivideRoundingUp(1, 7), 1u);
    EXPECT_EQ(DivideRoundingUp(7, 7), 1u);
    EXPECT_EQ(DivideRoundingUp(8, 7), 2u);
    EXPECT_EQ(DivideRoundingUp(0xFFFFFFFFFFFFFFFF, 2), 0x8000000000000000u);
}

void ExpectPublishedCounts(const NTest::CDiskGeometry& geometry) {
    CFileParameters params;
    params.payloadblksz = geometry.blockSize;
    params.virtdisksz = geometry.virtualSize;
    params.bDifferencing = geometry.differencing;
    const auto sectorSize = static_cast<std::uint16_t>(geometry.sectorSize);
    const std::uint32_t ratio = ChunkRatio(sectorSize, geometry.blockSize);
    const CBATCounts counts = CountBAT(params, ratio);
    EXPECT_EQ(ratio, geometry.ChunkRatio());
    EXPECT_EQ(counts.dataBlocks, geometry.DataBlocks());
    EXPECT_EQ(counts.sectorBitmapBlocks, geometry.Chunks());
    EXPECT_EQ(counts.entries, geometry.EntryCount());
}

TEST(BATCounts, AreThoseOfThePublishedArithmetic) {
    const std::uint64_t TiB = 1024 * GiB;
    for (const std::uint64_t size : {1 * MiB - 1, 4 * GiB - 1, 4 * GiB, 4 * GiB + 1, 64 * TiB}) {
        for (const bool differencing : {false, true}) {
            SCOPED_TRACE(std::to_string(size) + (differencing ? " with parent" : ""));
            ExpectPublishedCounts({1048576, 512, size, differencing});
            ExpectPublishedCounts({33554432, 512, size, differencing});
            ExpectPublishedCounts({268435456, 4096, size, differencing});
        }
    }
}

TEST(Limits, ABlockIsAPowerOfTwoFrom1To256MiB) {
    for (std::uint64_t size = MiB; size <= 256 * MiB; size *= 2) {
        EXPECT_TRUE(IsBlockSize(size)) << size;
        EXPECT_FALSE(IsBlockSize(size - 1)) << size;
        EXPECT_FALSE(IsBlockSize(size + MiB / 2)) << size;
    }
    for (const std::uint64_t size :
         {std::uint64_t{0}, std::uint64_t{1}, MiB / 2, 3 * MiB, 512 * MiB, 4096 * GiB}) {
        EXPECT_FALSE(IsBlockSize(size)) << size;
    }
}

TEST(Limits, ASectorHas512Or4096Bytes) {
    EXPECT_TRUE(IsSectorSize(512));
    EXPECT_TRUE(IsSectorSize(4096));
    for (const std::uint64_t size : {0u, 1u, 511u, 513u, 1024u, 2048u, 4095u, 8192u, 66048u}) {
        EXPECT_FALSE(IsSectorSize(size)) << size;
    }
}

TEST(Limits, ADiskHasFrom1ByteTo64TiB) {
    EXPECT_FALSE(IsDiskSize(0));
    EXPECT_TRUE(IsDiskSize(1));
    EXPECT_TRUE(IsDiskSize(0x400000000000));
    EXPECT_FALSE(IsDiskSize(0x400000000001));
    EXPECT_FALSE(IsDiskSize(0xFFFFFFFFFFFFFFFF));
}

}  // namespace
}  // namespace NVHDX
