#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/block_iteration.h>

#include "tests/support/bytes.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace {

using NTest::CTraceCapture;
using NTest::CTraceLine;
using NTest::KiB;
using NTest::Line;
using NTest::MiB;
using testing::ElementsAre;
using testing::IsEmpty;

using CRanges = std::map<std::uint64_t, std::uint64_t>;

/// (type, number, first of the pair, second of the pair), as the callback got them.
using CItem = std::tuple<int, std::uint64_t, std::uint64_t, std::uint64_t>;

const CTraceLine firstLine = Line(4, "Iterate over blocks");
const CTraceLine lastLine = Line(4, "Iterate over blocks - done");
constexpr std::uint64_t elsewhere = 1000000;

CTraceLine DetectedLine(std::uint64_t block) {
    return Line(4, "Last Payload block is detected in RCT ranges. Index is \"" +
                       std::to_string(block) + "\"");
}
CTraceLine ExtendedLine(std::uint64_t size) {
    return Line(4, "Alignment is added. The area in last Payload block extended. Size is \"" +
                       std::to_string(size) + "\"");
}
CTraceLine ShrunkLine(std::uint64_t size) {
    return Line(
        4, "The area for last Payload block shrinked. Size is \"" + std::to_string(size) + "\"");
}
CTraceLine PastEndLine(std::uint64_t chunk, std::uint64_t size) {
    return Line(4, "Idx is bigger then chunks vector size. Idx is \"" + std::to_string(chunk) +
                       "\", vector size is \"" + std::to_string(size) + "\"");
}

CFileParameters Parameters(std::uint64_t lastPayloadBlockIndex, std::uint64_t blockSize = MiB) {
    CFileParameters params;
    params.payloadblksz = static_cast<std::uint32_t>(blockSize);
    params.lastPayloadBlockIndex = lastPayloadBlockIndex;
    return params;
}

/// `chunkCount` chunks with sector bitmap blocks at 100, 101, ... MiB.
CBlocks Differencing(std::size_t chunkCount, std::uint64_t ratio = 4) {
    CBlocks blocks;
    blocks.ratio = ratio;
    blocks.chunks.resize(chunkCount);
    for (std::size_t i = 0; i < chunkCount; ++i) {
        auto bitmap = std::make_unique<CSectorBitmapBlock>();
        *bitmap = {100 + i, 2};
        blocks.chunks[i].Set(bitmap);
    }
    return blocks;
}

CItem RangeItem(std::uint64_t number, std::uint64_t offset, std::uint64_t length) {
    return {1, number, offset, length};
}
CItem BitmapItem(std::uint64_t chunk) {
    return {2, chunk, (100 + chunk) * MiB, MiB};
}

std::vector<CItem> Items(const CBlocks& blocks, const CRanges& ranges,
                         const CFileParameters& params) {
    std::vector<CItem> items;
    IterateOverBlocks(blocks, ranges, params,
                      [&](EIterationBlockDataType type, std::uint64_t number,
                          std::pair<std::uint64_t, std::uint64_t> pair) {
                          items.emplace_back(type, number, pair.first, pair.second);
                      });
    return items;
}

TEST(IterateOverBlocks, EmptyRangeMapGivesTheTwoLinesOnly) {
    CTraceCapture trace;
    EXPECT_THAT(Items(Differencing(1), {}, Parameters(elsewhere)), IsEmpty());
    EXPECT_THAT(trace.Lines(), ElementsAre(firstLine, lastLine));
}

TEST(IterateOverBlocks, RangeIsReportedUnderItsStartChunkOnly) {
    CTraceCapture trace;
    EXPECT_THAT(Items(Differencing(2), {{0x100000, 0x500000}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0x100000, 0x500000), BitmapItem(0), BitmapItem(1)));
    EXPECT_THAT(trace.Lines(), ElementsAre(firstLine, lastLine));
}

TEST(IterateOverBlocks, RangesComeBeforeTheBitmapOfTheirChunkWithRunningNumbers) {
    EXPECT_THAT(
        Items(Differencing(3), {{0, 512}, {2 * MiB, 512}, {9 * MiB, 512}}, Parameters(elsewhere)),
        ElementsAre(RangeItem(0, 0, 512), RangeItem(1, 2 * MiB, 512), BitmapItem(0),
                    RangeItem(2, 9 * MiB, 512), BitmapItem(2)));
}

TEST(IterateOverBlocks, RangeThatEndsAtAChunksStartTouchesThatChunk) {
    EXPECT_THAT(Items(Differencing(2), {{3 * MiB, MiB}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 3 * MiB, MiB), BitmapItem(0), BitmapItem(1)));
}

