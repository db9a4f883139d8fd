#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/payload_data.h>

#include "tests/access/payload_model.h"
#include "tests/access/payload_trace.h"
#include "tests/blocks/out_of_range_text.h"
#include "tests/support/content_pattern.h"
#include "tests/support/test_stream.h"

namespace NVHDX {
namespace {

using namespace NTest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Blocks of 1000 bytes, two to the chunk: present at 1 MiB, absent, present at 2 MiB.
class PayloadDataFailure : public testing::Test {
protected:
    PayloadDataFailure() { image.Write(0, Pattern(1, 0, 3 * MiB)); }

    bool Request(std::uint64_t offset, std::uint64_t count, bool read) {
        return RequestPayloadData(stream, blocks, offset, count, params, buffer, read);
    }
    std::string Raised(std::uint64_t offset, std::uint64_t count, bool read) {
        return OutOfRangeText([&] { static_cast<void>(Request(offset, count, read)); });
    }

    CSparseImage image;
    CInputOutputStream stream{image};
    CBlocks blocks = Model(2, {Present(1), Absent(), Present(2)});
    CFileParameters params = BlockSize(1000);
    CBuffer buffer = BufferOf(CBytes(3000, 0xAB));
    CTraceCapture trace;
};

/// A block that is found although its state has no data.
CBlocks AllFound(CPayloadBlock::EState state) {
    CBlocks blocks;
    blocks.ratio = 2;
    CBlockChunk& chunk = blocks.chunks.emplace_back();
    chunk.Init(2);
    std::vector<CPayloadBlock> list = {{1, CPayloadBlock::FullyPresent}, {2, state}};
    chunk.AddAllPayloadBlocks(list);
    return blocks;
}

TEST_F(PayloadDataFailure, AFoundBlockHasAStateWithoutData) {
    for (const auto state :
         {CPayloadBlock::Zero, CPayloadBlock::NotPresent, CPayloadBlock::Unmapped,
          static_cast<CPayloadBlock::EState>(0), static_cast<CPayloadBlock::EState>(7)}) {
        blocks = AllFound(state);
        for (const bool read : {true, false}) {
            trace.Clear();
            stream.Buffer().ClearRecords();
            EXPECT_FALSE(Request(900, 300, read)) << state;
            EXPECT_THAT(trace.Lines(),
                        ElementsAre(GetLine(900), PieceLine(1049476, 300, 100), DetectedLine(0),
                                    StateLine(5), PieceLine(2097152, 200, 200), DetectedLine(1),
                                    NotImplementedLine()));
            EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(1049476));
        }
    }
}

TEST_F(PayloadDataFailure, AFoundBlockHasAStateWithData) {
    for (const auto state : {CPayloadBlock::Undefined, CPayloadBlock::PartiallyPresent}) {
        blocks = AllFound(state);
        EXPECT_TRUE(Request(900, 300, true));
    }
}

TEST_F(PayloadDataFailure, TheFirstSeekFails) {
    for (const bool read : {true, false}) {
        trace.Clear();
        stream.clear();
        stream.Buffer().ClearRecords();
        stream.Buffer().FailSeek(1);
        EXPECT_FALSE(Request(900, 2100, read));
        EXPECT_THAT(trace.Lines(),
                    ElementsAre(GetLine(900), PieceLine(1049476, 2100, 100), DetectedLine(0),
                                StateLine(5), FailedStateLine(100), FailedLine(1049476)));
        EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
        EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
    }
}

TEST_F(PayloadDataFailure, TheSecondSeekFailsAfterAPieceWasMoved) {
    for (const bool read : {true, false}) {
        trace.Clear();
        stream.clear();
        stream.Buffer().ClearRecords();
        stream.Buffer().FailSeek(2);
        EXPECT_FALSE(Request(900, 2100, read));
        EXPECT_THAT(trace.Lines(),
                    ElementsAre(GetLine(900), PieceLine(1049476, 2100, 100), DetectedLine(0),
                                StateLine(5), NoBlockLine(1), PieceLine(0, 2000, 1000), ZeroLine(1),
                                PieceLine(2097152, 1000, 1000), DetectedLine(2), StateLine(5),
                                FailedStateLine(1000), FailedLine(2097152)));
    }
}

TEST_F(PayloadDataFailure, WhatWasReadBeforeStaysInTheBuffer) {
    stream.Buffer().FailRead(2);
    EXPECT_FALSE(Request(900, 2100, true));
    CBytes expected = Pattern(1, 1 * MiB + 900, 100);
    expected.resize(1100, 0);
    EXPECT_EQ(First(buffer, 1100), expected);
}

TEST_F(PayloadDataFailure, WhatWasWrittenBeforeStaysInTheFile) {
    stream.Buffer().FailWrite(2);
    EXPECT_FALSE(Request(900, 2100, false));
    EXPECT_EQ(image.Bytes(1 * MiB + 900, 100), CBytes(100, 0xAB));
    EXPECT_EQ(image.Bytes(2 * MiB, 1000), Pattern(1, 2 * MiB, 1000));
}

TEST_F(PayloadDataFailure, ATransferComesUpShort) {
    for (const bool read : {true, false}) {
        trace.Clear();
        stream.clear();
        stream.Buffer().ClearRecords();
        stream.Buffer().FailRead(1, 19);
        stream.Buffer().FailWrite(1, 19);
        EXPECT_FALSE(Request(10, 20, read));
        EXPECT_THAT(trace.Lines(),
                    ElementsAre(GetLine(10), PieceLine(1048586, 20, 20), DetectedLine(0),
                                StateLine(5), FailedStateLine(20), FailedLine(1048586)));
    }
}

TEST_F(PayloadDataFailure, TheFileEndsInsideTheBlock) {
    image.Resize(2 * MiB + 999);
    EXPECT_TRUE(Request(2000, 999, true));
    trace.Clear();
    EXPECT_FALSE(Request(2000, 1000, true));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(2000), PieceLine(2097152, 1000, 1000), DetectedLine(2),
                            StateLine(5), FailedStateLine(1000), FailedLine(2097152)));
}

