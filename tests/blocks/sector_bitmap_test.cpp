#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/sector_bitmap.h>

#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace {

using NTest::CBytes;
using NTest::CInputOutputStream;
using NTest::CInputStream;
using NTest::COutputStream;
using NTest::CSparseImage;
using NTest::CTraceCapture;
using NTest::CTraceLine;
using NTest::Line;
using NTest::MiB;
using NTest::Portion;
using testing::ElementsAre;
using testing::IsEmpty;

const CTraceLine requestLine =
    Line(1, "Request sector bitmap data with offset \"5242880\",  size \"1048576\"");
const CTraceLine failedStateLine =
    Line(3, "File is in failed state after request data with size \"1048576\"");
const CTraceLine loadFailedLine = Line(3, "Requested sector bitmap. Failed to load data");
const CTraceLine saveFailedLine = Line(3, "Requested sector bitmap. Failed to save data");

/// A model with one chunk whose bitmap is at 5 MiB, and a file of 6 MiB with a pattern there.
class SectorBitmap : public testing::Test {
protected:
    SectorBitmap() : bytes(MiB) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<unsigned char>(i * 31 / 7);
        }
        image.Write(5 * MiB, bytes);
        blocks.chunks.emplace_back();
        blocks.ratio = 1;
        SetBlock(5, 2);
        area->fill(0xEE);
    }

    CBlockChunk& Chunk() { return blocks.chunks.front(); }

    void SetBlock(std::uint64_t offset, std::int32_t state) {
        auto block = std::make_unique<CSectorBitmapBlock>();
        *block = {offset, state};
        Chunk().Set(block);
    }

    void RemoveBlock() {
        std::unique_ptr<CSectorBitmapBlock> none;
        Chunk().Set(none);
    }

    bool AreaIsUntouched() const {
        return std::all_of(area->begin(), area->end(), [](unsigned char b) { return b == 0xEE; });
    }

    bool AreaHoldsPattern() const {
        return std::equal(area->begin(), area->end(), bytes.begin(), bytes.end());
    }

    CBytes bytes;
    CSparseImage image;
    CBlocks blocks;
    std::unique_ptr<CSectorBitmapArea> area = std::make_unique<CSectorBitmapArea>();
    CTraceCapture trace;
};

TEST_F(SectorBitmap, LoadReadsOneMebibyteAtTheBlocksPosition) {
    CInputStream stream(image);
    EXPECT_TRUE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_TRUE(AreaHoldsPattern());
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(5 * MiB, MiB)));
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine));
}

TEST_F(SectorBitmap, SaveWritesOneMebibyteAtTheBlocksPosition) {
    COutputStream stream(image);
    EXPECT_TRUE(Chunk().SaveSectorBitmap(stream, *area));
    EXPECT_THAT(stream.Buffer().Writes(), ElementsAre(Portion(5 * MiB, MiB)));
    EXPECT_EQ(image.Bytes(5 * MiB, MiB), CBytes(MiB, 0xEE));
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine));
}

TEST_F(SectorBitmap, LoadAndSaveAreSilentWithoutABlock) {
    RemoveBlock();
    CInputOutputStream stream(image);
    EXPECT_FALSE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_FALSE(Chunk().SaveSectorBitmap(stream, *area));
    EXPECT_TRUE(AreaIsUntouched());
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(SectorBitmap, LoadAndSaveAreSilentForEveryStateBut2) {
    for (const std::int32_t state : {-1, 0, 1, 3, 6}) {
        SetBlock(5, state);
        CInputOutputStream stream(image);
        EXPECT_FALSE(Chunk().LoadSectorBitmap(stream, *area));
        EXPECT_FALSE(Chunk().SaveSectorBitmap(stream, *area));
        EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    }
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(SectorBitmap, LoadDoesNotLookAtTheMarkForNoSectorBitmap) {
    Chunk().SetNoSectorBitmap();
    CInputStream stream(image);
    EXPECT_TRUE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_TRUE(AreaHoldsPattern());
}

TEST_F(SectorBitmap, FailedSeekIsTraced) {
    CInputStream stream(image);
    stream.Buffer().FailSeek(1);
    EXPECT_FALSE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_TRUE(AreaIsUntouched());
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, failedStateLine));
}

TEST_F(SectorBitmap, ShortReadIsTracedAndLeavesTheAreaPartlyOverwritten) {
    CInputStream stream(image);
    stream.Buffer().FailRead(1, 1000);
    EXPECT_FALSE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_EQ((*area)[999], bytes[999]);
    EXPECT_EQ((*area)[1000], 0xEE);
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, failedStateLine));
}

TEST_F(SectorBitmap, ShortWriteIsTraced) {
    COutputStream stream(image);
    stream.Buffer().FailWrite(1, 1000);
    EXPECT_FALSE(Chunk().SaveSectorBitmap(stream, *area));
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, failedStateLine));
}