TEST(IterateOverBlocks, EveryChunkOnTheWayIsReportedOnceBetweenOtherRanges) {
    EXPECT_THAT(
        Items(Differencing(4), {{0, 9 * MiB}, {MiB, 4 * MiB}, {5 * MiB, 512}, {13 * MiB, 512}},
              Parameters(elsewhere)),
        ElementsAre(RangeItem(0, 0, 9 * MiB), RangeItem(1, MiB, 4 * MiB), BitmapItem(0),
                    RangeItem(2, 5 * MiB, 512), BitmapItem(1), BitmapItem(2),
                    RangeItem(3, 13 * MiB, 512), BitmapItem(3)));
}

TEST(IterateOverBlocks, DiskWithoutParentHasNoBitmapItems) {
    CBlocks blocks = Differencing(2);
    blocks.chunks[0].SetNoSectorBitmap();
    blocks.chunks[1].SetNoSectorBitmap();
    EXPECT_THAT(Items(blocks, {{0, 5 * MiB}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0, 5 * MiB)));
}

TEST(IterateOverBlocks, ChunkWithoutBitmapBlockHasNoBitmapItem) {
    CBlocks blocks = Differencing(2);
    std::unique_ptr<CSectorBitmapBlock> none;
    blocks.chunks[0].Set(none);
    EXPECT_THAT(Items(blocks, {{0, 5 * MiB}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0, 5 * MiB), BitmapItem(1)));
}

TEST(IterateOverBlocks, StateOfTheBitmapBlockDoesNotMatter) {
    CBlocks blocks = Differencing(1);
    auto bitmap = std::make_unique<CSectorBitmapBlock>();
    *bitmap = {100, 0};
    blocks.chunks[0].Set(bitmap);
    EXPECT_THAT(Items(blocks, {{0, 512}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0, 512), BitmapItem(0)));
}

TEST(IterateOverBlocks, LastBlockRuleWidensThenShrinksThenDrops) {
    CTraceCapture trace;
    const CRanges ranges = {{8 * MiB, 1280 * KiB}, {8704 * KiB, MiB}, {9728 * KiB, 256 * KiB}};
    EXPECT_THAT(Items(Differencing(3), ranges, Parameters(9)),
                ElementsAre(RangeItem(0, 8 * MiB, 2 * MiB), RangeItem(1, 8704 * KiB, 512 * KiB),
                            BitmapItem(2)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(firstLine, DetectedLine(9), ExtendedLine(768 * KiB), DetectedLine(9),
                            ShrunkLine(512 * KiB), DetectedLine(9), lastLine));
}

TEST(IterateOverBlocks, RangeAsLongAsItsPartInTheLastBlockShrinksToNothingButStays) {
    EXPECT_THAT(
        Items(Differencing(3), {{8 * MiB, MiB + 512}, {9 * MiB, 1024}}, Parameters(9)),
        ElementsAre(RangeItem(0, 8 * MiB, 2 * MiB), RangeItem(1, 9 * MiB, 0), BitmapItem(2)));
}

TEST(IterateOverBlocks, RangeThatEndsAtTheLastBlocksStartGrowsByAWholeBlock) {
    CTraceCapture trace;
    EXPECT_THAT(Items(Differencing(3), {{8 * MiB, MiB}}, Parameters(9)),
                ElementsAre(RangeItem(0, 8 * MiB, 2 * MiB), BitmapItem(2)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(firstLine, DetectedLine(9), ExtendedLine(MiB), lastLine));
}

TEST(IterateOverBlocks, DroppedRangeTouchesNoChunkNorCountsAsOne) {
    const CRanges ranges = {{12 * MiB, 512}, {12 * MiB + 4096, 512}, {12 * MiB + 65536, 512}};
    EXPECT_THAT(Items(Differencing(4), ranges, Parameters(12)),
                ElementsAre(RangeItem(0, 12 * MiB, MiB), BitmapItem(3)));
    EXPECT_THAT(
        Items(Differencing(4), {{8 * MiB, 4 * MiB}, {12 * MiB + 65536, 512}}, Parameters(12)),
        ElementsAre(RangeItem(0, 8 * MiB, 5 * MiB), BitmapItem(2), BitmapItem(3)));
}

TEST(IterateOverBlocks, ChunksPastTheEndAreTracedAndTheirRangesDelivered) {
    CTraceCapture trace;
    EXPECT_THAT(Items(Differencing(1), {{0, 512}, {5 * MiB, 8 * MiB}, {17 * MiB, 512}},
                      Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0, 512), BitmapItem(0), RangeItem(1, 5 * MiB, 8 * MiB),
                            RangeItem(2, 17 * MiB, 512)));
    EXPECT_THAT(trace.Lines(), ElementsAre(firstLine, PastEndLine(1, 1), PastEndLine(2, 1),
                                           PastEndLine(3, 1), PastEndLine(4, 1), lastLine));
}

TEST(IterateOverBlocks, HugeRangeWithoutWriterIsNoWorkPastTheModelsEnd) {
    // Reaches into four billion chunks of one block each.
    const CRanges ranges = {{0, 0xFFFFFFFF * MiB}, {0x80000000 * MiB, 512}};
    EXPECT_THAT(Items(Differencing(3, 1), ranges, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 0, 0xFFFFFFFF * MiB), BitmapItem(0), BitmapItem(1),
                            BitmapItem(2), RangeItem(1, 0x80000000 * MiB, 512)));
}