TEST_F(PayloadDataFailure, TheStreamHasFailedBefore) {
    for (const bool read : {true, false}) {
        trace.Clear();
        stream.setstate(std::ios_base::badbit);
        EXPECT_FALSE(Request(0, 20, read));
        EXPECT_THAT(trace.Lines(),
                    ElementsAre(GetLine(0), PieceLine(1048576, 20, 20), DetectedLine(0),
                                StateLine(5), FailedStateLine(20), FailedLine(1048576)));
    }
}

// An absent block needs nothing of the stream.
TEST_F(PayloadDataFailure, AStreamThatHasFailedStillGivesZeros) {
    stream.setstate(std::ios_base::badbit);
    EXPECT_TRUE(Request(1000, 1000, true));
    EXPECT_EQ(First(buffer, 1000), CBytes(1000, 0));
}

TEST_F(PayloadDataFailure, TheStreamDoesNotServeTheDirection) {
    CInputStream input(image);
    COutputStream output(image);
    EXPECT_FALSE(RequestPayloadData(output, blocks, 0, 20, params, buffer, true));
    EXPECT_THAT(trace.Lines(), ElementsAre(GetLine(0), PieceLine(1048576, 20, 20), DetectedLine(0),
                                           StateLine(5), FailedLine(1048576)));
    EXPECT_FALSE(RequestPayloadData(input, blocks, 0, 20, params, buffer, false));
    EXPECT_EQ(image.Bytes(1 * MiB, 20), Pattern(1, 1 * MiB, 20));
}

