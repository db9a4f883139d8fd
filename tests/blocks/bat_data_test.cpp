#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/accessor.h>

#include "tests/blocks/allocation_watch.h"
#include "tests/blocks/bat_trace.h"
#include "tests/blocks/opened_container.h"

namespace NVHDX {
namespace {

using NTest::CAllocationWatch;
using NTest::CBytes;
using NTest::CImageBuilder;
using NTest::CInputStream;
using NTest::COpenedContainer;
using NTest::CountLines;
using NTest::COutputStream;
using NTest::CTraceCapture;
using NTest::CTraceContext;
using NTest::CTraceLine;
using NTest::GiB;
using NTest::Line;
using NTest::MiB;
using NTest::Portion;
using NTest::WideLine;
using testing::ElementsAre;
using testing::IsEmpty;

using CBuffer = CDynamicAllocBuffer<unsigned char, unsigned __int64>;

/// Five blocks of 1 GiB, four of them in the first chunk: 6 entries, 48 bytes.
CImageBuilder FiveBlocks() {
    return CImageBuilder()
        .BlockSize(GiB)
        .VirtualSize(5 * GiB)
        .PayloadBlock(0, 6, 9)
        .RawBatEntry(4, 0x1122334455667788)
        .PayloadBlock(4, 6, 10);
}

CFileParameters FiveBlocksParameters() {
    CFileParameters params;
    params.payloadblksz = GiB;
    params.logsectsz = 512;
    params.virtdisksz = 5 * GiB;
    return params;
}

const std::vector<CTraceLine> countLines = CountLines(4, 5, 2, 6);
const CTraceLine requestLine =
    WideLine(1, "VHDX. Request BAT. Offset is \"3145728\"; Area size is \"48\"");
const std::vector<CTraceLine> requestLines = countLines + std::vector{requestLine};

const CBytes fiveBlocksTable = {
    0x06, 0x00, 0x90, 0x00, 0x00, 0x00, 0x00, 0x00,  // block 0: fully present at 9 MiB
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // the sector bitmap's place
    0x06, 0x00, 0xA0, 0x00, 0x00, 0x00, 0x00, 0x00,              // block 4: fully present at 10 MiB
};

void Fill(CBuffer& buffer, std::size_t size, unsigned char byte) {
    buffer.Reserve(size);
    std::fill_n(buffer.data, size, byte);
}

CBytes First(const CBuffer& buffer, std::size_t size) {
    return CBytes(buffer.data, buffer.data + size);
}

TEST(RequestBATOffset, IsTheRegionsOffset) {
    COpenedContainer opened(FiveBlocks());
    EXPECT_EQ(opened.accessor.RequestBATOffset(), 3145728);
    COpenedContainer moved(CImageBuilder().BatOffset(77 * MiB));
    EXPECT_EQ(moved.accessor.RequestBATOffset(), 80740352);
}

TEST(RequestBATOffset, IsSigned) {
    COpenedContainer opened(CImageBuilder().EditRegionTables([](NTest::CRegionTable& table) {
        table.Find(NTest::NGuid::batRegion).offset = 0xFFFFFFFFFFFFFFFE;
    }));
    EXPECT_EQ(opened.accessor.RequestBATOffset(), -2);
}

TEST(RequestBATData, ReadsTheWholeTableAtOnce) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    CTraceCapture trace;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(buffer.size, 48u);
    EXPECT_EQ(First(buffer, 48), fiveBlocksTable);
    EXPECT_EQ(trace.Lines(), requestLines);
    EXPECT_THAT(opened.Buffer().Seeks(), ElementsAre(3145728));
    EXPECT_THAT(opened.Buffer().Reads(), ElementsAre(Portion(3145728, 48)));
    EXPECT_THAT(opened.Buffer().Writes(), IsEmpty());
}

TEST(RequestBATData, ReadsTheSectorBitmapEntriesOfADifferencingDisk) {
    COpenedContainer opened(FiveBlocks().Differencing());
    CFileParameters params = FiveBlocksParameters();
    params.bDifferencing = true;
    CBuffer buffer;
    CTraceCapture trace;
    EXPECT_TRUE(opened.accessor.RequestBATData(opened.stream, buffer, params, true));
    EXPECT_EQ(buffer.size, 80u);
    EXPECT_EQ(trace.Lines(),
              CountLines(4, 5, 2, 10) +
                  std::vector{WideLine(
                      1, "VHDX. Request BAT. Offset is \"3145728\"; Area size is \"80\"")});
}

TEST(RequestBATData, WidensTheContextOfTheWideLine) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    CTraceContext context("job 7");
    CTraceCapture trace;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(trace.Lines().back(),
              WideLine(1, "job 7: VHDX. Request BAT. Offset is \"3145728\"; Area size is \"48\""));
}

