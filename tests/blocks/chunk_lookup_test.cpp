#include <utility>

#include <gtest/gtest.h>

#include "tests/blocks/out_of_range_text.h"
#include "vhdx_parser/blocks/chunk_lookup.h"

namespace NVHDX {
namespace {

using NTest::OutOfRangeText;

using CPlace = std::pair<std::uint64_t, std::uint64_t>;

/// Chunks of 4 blocks each; block b of chunk c is at 10 × c + b MiB.
CBlocks Model(std::uint64_t chunkCount) {
    CBlocks blocks;
    blocks.ratio = 4;
    for (std::uint64_t c = 0; c < chunkCount; ++c) {
        CBlockChunk chunk;
        chunk.Init(4);
        for (std::uint64_t b = 0; b < 4; ++b) {
            chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 10 * c + b);
        }
        blocks.chunks.push_back(std::move(chunk));
    }
    return blocks;
}

TEST(ChunkLookup, GivesChunkAndPosition) {
    const CBlocks blocks = Model(3);
    EXPECT_EQ(LookupChunk(blocks, 0), CPlace(0, 0));
    EXPECT_EQ(LookupChunk(blocks, 3), CPlace(0, 3));
    EXPECT_EQ(LookupChunk(blocks, 4), CPlace(1, 0));
    EXPECT_EQ(LookupChunk(blocks, 11), CPlace(2, 3));
}

TEST(ChunkLookup, PastTheChunksStillGivesThePair) {
    const CBlocks blocks = Model(3);
    EXPECT_EQ(LookupChunk(blocks, 12), CPlace(3, 0));
    EXPECT_EQ(LookupChunk(blocks, 0xFFFFFFFFFFFFFFFF), CPlace(0x3FFFFFFFFFFFFFFF, 3));
    EXPECT_EQ(LookupChunk(Model(0), 1), CPlace(0, 1));
}

TEST(ChunkLookup, TakesARatioOf64Bits) {
    CBlocks blocks = Model(1);
    blocks.ratio = 0x200000000;
    EXPECT_EQ(LookupChunk(blocks, 0x5FFFFFFFF), CPlace(2, 0x1FFFFFFFF));
}

TEST(ChunkLookup, ARatioOf0FitsNoBlock) {
    CBlocks blocks = Model(1);
    blocks.ratio = 0;
    EXPECT_EQ(OutOfRangeText([&] { LookupChunk(blocks, 0); }), "invalid vector subscript");
}

TEST(ChunkLookup, AccessToAChunkIsChecked) {
    const CBlocks blocks = Model(3);
    EXPECT_EQ(&CheckedChunk(blocks, 2), &blocks.chunks[2]);
    EXPECT_EQ(OutOfRangeText([&] { CheckedChunk(blocks, 3); }), "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { CheckedChunk(blocks, 0xFFFFFFFFFFFFFFFF); }),
              "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { CheckedChunk(CBlocks(), 0); }), "invalid vector subscript");
}

TEST(ChunkLookup, FindsTheBlock) {
    const CBlocks blocks = Model(3);
    EXPECT_EQ(FindPayloadBlock(blocks, 11)->offset, 23u);
    EXPECT_EQ(OutOfRangeText([&] { FindPayloadBlock(blocks, 12); }), "invalid vector subscript");
}

TEST(ChunkLookup, FindsNoBlockPastTheBlocksOfAPartialChunk) {
    CBlocks blocks = Model(1);
    blocks.chunks.emplace_back();
    blocks.chunks[1].Init(4);
    blocks.chunks[1].InitPayloadBlock(CPayloadBlock::FullyPresent, 9);
    EXPECT_EQ(FindPayloadBlock(blocks, 4)->offset, 9u);
    EXPECT_EQ(FindPayloadBlock(blocks, 5), nullptr);
    EXPECT_EQ(FindPayloadBlock(blocks, 7), nullptr);
}

TEST(ChunkLookup, ABlockIndexIsTheOffsetDividedByTheBlockSize) {
    CFileParameters params;
    params.payloadblksz = 33554432;
    EXPECT_EQ(PayloadBlockIndex(33554431, params), 0u);
    EXPECT_EQ(PayloadBlockIndex(33554432, params), 1u);
    EXPECT_EQ(PayloadBlockIndex(0xFFFFFFFFFFFFFFFF, params), 0x7FFFFFFFFFu);
}

TEST(ChunkLookup, NoChunkHoldsABlockOfSize0) {
    CFileParameters params;
    params.payloadblksz = 0;
    EXPECT_EQ(OutOfRangeText([&] { PayloadBlockIndex(0, params); }), "invalid vector subscript");
}

}  // namespace
}  // namespace NVHDX
