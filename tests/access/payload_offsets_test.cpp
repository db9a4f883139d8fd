#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/payload_data.h>

#include "tests/access/payload_model.h"
#include "tests/access/payload_trace.h"
#include "tests/blocks/out_of_range_text.h"

namespace NVHDX {
namespace {

using namespace NTest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Blocks of 1000 bytes, two to the chunk: present at 3 MiB, absent, present at 2 MiB.
class PayloadOffsets : public testing::Test {
protected:
    std::uint64_t RealOffset(std::uint64_t offset) {
        return RequestPayloadRealOffset(blocks, offset, 1, params);
    }
    auto RealOffsets(std::uint64_t offset, std::uint64_t count) {
        return RequestPayloadRealOffsets(blocks, offset, count, params);
    }

    CBlocks blocks = Model(2, {Present(3), Absent(), Present(2)});
    CFileParameters params = BlockSize(1000);
    CTraceCapture trace;
};

TEST_F(PayloadOffsets, APresentBlockGivesTheFilePosition) {
    EXPECT_EQ(RealOffset(0), 3145728u);
    EXPECT_EQ(RealOffset(999), 3146727u);
    EXPECT_EQ(RealOffset(2017), 2097169u);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(PayloadOffsets, AnAbsentBlockGivesTheDiskOffsetBack) {
    EXPECT_EQ(RealOffset(1017), 1017u);
    EXPECT_THAT(trace.Lines(), ElementsAre(NoBlockLine(1)));
    EXPECT_EQ(RealOffset(3000), 3000u);
}

TEST_F(PayloadOffsets, TheCountOfASingleOffsetIsNotUsed) {
    EXPECT_EQ(RequestPayloadRealOffset(blocks, 10, 0, params), 3145738u);
    EXPECT_EQ(RequestPayloadRealOffset(blocks, 10, 0xFFFFFFFFFFFFFFFF, params), 3145738u);
}

TEST_F(PayloadOffsets, ABlockInAnyIndexedStateIsPresent) {
    blocks = Model(2, {{CPayloadBlock::Undefined, 1}, {CPayloadBlock::PartiallyPresent, 2}});
    EXPECT_EQ(RealOffset(0), 1048576u);
    EXPECT_THAT(RealOffsets(0, 2000), ElementsAre(Pair(1048576, 1000), Pair(2097152, 1000)));
}

TEST_F(PayloadOffsets, AFoundBlockIsPresentWhateverItsState) {
    std::vector<CPayloadBlock> list = {{7, CPayloadBlock::Zero}};
    blocks.chunks[0].AddAllPayloadBlocks(list);
    EXPECT_EQ(RealOffset(1), 7340033u);
    EXPECT_THAT(RealOffsets(1, 10), ElementsAre(Pair(7340033, 10)));
}

TEST(PayloadOffsetsOfLargeBlocks, APresentAndAnAbsentBlockAreTwoPieces) {
    const CBlocks blocks = Model(128, {Present(3), Absent()});
    CTraceCapture trace;
    EXPECT_THAT(RequestPayloadRealOffsets(blocks, 33554000, 1000, BlockSize(33554432)),
                ElementsAre(Pair(3145728 + 33554000, 432), Pair(-1, 568)));
    EXPECT_THAT(trace.Lines(), ElementsAre(NoBlockLine(1)));
}

TEST_F(PayloadOffsets, ARangeIsOnePieceForEachBlock) {
    EXPECT_THAT(RealOffsets(900, 1600),
                ElementsAre(Pair(3146628, 100), Pair(-1, 1000), Pair(2097152, 500)));
    EXPECT_THAT(trace.Lines(), ElementsAre(NoBlockLine(1)));
}

TEST_F(PayloadOffsets, ARangeThatEndsWithABlockHasNoPieceOfTheNext) {
    EXPECT_THAT(RealOffsets(0, 1000), ElementsAre(Pair(3145728, 1000)));
    EXPECT_THAT(RealOffsets(400, 600), ElementsAre(Pair(3146128, 600)));
    EXPECT_THAT(RealOffsets(400, 601), ElementsAre(Pair(3146128, 600), Pair(-1, 1)));
    EXPECT_THAT(RealOffsets(3000, 1000), ElementsAre(Pair(-1, 1000)));
}

TEST_F(PayloadOffsets, ARangeOfNothingIsOneEmptyPiece) {
    EXPECT_THAT(RealOffsets(10, 0), ElementsAre(Pair(3145738, 0)));
    EXPECT_THAT(RealOffsets(1000, 0), ElementsAre(Pair(-1, 0)));
}

TEST_F(PayloadOffsets, PastTheChunksRaises) {
    EXPECT_EQ(OutOfRangeText([&] { static_cast<void>(RealOffset(4000)); }),
              "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { RealOffsets(4000, 0); }), "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { RealOffsets(3900, 101); }), "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { RealOffsets(0, 0xFFFFFFFFFFFFFFFF); }),
              "invalid vector subscript");
}

TEST_F(PayloadOffsets, TheRatioIs0) {
    blocks.ratio = 0;
    EXPECT_EQ(OutOfRangeText([&] { static_cast<void>(RealOffset(0)); }),
              "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { RealOffsets(0, 1); }), "invalid vector subscript");
}

TEST_F(PayloadOffsets, TheBlockSizeIs0) {
    params.payloadblksz = 0;
    EXPECT_EQ(OutOfRangeText([&] { static_cast<void>(RealOffset(0)); }),
              "invalid vector subscript");
    EXPECT_EQ(OutOfRangeText([&] { RealOffsets(0, 1); }), "invalid vector subscript");
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

// Only the low 32 bits of a block's index are looked up, deliberately.
TEST_F(PayloadOffsets, ABlockIndexIsCutTo32Bits) {
    EXPECT_EQ(RealOffset(1000 * 0x100000000 + 17), 3145745u);
    EXPECT_EQ(RealOffset(1000 * 0x100000001 + 17), 1000u * 0x100000001 + 17);
    EXPECT_THAT(RealOffsets(1000 * 0x100000000 + 17, 1000),
                ElementsAre(Pair(3145745, 983), Pair(-1, 17)));
    EXPECT_THAT(trace.Lines(), ElementsAre(NoBlockLine(1), NoBlockLine(1)));
}

// Every lookup cuts the index, so that a range that goes past the largest one starts anew.
TEST_F(PayloadOffsets, ABlockIndexIsCutTo32BitsAlongTheRange) {
    blocks.ratio = 0x200000000;
    EXPECT_THAT(RealOffsets(1000 * 0xFFFFFFFFull, 2000),
                ElementsAre(Pair(-1, 1000), Pair(3145728, 1000)));
    EXPECT_THAT(trace.Lines(), ElementsAre(NoBlockLine(0xFFFFFFFF)));
}

/// Blocks of 1 byte, 8 to each of three chunks that claim a ratio of 2147483647 and more blocks
/// than they have.
CBlocks ModelWhoseChunksReachPastTheLargestIndex() {
    CBlocks blocks;
    blocks.ratio = 2147483647;
    for (std::uint64_t i = 0; i < 24; ++i) {
        if (i % 8 == 0) {
            blocks.chunks.emplace_back();
        }
        blocks.chunks.back().InitPayloadBlock(CPayloadBlock::FullyPresent, 1 + i);
    }
    return blocks;
}

// Chunk 2 begins with the block of the number 2^32 - 2, and its third block is number 0 again.
TEST(PayloadOffsetsOfLongRanges, StartAnewAtBlock0WithAndWithoutAWriter) {
    const CBlocks blocks = ModelWhoseChunksReachPastTheLargestIndex();
    WithoutAndWithAWriter([&] {
        EXPECT_THAT(RequestPayloadRealOffsets(blocks, 0xFFFFFFFE, 6, BlockSize(1)),
                    ElementsAre(Pair(17 * MiB, 1), Pair(18 * MiB, 1), Pair(1 * MiB, 1),
                                Pair(2 * MiB, 1), Pair(3 * MiB, 1), Pair(4 * MiB, 1)));
    });
}

// 2^64 is no multiple of 1000: behind the wrap the range goes on at byte 384 of a block, while the
// blocks follow one by one.
TEST(PayloadOffsetsOfLongRanges, ThePlaceInABlockIsThatOfTheSumThatWraps) {
    constexpr std::uint64_t offset = 0xFFFFFFFFFFFFFFFF - 2614;
    static_assert(offset % 1000 == 1 && (offset / 1000 & 0xFFFFFFFF) == 1271310317);
    CBlocks blocks;
    blocks.ratio = 1271310317;
    blocks.chunks.resize(2);
    for (std::uint64_t i = 0; i < 6; ++i) {
        blocks.chunks[1].InitPayloadBlock(CPayloadBlock::FullyPresent, 100 + i);
    }
    WithoutAndWithAWriter([&] {
        EXPECT_THAT(
            RequestPayloadRealOffsets(blocks, offset, 5000, BlockSize(1000)),
            ElementsAre(Pair(100 * MiB + 1, 999), Pair(101 * MiB, 1000), Pair(102 * MiB, 1000),
                        Pair(103 * MiB + 384, 616), Pair(104 * MiB, 1000), Pair(105 * MiB, 385)));
    });
}

/// 300 blocks to the chunk, every third one absent: more than are appended in one go.
CBlocks LongModel() {
    CBlocks blocks;
    blocks.ratio = 300;
    for (std::uint64_t i = 0; i < 610; ++i) {
        if (i % 300 == 0) {
            blocks.chunks.emplace_back().Init(300);
        }
        blocks.chunks.back().InitPayloadBlock(
            i % 3 == 2 ? CPayloadBlock::NotPresent : CPayloadBlock::FullyPresent, 1000 + i);
    }
    return blocks;
}

std::vector<std::pair<std::int64_t, std::uint64_t>> LongExpectation() {
    std::vector<std::pair<std::int64_t, std::uint64_t>> pieces = {{1000 * 1048576 + 990, 10}};
    for (std::int64_t i = 1; i < 620; ++i) {
        pieces.emplace_back(i % 3 == 2 || i >= 610 ? -1 : (1000 + i) * 1048576, 1000);
    }
    pieces.emplace_back(-1, 1);
    return pieces;
}

TEST(PayloadOffsetsOfLongRanges, AreTheSameWithAndWithoutAWriter) {
    const CBlocks blocks = LongModel();
    EXPECT_EQ(RequestPayloadRealOffsets(blocks, 990, 619011, BlockSize(1000)), LongExpectation());
    CTraceCapture trace;
    EXPECT_EQ(RequestPayloadRealOffsets(blocks, 990, 619011, BlockSize(1000)), LongExpectation());
    // 203 absent blocks of the 610, and 11 places past them.
    EXPECT_EQ(trace.Count(), 203u + 11u);
    EXPECT_EQ(trace.Lines().front(), NoBlockLine(2));
    EXPECT_EQ(trace.Lines().back(), NoBlockLine(620));
}

TEST(PayloadOffsetsOfLongRanges, FindEveryBlockOfAChunkThatWasGivenAllAtOnce) {
    CBlocks blocks = LongModel();
    std::vector<CPayloadBlock> list(300, {7, CPayloadBlock::Zero});
    blocks.chunks[1].AddAllPayloadBlocks(list);
    auto expected = LongExpectation();
    for (std::size_t i = 300; i < 600; ++i) {
        expected[i].first = 7340032;
    }
    EXPECT_EQ(RequestPayloadRealOffsets(blocks, 990, 619011, BlockSize(1000)), expected);
}

// After `Init` anew every slot is 0, which names the first block.
TEST(PayloadOffsetsOfLongRanges, FindTheFirstBlockInAChunkWhoseIndexBeganAnew) {
    CBlocks blocks = LongModel();
    blocks.chunks[1].Init(300);
    auto expected = LongExpectation();
    for (std::size_t i = 300; i < 600; ++i) {
        expected[i].first = 1300ll * 1048576;
    }
    EXPECT_EQ(RequestPayloadRealOffsets(blocks, 990, 619011, BlockSize(1000)), expected);
}

TEST(PayloadOffsetsOfLongRanges, RaisePastTheChunksWithoutAWriter) {
    const CBlocks blocks = LongModel();
    EXPECT_EQ(RequestPayloadRealOffsets(blocks, 0, 900000, BlockSize(1000)).size(), 900u);
    EXPECT_EQ(OutOfRangeText([&] {
                  static_cast<void>(RequestPayloadRealOffsets(blocks, 0, 900001, BlockSize(1000)));
              }),
              "invalid vector subscript");
}

/// Straight from the description: every piece by a lookup of its own.
std::vector<std::pair<std::int64_t, std::uint64_t>> RealOffsetsNaively(const CBlocks& blocks,
                                                                       std::uint64_t offset,
                                                                       std::uint64_t count,
                                                                       std::uint64_t blockSize) {
    std::vector<std::pair<std::int64_t, std::uint64_t>> pieces;
    std::uint64_t done = 0;
    for (std::uint64_t index = offset / blockSize;; ++index) {
        const std::uint64_t position = (offset + done) % blockSize;
        const std::uint64_t kept = static_cast<std::uint32_t>(index);
        const CPayloadBlock* const block =
            blocks.chunks.at(kept / blocks.ratio).GetPayloadBlock(kept % blocks.ratio);
        const std::uint64_t left = count - done;
        const std::uint64_t length = left < blockSize - position ? left : blockSize - position;
        pieces.emplace_back(
            block == nullptr ? -1 : static_cast<std::int64_t>(block->offset * MiB + position),
            length);
        done += length;
        if (done >= count) {
            return pieces;
        }
    }
}

/// A few chunks of any ratio with fewer, as many or more blocks, filled in all ways.
CBlocks RandomModel(std::mt19937_64& random, std::uint64_t ratio) {
    CBlocks blocks;
    blocks.ratio = ratio;
    for (std::uint64_t chunks = 1 + random() % 4; chunks > 0; --chunks) {
        CBlockChunk& chunk = blocks.chunks.emplace_back();
        std::vector<CPayloadBlock> list;
        for (std::uint64_t i = random() % 20; i > 0; --i) {
            list.push_back({1 + random() % 1000, static_cast<CPayloadBlock::EState>(
                                                     1 + static_cast<int>(random() % 6))});
            chunk.InitPayloadBlock(list.back().state, list.back().offset);
        }
        if (random() % 8 == 0) {
            chunk.AddAllPayloadBlocks(list);
        } else if (random() % 8 == 0) {
            chunk.Init(static_cast<std::uint32_t>(random() % 8));
        }
    }
    return blocks;
}

class RandomPayloadOffsets : public testing::TestWithParam<unsigned> {};

TEST_P(RandomPayloadOffsets, AreThoseOfTheNaiveWalkWithAndWithoutAWriter) {
    std::mt19937_64 random(GetParam());
    for (int repetition = 0; repetition < 2000; ++repetition) {
        constexpr std::uint64_t ratios[] = {1,          2,          7,           16,
                                            0xFFFFFFF0, 0xFFFFFFFE, 0x100000000, 0x1000000000000};
        const std::uint64_t blockSize = 1 + random() % 3000;
        const CBlocks blocks = RandomModel(random, ratios[random() % std::size(ratios)]);
        // At the start, where block numbers of 32 bits start again, and where bytes of 64 do.
        const std::uint64_t starts[] = {0, blockSize * 0xFFFFFFF0, blockSize * 0xFFFFFFFE,
                                        blockSize * 0x100000000,
                                        0xFFFFFFFFFFFFFFFF - blockSize * 4};
        const std::uint64_t offset =
            starts[random() % std::size(starts)] + random() % (4 * blockSize);
        const std::uint64_t count = random() % (24 * blockSize);
        std::vector<std::pair<std::int64_t, std::uint64_t>> expected;
        const bool raises = OutOfRangeText([&] {
                                expected = RealOffsetsNaively(blocks, offset, count, blockSize);
                            }) != nothingRaised;
        WithoutAndWithAWriter([&] {
            std::vector<std::pair<std::int64_t, std::uint64_t>> pieces;
            const std::string text = OutOfRangeText([&] {
                pieces = RequestPayloadRealOffsets(
                    blocks, offset, count, BlockSize(static_cast<std::uint32_t>(blockSize)));
            });
            ASSERT_EQ(text, raises ? "invalid vector subscript" : nothingRaised);
            ASSERT_EQ(pieces, expected);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomPayloadOffsets, testing::Range(1U, 9U));

}  // namespace
}  // namespace NVHDX