TEST(RequestBATData, ReadingKeepsALargerBuffer) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    Fill(buffer, 64, 0xEE);
    const unsigned char* const block = buffer.data;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(buffer.size, 64u);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(First(buffer, 64), [] {
        CBytes bytes = fiveBlocksTable;
        bytes.resize(64, 0xEE);
        return bytes;
    }());
}

TEST(RequestBATData, ReadingReplacesASmallerBuffer) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    Fill(buffer, 47, 0xEE);
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(buffer.size, 48u);
    EXPECT_EQ(First(buffer, 48), fiveBlocksTable);
}

TEST(RequestBATData, WritesTheBufferOverTheTable) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    Fill(buffer, 48, 0xAB);
    CTraceCapture trace;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), false));
    EXPECT_EQ(trace.Lines(), requestLines);
    EXPECT_THAT(opened.Buffer().Writes(), ElementsAre(Portion(3145728, 48)));
    EXPECT_THAT(opened.Buffer().Reads(), IsEmpty());
    EXPECT_EQ(opened.image.Bytes(3145728, 48), CBytes(48, 0xAB));
    EXPECT_EQ(opened.image.Bytes(3145728 + 48, 8), CBytes(8, 0));
}

TEST(RequestBATData, WhatWasReadCanBeWrittenBack) {
    COpenedContainer opened(FiveBlocks());
    CBuffer buffer;
    ASSERT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    opened.image.Write(3145728, CBytes(48, 0xFF));
    ASSERT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), false));
    EXPECT_EQ(opened.image.Bytes(3145728, 48), fiveBlocksTable);
}

TEST(RequestBATData, WritingRefusesABufferOfAnotherSize) {
    COpenedContainer opened(FiveBlocks());
    for (const std::size_t size : {0u, 40u, 47u, 49u, 64u}) {
        CBuffer buffer;
        Fill(buffer, size, 0xAB);
        CTraceCapture trace;
        EXPECT_FALSE(
            opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), false))
            << size;
        EXPECT_EQ(trace.Lines(), countLines) << size;
    }
    EXPECT_THAT(opened.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(opened.Buffer().Writes(), IsEmpty());
    EXPECT_EQ(opened.image.Bytes(3145728, 48), fiveBlocksTable);
}

TEST(RequestBATData, RefusesARegionShorterThanTheTable) {
    COpenedContainer opened(FiveBlocks().BatLength(47));
    CBuffer buffer;
    Fill(buffer, 48, 0xAB);
    CTraceCapture trace;
    EXPECT_FALSE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(trace.Lines(), countLines);
    trace.Clear();
    EXPECT_FALSE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), false));
    EXPECT_EQ(trace.Lines(), countLines);
    EXPECT_THAT(opened.Buffer().Seeks(), IsEmpty());
    EXPECT_EQ(First(buffer, 48), CBytes(48, 0xAB));
}

TEST(RequestBATData, AllowsARegionOfTheTablesSize) {
    COpenedContainer opened(FiveBlocks().BatLength(48));
    CBuffer buffer;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), true));
}

TEST(RequestBATData, RefusesAnImpossibleGeometryWithoutATrace) {
    COpenedContainer opened(FiveBlocks());
    CFileParameters noBlockSize = FiveBlocksParameters();
    noBlockSize.payloadblksz = 0;
    CFileParameters noRatio = FiveBlocksParameters();
    noRatio.payloadblksz = 1;
    CBuffer buffer;
    CTraceCapture trace;
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, noBlockSize, true));
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, noBlockSize, false));
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, noRatio, true));
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, noRatio, false));
    EXPECT_THAT(trace.Lines(), IsEmpty());
    EXPECT_THAT(opened.Buffer().Seeks(), IsEmpty());
}

TEST(RequestBATData, RefusesATableThatDoesNotFit32Bits) {
    COpenedContainer opened(FiveBlocks().BatLength(0xFFFFFFFF));
    CFileParameters params = FiveBlocksParameters();
    params.payloadblksz = 8;
    params.virtdisksz = 8 * 536870912ull;
    CBuffer buffer;
    CTraceCapture trace;
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, params, true));
    EXPECT_EQ(trace.Lines(), CountLines(536870912, 536870912, 1, 536870912));
    EXPECT_THAT(opened.Buffer().Seeks(), IsEmpty());
}