TEST_F(PayloadDataFailure, APositionThatTheStreamCannotExpress) {
    blocks = Model(2, {Present(0xFFFFFFFFFFF)});
    EXPECT_FALSE(Request(10, 20, true));
    EXPECT_THAT(trace.LinesAt(3), ElementsAre(FailedStateLine(20), FailedLine(0xFFFFFFFFFFF0000A)));
}

TEST_F(PayloadDataFailure, WritingRefusesABufferSmallerThanTheRange) {
    EXPECT_FALSE(Request(0, 3001, false));
    EXPECT_THAT(trace.LinesAt(3), IsEmpty());
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_EQ(buffer.size, 3000u);
}

// Nothing is written then, also where the first pieces would have fitted.
TEST_F(PayloadDataFailure, WritingASmallerBufferIsRefusedAtTheFirstPresentBlock) {
    EXPECT_FALSE(Request(1500, 3001, false));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(1500), NoBlockLine(1), PieceLine(500, 3001, 500), ZeroLine(1),
                            PieceLine(2 * MiB, 2501, 1000), DetectedLine(2), StateLine(5)));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
}

TEST_F(PayloadDataFailure, WritingWhereNoBlockIsPresentLooksAtNoBuffer) {
    CBuffer none;
    EXPECT_TRUE(RequestPayloadData(stream, blocks, 1000, 1000, params, none, false));
    EXPECT_TRUE(RequestPayloadData(stream, blocks, 3000, 1, params, none, false));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_EQ(none.size, 0u);
}

TEST_F(PayloadDataFailure, TheRangeStartsPastTheChunks) {
    for (const bool read : {true, false}) {
        trace.Clear();
        EXPECT_EQ(Raised(4000, 20, read), "invalid vector subscript");
        EXPECT_THAT(trace.Lines(), ElementsAre(GetLine(4000)));
    }
    EXPECT_EQ(Raised(0xFFFFFFFFFFFFFFFF, 1, true), "invalid vector subscript");
}

TEST_F(PayloadDataFailure, TheRangeRunsPastTheChunks) {
    for (const bool read : {true, false}) {
        trace.Clear();
        EXPECT_EQ(Raised(3900, 101, read), "invalid vector subscript");
        EXPECT_THAT(trace.Lines(), ElementsAre(GetLine(3900), NoBlockLine(3),
                                               PieceLine(900, 101, 100), ZeroLine(3)));
    }
    EXPECT_TRUE(Request(3900, 100, true));
}

TEST_F(PayloadDataFailure, ARangeOfNothingPastTheChunksRaisesToo) {
    EXPECT_EQ(Raised(4000, 0, true), "invalid vector subscript");
}

TEST_F(PayloadDataFailure, TheModelIsEmpty) {
    blocks = CBlocks();
    EXPECT_EQ(Raised(0, 1, true), "invalid vector subscript");
    blocks.ratio = 4;
    EXPECT_EQ(Raised(0, 1, true), "invalid vector subscript");
}

TEST_F(PayloadDataFailure, TheRatioIs0) {
    blocks.ratio = 0;
    EXPECT_EQ(Raised(0, 1, true), "invalid vector subscript");
    EXPECT_EQ(Raised(0, 1, false), "invalid vector subscript");
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
}

// The block is looked for before anything is done or traced.
TEST_F(PayloadDataFailure, TheBlockSizeIs0) {
    params.payloadblksz = 0;
    EXPECT_EQ(Raised(0, 5000, true), "invalid vector subscript");
    EXPECT_EQ(Raised(0, 1, false), "invalid vector subscript");
    EXPECT_THAT(trace.Lines(), IsEmpty());
    EXPECT_EQ(buffer.size, 3000u);
}

// Unlike the requests for positions, this one looks at all 64 bits of the block's index.
TEST_F(PayloadDataFailure, ABlockIndexOf33BitsIsNotCut) {
    EXPECT_EQ(Raised(1000 * 0x100000000, 1, true), "invalid vector subscript");
}

}  // namespace
}  // namespace NVHDX