TEST(IterateOverBlocks, BlockNumbersWrapAt32Bits) {
    // Block 2^32 + 5 counts as block 5, in chunk 1, and comes before chunk 2's range.
    const std::uint64_t far = (0x100000000 + 5) * MiB;
    CTraceCapture trace;
    EXPECT_THAT(Items(Differencing(3), {{8 * MiB, 512}, {far, 512}}, Parameters(5)),
                ElementsAre(RangeItem(0, far, MiB), BitmapItem(1), RangeItem(1, 8 * MiB, 512),
                            BitmapItem(2)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(firstLine, DetectedLine(5), ExtendedLine(MiB - 512), lastLine));
}

TEST(IterateOverBlocks, RangesOfOneChunkFromBothSidesOfTheWrapStayInTheirOrder) {
    const std::uint64_t far = (0x100000000 + 1) * MiB;
    EXPECT_THAT(
        Items(Differencing(2), {{0, 512}, {5 * MiB, 512}, {far, 512}}, Parameters(elsewhere)),
        ElementsAre(RangeItem(0, 0, 512), RangeItem(1, far, 512), BitmapItem(0),
                    RangeItem(2, 5 * MiB, 512), BitmapItem(1)));
}

TEST(IterateOverBlocks, LastBlockIndexOfMoreThan32BitsIsNeverMet) {
    CTraceCapture trace;
    const std::uint64_t far = (0x100000000 + 5) * MiB;
    Items(Differencing(2), {{5 * MiB, 512}, {far, 512}}, Parameters(0x100000000 + 5));
    EXPECT_THAT(trace.Lines(), ElementsAre(firstLine, lastLine));
}

TEST(IterateOverBlocks, EndThatWrapsTouchesTheStartChunkOnly) {
    EXPECT_THAT(Items(Differencing(3), {{5 * MiB, 0xFFFFFFFFFFFFFFFF}}, Parameters(elsewhere)),
                ElementsAre(RangeItem(0, 5 * MiB, 0xFFFFFFFFFFFFFFFF), BitmapItem(1)));
}

TEST(IterateOverBlocks, EmptyCallbackRaisesAtTheFirstItem) {
    EXPECT_NO_THROW(IterateOverBlocks(Differencing(1), {}, Parameters(elsewhere), nullptr));
    EXPECT_THROW(IterateOverBlocks(Differencing(1), {{0, 512}}, Parameters(elsewhere), nullptr),
                 std::bad_function_call);
}

void ExpectInvalidSubscript(const CBlocks& blocks, const CFileParameters& params) {
    CTraceCapture trace;
    EXPECT_THAT(Items(blocks, {}, params), IsEmpty());
    trace.Clear();
    try {
        Items(blocks, {{0, 512}}, params);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid vector subscript");
    }
    EXPECT_THAT(trace.Lines(), ElementsAre(firstLine));
}

TEST(IterateOverBlocks, RatioOf0RaisesAtTheFirstRange) {
    ExpectInvalidSubscript(Differencing(1, 0), Parameters(elsewhere));
}

TEST(IterateOverBlocks, BlockSizeOf0RaisesAtTheFirstRange) {
    ExpectInvalidSubscript(Differencing(1), Parameters(elsewhere, 0));
}

/// What the walk yields step by step, with a map entry for every touched chunk.
struct CNaive {
    std::vector<CItem> items;
    std::vector<CTraceLine> lines{firstLine};

    CNaive(const CBlocks& blocks, const CRanges& ranges, const CFileParameters& params) {
        std::map<std::uint64_t, std::vector<std::pair<std::uint64_t, std::uint64_t>>> chunks;
        bool extended = false;
        const std::uint64_t size = params.payloadblksz;
        for (auto [offset, length] : ranges) {
            const std::uint64_t end = offset + length;
            const std::uint64_t endBlock = static_cast<std::uint32_t>(end / size);
            const std::uint64_t endChunk = endBlock / blocks.ratio;
            const std::uint64_t startChunk =
                static_cast<std::uint32_t>(offset / size) / blocks.ratio;
            if (endBlock == params.lastPayloadBlockIndex) {
                lines.push_back(DetectedLine(endBlock));
                const std::uint64_t rest = end % size;
                if (!extended) {
                    length += size - rest;
                    lines.push_back(ExtendedLine(size - rest));
                    extended = true;
                } else if (rest <= length) {
                    length -= rest;
                    lines.push_back(ShrunkLine(rest));
                } else {
                    continue;
                }
            }
            chunks[startChunk].emplace_back(offset, length);
            for (std::uint64_t chunk = startChunk + 1; chunk <= endChunk; ++chunk) {
                chunks[chunk];
            }
        }
        std::uint64_t number = 0;
        for (const auto& [chunk, list] : chunks) {
            for (const auto& [offset, length] : list) {
                items.push_back(RangeItem(number++, offset, length));
            }
            if (chunk >= blocks.chunks.size()) {
                lines.push_back(PastEndLine(chunk, blocks.chunks.size()));
            } else if (blocks.chunks[chunk].IsSectorBitmapPresent() &&
                       blocks.chunks[chunk].getSectorBitmatBlock() != nullptr) {
                items.push_back(BitmapItem(chunk));
            }
        }
        lines.push_back(lastLine);
    }
};

class IterateOverRandomRanges : public testing::TestWithParam<unsigned> {};

TEST_P(IterateOverRandomRanges, GivesWhatTheNaiveWalkGives) {
    std::mt19937_64 random(GetParam());
    const auto below = [&](std::uint64_t limit) { return random() % limit; };
    for (int repetition = 0; repetition < 200; ++repetition) {
        CBlocks blocks = Differencing(below(6), 1 + below(5));
        for (CBlockChunk& chunk : blocks.chunks) {
            std::unique_ptr<CSectorBitmapBlock> none;
            switch (below(4)) {
                case 0:
                    chunk.SetNoSectorBitmap();
                    break;
                case 1:
                    chunk.Set(none);
                    break;
                default:
                    break;
            }
        }
        const std::uint64_t blockSize = below(2) == 0 ? MiB : 3 * MiB;
        // A few large disks: some ranges then lie where block numbers have started again at 0.
        const std::uint64_t start = below(3) == 0 ? 0x100000000 * blockSize - 8 * blockSize : 0;
        CRanges ranges;
        for (std::uint64_t i = below(20); i > 0; --i) {
            const std::uint64_t offset = below(16 * blockSize) / 512 * 512;
            const std::uint64_t length = below(below(5) == 0 ? 40 * blockSize : blockSize);
            ranges[(below(2) == 0 ? 0 : start) + offset] = length;
        }
        const CFileParameters params = Parameters(below(20), blockSize);

        CTraceCapture trace;
        const std::vector<CItem> items = Items(blocks, ranges, params);
        const CNaive expected(blocks, ranges, params);
        ASSERT_EQ(items, expected.items);
        ASSERT_EQ(trace.Lines(), expected.lines);
    }
}

TEST_P(IterateOverRandomRanges, GivesTheSameItemsWithoutAWriter) {
    std::mt19937_64 random(GetParam());
    for (int repetition = 0; repetition < 200; ++repetition) {
        const CBlocks blocks = Differencing(random() % 4, 1 + random() % 3);
        CRanges ranges;
        for (std::uint64_t i = random() % 12; i > 0; --i) {
            ranges[random() % (24 * MiB)] = random() % (12 * MiB);
        }
        const CFileParameters params = Parameters(random() % 20);
        ASSERT_EQ(Items(blocks, ranges, params), CNaive(blocks, ranges, params).items);
    }
}

struct CStop {};

/// An exception of the callback is the only way to stop, and no item follows it.
TEST_P(IterateOverRandomRanges, GivesNoItemBehindAnException) {
    std::mt19937_64 random(GetParam());
    for (int repetition = 0; repetition < 20; ++repetition) {
        const CBlocks blocks = Differencing(random() % 4, 1 + random() % 3);
        CRanges ranges;
        for (std::uint64_t i = random() % 12; i > 0; --i) {
            ranges[random() % (24 * MiB)] = random() % (12 * MiB);
        }
        const CFileParameters params = Parameters(random() % 20);
        const std::vector<CItem> all = CNaive(blocks, ranges, params).items;
        for (std::size_t last = 1; last <= all.size(); ++last) {
            std::vector<CItem> items;
            const auto stopAtTheLast = [&](EIterationBlockDataType type, std::uint64_t number,
                                           std::pair<std::uint64_t, std::uint64_t> pair) {
                items.emplace_back(type, number, pair.first, pair.second);
                if (items.size() == last) {
                    throw CStop();
                }
            };
            NTest::WithoutAndWithAWriter([&] {
                items.clear();
                EXPECT_THROW(IterateOverBlocks(blocks, ranges, params, stopAtTheLast), CStop);
                ASSERT_EQ(items, std::vector<CItem>(
                                     all.begin(), all.begin() + static_cast<std::ptrdiff_t>(last)));
            });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, IterateOverRandomRanges, testing::Range(1U, 11U));

}  // namespace
}  // namespace NVHDX
