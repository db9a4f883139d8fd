#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/blocks/bat_trace.h"
#include "tests/support/bytes.h"
#include "vhdx_parser/blocks/bat_geometry.h"

namespace NVHDX {
namespace {

using NTest::CountLines;
using NTest::CTraceCapture;
using NTest::GiB;
using NTest::MiB;
using testing::IsEmpty;

CFileParameters Geometry(std::uint16_t sectorSize, std::uint32_t blockSize, std::uint64_t diskSize,
                         bool differencing = false) {
    CFileParameters params;
    params.logsectsz = sectorSize;
    params.payloadblksz = blockSize;
    params.virtdisksz = diskSize;
    params.bDifferencing = differencing;
    return params;
}

TEST(TableSize, OfADynamicDiskEndsWithTheLastPayloadEntry) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 32 * MiB, 10 * GiB)), 322u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(128, 320, 3, 322));
}

TEST(TableSize, OfADifferencingDiskHasWholeGroups) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 32 * MiB, 10 * GiB, true)), 387u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(128, 320, 3, 387));
}

TEST(TableSize, RoundsBlocksUp) {
    EXPECT_EQ(TableSize(Geometry(512, MiB, 1)), 1u * 8);
    EXPECT_EQ(TableSize(Geometry(512, MiB, MiB)), 1u * 8);
    EXPECT_EQ(TableSize(Geometry(512, MiB, MiB + 1)), 2u * 8);
    EXPECT_EQ(TableSize(Geometry(512, MiB, 1, true)), 4097u * 8);
}

TEST(TableSize, AddsTheSectorBitmapEntryWithTheFirstBlockOfTheNextChunk) {
    EXPECT_EQ(TableSize(Geometry(512, GiB, 4 * GiB)), 4u * 8);
    EXPECT_EQ(TableSize(Geometry(512, GiB, 5 * GiB)), 6u * 8);
    EXPECT_EQ(TableSize(Geometry(512, GiB, 8 * GiB)), 9u * 8);
    EXPECT_EQ(TableSize(Geometry(512, GiB, 9 * GiB)), 11u * 8);
    EXPECT_EQ(TableSize(Geometry(512, GiB, 4 * GiB, true)), 5u * 8);
    EXPECT_EQ(TableSize(Geometry(512, GiB, 5 * GiB, true)), 10u * 8);
}

TEST(TableSize, AllowsTheLargestTableThatFits32Bits) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 8, 8 * 536870911ull)), 4294967288u);
    EXPECT_EQ(trace.Lines(), CountLines(536870912, 536870911, 1, 536870911));
    trace.Clear();
    EXPECT_EQ(TableSize(Geometry(512, 8, 8 * 536870912ull)), std::nullopt);
    EXPECT_EQ(trace.Lines(), CountLines(536870912, 536870912, 1, 536870912));
}

TEST(TableSize, AllowsTheLargestDifferencingTableThatFits32Bits) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(1, 36157, 36157 * 534566744ull, true)), 4294967288u);
    EXPECT_EQ(trace.Lines(), CountLines(232, 534566744, 2304167, 536870911));
    trace.Clear();
    EXPECT_EQ(TableSize(Geometry(1, 36157, 36157 * 534566744ull + 1, true)), std::nullopt);
    EXPECT_EQ(trace.Lines(), CountLines(232, 534566745, 2304168, 536871144));
}

TEST(TableSize, TracesTheLow32BitsOfAnEntryCountThatWraps) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, MiB, 0xFFFFFFFF * MiB)), std::nullopt);
    EXPECT_EQ(trace.Lines(), CountLines(4096, 4294967295, 1048576, 1048574));
    trace.Clear();
    EXPECT_EQ(TableSize(Geometry(512, MiB, 0xFFFFFFFF * MiB, true)), std::nullopt);
    EXPECT_EQ(trace.Lines(), CountLines(4096, 4294967295, 1048576, 1048576));
}

// Deliberately: the table is that of the blocks that are left.
TEST(TableSize, CutsTheNumberOfBlocksTo32Bits) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, MiB, 0x100000001 * MiB)), 1u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(4096, 1, 1, 1));
    trace.Clear();
    EXPECT_EQ(TableSize(Geometry(512, MiB, 0x100000001 * MiB, true)), 4097u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(4096, 1, 1, 4097));
    trace.Clear();
    EXPECT_EQ(TableSize(Geometry(512, MiB, 0x100000000 * MiB)), 1048575u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(4096, 0, 0, 1048575));
}

// The number of blocks less one wraps, so the table of an empty disk claims a great many entries.
TEST(TableSize, WrapsForADiskOfSize0) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 32 * MiB, 0)), 33554431u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(128, 0, 0, 33554431));
}

TEST(TableSize, IsEmptyForADifferencingDiskOfSize0) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 32 * MiB, 0, true)), 0u);
    EXPECT_EQ(trace.Lines(), CountLines(128, 0, 0, 0));
}

TEST(TableSize, OfParametersThatWereNeverReadIsThatOfOneBlock) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(CFileParameters()), 1u * 8);
    EXPECT_EQ(trace.Lines(), CountLines(127, 1, 1, 1));
}

TEST(TableSize, RefusesARatioOf0WithoutATrace) {
    CTraceCapture trace;
    EXPECT_EQ(TableSize(Geometry(512, 0, GiB)), std::nullopt);
    EXPECT_EQ(TableSize(Geometry(512, 1, GiB)), std::nullopt);
    EXPECT_EQ(TableSize(Geometry(0, MiB, GiB)), std::nullopt);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

}  // namespace
}  // namespace NVHDX