TEST_F(SectorBitmap, StreamThatDoesNotServeTheDirectionFailsWithoutFurtherLine) {
    CInputStream input(image);
    COutputStream output(image);
    EXPECT_FALSE(Chunk().SaveSectorBitmap(input, *area));
    EXPECT_FALSE(Chunk().LoadSectorBitmap(output, *area));
    EXPECT_TRUE(AreaIsUntouched());
    EXPECT_EQ(image.Bytes(5 * MiB, MiB), bytes);
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, requestLine));
}

TEST_F(SectorBitmap, PositionTooLargeForTheStreamFails) {
    SetBlock(0xFFFFFFFFFFF, 2);
    CInputStream stream(image);
    EXPECT_FALSE(Chunk().LoadSectorBitmap(stream, *area));
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(1,
                                                "Request sector bitmap data with offset "
                                                "\"18446744073708503040\",  size \"1048576\""),
                                           failedStateLine));
}

TEST_F(SectorBitmap, RequestReadsAndWritesInPlace) {
    CInputOutputStream stream(image);
    EXPECT_TRUE(RequestSectorBitmapData(stream, blocks, 0, *area, true));
    EXPECT_TRUE(AreaHoldsPattern());
    (*area)[0] = 0x5A;
    EXPECT_TRUE(RequestSectorBitmapData(stream, blocks, 0, *area, false));
    EXPECT_EQ(image.Bytes(5 * MiB, 1), CBytes{0x5A});
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, requestLine));
}

TEST_F(SectorBitmap, RequestOnAChunkWithoutBitmapSucceedsAndTouchesNothing) {
    Chunk().SetNoSectorBitmap();
    CInputOutputStream stream(image);
    for (const bool read : {true, false}) {
        EXPECT_TRUE(RequestSectorBitmapData(stream, blocks, 0, *area, read));
    }
    EXPECT_TRUE(AreaIsUntouched());
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    const CTraceLine line = Line(1, "Requested sector bitmap. No present");
    EXPECT_THAT(trace.Lines(), ElementsAre(line, line));
}

TEST_F(SectorBitmap, RequestOnAChunkWithoutBlockFails) {
    RemoveBlock();
    CInputOutputStream stream(image);
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, true));
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, false));
    EXPECT_TRUE(AreaIsUntouched());
    EXPECT_THAT(trace.Lines(), ElementsAre(loadFailedLine, saveFailedLine));
}

TEST_F(SectorBitmap, RequestOnABlockInAnotherStateFails) {
    SetBlock(5, 0);
    CInputOutputStream stream(image);
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, true));
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, false));
    EXPECT_THAT(trace.Lines(), ElementsAre(loadFailedLine, saveFailedLine));
}

TEST_F(SectorBitmap, RequestWhoseTransferFailsTracesAllThreeLines) {
    CInputStream stream(image);
    stream.Buffer().FailSeek(1);
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, true));
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, failedStateLine, loadFailedLine));
}

TEST_F(SectorBitmap, RequestWriteWhoseTransferFailsTracesAllThreeLines) {
    COutputStream stream(image);
    stream.Buffer().FailWrite(1);
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0, *area, false));
    EXPECT_THAT(trace.Lines(), ElementsAre(requestLine, failedStateLine, saveFailedLine));
}

TEST_F(SectorBitmap, RequestOnAChunkThatTheModelDoesNotHaveIsFalse) {
    CInputStream stream(image);
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 1, *area, true));
    EXPECT_FALSE(RequestSectorBitmapData(stream, blocks, 0xFFFFFFFF, *area, true));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(SectorBitmap, RealOffsetIsTheBlocksPositionInBytesWhateverItsState) {
    std::uint64_t offset = 77;
    EXPECT_TRUE(RequestSectorBitmapRealOffset(blocks, 0, offset));
    EXPECT_EQ(offset, 5242880U);
    SetBlock(6, 0);
    EXPECT_TRUE(RequestSectorBitmapRealOffset(blocks, 0, offset));
    EXPECT_EQ(offset, 6291456U);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(SectorBitmap, RealOffsetOfAChunkWithoutBitmapIsFalseAndUnchanged) {
    std::uint64_t offset = 77;
    Chunk().SetNoSectorBitmap();
    EXPECT_FALSE(RequestSectorBitmapRealOffset(blocks, 0, offset));
    EXPECT_EQ(offset, 77U);
}

TEST_F(SectorBitmap, RealOffsetWithoutBlockOrChunkIsFalseAndUnchanged) {
    std::uint64_t offset = 77;
    RemoveBlock();
    EXPECT_FALSE(RequestSectorBitmapRealOffset(blocks, 0, offset));
    EXPECT_FALSE(RequestSectorBitmapRealOffset(blocks, 1, offset));
    EXPECT_EQ(offset, 77U);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

}  // namespace
}  // namespace NVHDX