TEST(RequestBATData, ATableThatTheFileDoesNotHoldCostsNoMemory) {
    COpenedContainer opened(FiveBlocks().BatLength(0xFFFFFFFF));
    CFileParameters params = FiveBlocksParameters();
    params.payloadblksz = 8;
    params.virtdisksz = 8 * 536870911ull;
    CBuffer buffer;
    CTraceCapture trace;
    const CAllocationWatch watch;
    EXPECT_FALSE(opened.accessor.RequestBATData(opened.stream, buffer, params, true));
    EXPECT_LT(watch.Largest(), 65536u);
    EXPECT_EQ(buffer.size, 0u);
    EXPECT_EQ(trace.Lines().back(),
              WideLine(1, "VHDX. Request BAT. Offset is \"3145728\"; Area size is \"4294967288\""));
    EXPECT_THAT(opened.Buffer().Reads(), IsEmpty());
}

TEST(RequestBATData, FailsWhenTheStreamDoesNotServeTheDirection) {
    COpenedContainer opened(FiveBlocks());
    CInputStream input(opened.image);
    COutputStream output(opened.image);
    CBuffer buffer;
    Fill(buffer, 48, 0xAB);
    CTraceCapture trace;
    EXPECT_FALSE(opened.accessor.RequestBATData(output, buffer, FiveBlocksParameters(), true));
    EXPECT_EQ(trace.Lines(), requestLines);
    EXPECT_FALSE(opened.accessor.RequestBATData(input, buffer, FiveBlocksParameters(), false));
    EXPECT_EQ(opened.image.Bytes(3145728, 48), fiveBlocksTable);
}

TEST(RequestBATData, ServesAStreamOfOneDirection) {
    COpenedContainer opened(FiveBlocks());
    CInputStream input(opened.image);
    COutputStream output(opened.image);
    CBuffer buffer;
    EXPECT_TRUE(opened.accessor.RequestBATData(input, buffer, FiveBlocksParameters(), true));
    EXPECT_TRUE(opened.accessor.RequestBATData(output, buffer, FiveBlocksParameters(), false));
}

TEST(RequestBATData, FailsWithTheSeek) {
    for (const bool read : {true, false}) {
        COpenedContainer opened(FiveBlocks());
        opened.Buffer().FailSeek(1);
        CBuffer buffer;
        Fill(buffer, 48, 0xAB);
        CTraceCapture trace;
        EXPECT_FALSE(
            opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), read));
        EXPECT_EQ(trace.Lines(), requestLines);
        EXPECT_THAT(opened.Buffer().Reads(), IsEmpty());
        EXPECT_THAT(opened.Buffer().Writes(), IsEmpty());
    }
}

TEST(RequestBATData, FailsWithAShortTransfer) {
    for (const bool read : {true, false}) {
        COpenedContainer opened(FiveBlocks());
        opened.Buffer().FailRead(1, 47);
        opened.Buffer().FailWrite(1, 47);
        CBuffer buffer;
        Fill(buffer, 48, 0xAB);
        CTraceCapture trace;
        EXPECT_FALSE(
            opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), read));
        EXPECT_EQ(trace.Lines(), requestLines);
    }
}

TEST(RequestBATData, FailsOnAStreamThatHasFailed) {
    for (const bool read : {true, false}) {
        COpenedContainer opened(FiveBlocks());
        opened.stream.setstate(std::ios_base::failbit);
        CBuffer buffer;
        Fill(buffer, 48, 0xAB);
        EXPECT_FALSE(
            opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), read));
        EXPECT_EQ(opened.image.Bytes(3145728, 48), fiveBlocksTable);
    }
}

TEST(RequestBATData, ReportsAStreamThatWritesElsewhere) {
    COpenedContainer opened(FiveBlocks());
    opened.stream.seekg(0);
    opened.Buffer().IgnorePositioning();
    CBuffer buffer;
    Fill(buffer, 48, 0xAB);
    CTraceCapture trace;
    EXPECT_TRUE(
        opened.accessor.RequestBATData(opened.stream, buffer, FiveBlocksParameters(), false));
    EXPECT_EQ(
        trace.Lines(),
        requestLines + std::vector{Line(2,
                                        "Write data. Failed to set possition \". Offset3145728\" "
                                        "<> \"0\"")});
    EXPECT_EQ(opened.image.Bytes(0, 48), CBytes(48, 0xAB));
}

}  // namespace
}  // namespace NVHDX
