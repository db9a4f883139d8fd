#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/payload_data.h>

#include "tests/access/payload_model.h"
#include "tests/access/payload_trace.h"
#include "tests/support/content_pattern.h"
#include "tests/support/test_stream.h"

namespace NVHDX {
namespace {

using namespace NTest;
using testing::ElementsAre;
using testing::IsEmpty;

/// Blocks of 1000 bytes, two to the chunk: present at 3 MiB, absent, present at 2 MiB and at 5 MiB,
/// absent. The file holds a pattern everywhere.
class PayloadData : public testing::Test {
protected:
    PayloadData() { image.Write(0, before); }

    bool Read(std::uint64_t offset, std::uint64_t count) {
        return RequestPayloadData(stream, blocks, offset, count, params, buffer, true);
    }
    bool Write(std::uint64_t offset, std::uint64_t count) {
        return RequestPayloadData(stream, blocks, offset, count, params, buffer, false);
    }

    CBytes before = Pattern(1, 0, 6 * MiB);
    CSparseImage image;
    CInputOutputStream stream{image};
    CBlocks blocks = Model(2, {Present(3), Absent(), Present(2), Present(5), Absent()});
    CFileParameters params = BlockSize(1000);
    CBuffer buffer;
    CTraceCapture trace;
};

TEST(PayloadDataOfLargeBlocks, ReadsAPresentAndAnAbsentBlock) {
    const CBlocks blocks = Model(128, {Present(3), Absent()});
    CInputStream stream(CSparseImage{});
    stream.Image().Write(3145728 + 33554000, CBytes(432, 0xAB));
    CBuffer buffer;
    CTraceCapture trace;
    EXPECT_TRUE(
        RequestPayloadData(stream, blocks, 33554000, 1000, BlockSize(33554432), buffer, true));
    EXPECT_EQ(buffer.size, 1000u);
    CBytes expected(432, 0xAB);
    expected.resize(1000);
    EXPECT_EQ(First(buffer, 1000), expected);
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(36699728, 432)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(33554000), PieceLine(36699728, 1000, 432), DetectedLine(0),
                            StateLine(5), NoBlockLine(1), PieceLine(0, 568, 568), ZeroLine(1)));
}

TEST_F(PayloadData, ReadsInsideOneBlock) {
    EXPECT_TRUE(Read(10, 20));
    EXPECT_EQ(First(buffer, 20), Pattern(1, 3 * MiB + 10, 20));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(3145738, 20)));
    EXPECT_THAT(trace.Lines(), ElementsAre(GetLine(10), PieceLine(3145738, 20, 20), DetectedLine(0),
                                           StateLine(5)));
}

TEST_F(PayloadData, ReadsUpToTheEndOfABlock) {
    EXPECT_TRUE(Read(400, 600));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(3146128, 600)));
    EXPECT_THAT(trace.Lines(), ElementsAre(GetLine(400), PieceLine(3146128, 600, 600),
                                           DetectedLine(0), StateLine(5)));
}

TEST_F(PayloadData, ReadsAcrossBlocksAndChunks) {
    EXPECT_TRUE(Read(900, 3000));
    CBytes expected = Pattern(1, 3 * MiB + 900, 100);
    expected.resize(1100);
    const CBytes second = Pattern(1, 2 * MiB, 1000);
    const CBytes third = Pattern(1, 5 * MiB, 900);
    expected.insert(expected.end(), second.begin(), second.end());
    expected.insert(expected.end(), third.begin(), third.end());
    EXPECT_EQ(First(buffer, 3000), expected);
    EXPECT_THAT(stream.Buffer().Reads(),
                ElementsAre(Portion(3146628, 100), Portion(2097152, 1000), Portion(5242880, 900)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(900), PieceLine(3146628, 3000, 100), DetectedLine(0),
                            StateLine(5), NoBlockLine(1), PieceLine(0, 2900, 1000), ZeroLine(1),
                            PieceLine(2097152, 1900, 1000), DetectedLine(2), StateLine(5),
                            PieceLine(5242880, 900, 900), DetectedLine(3), StateLine(5)));
}

TEST_F(PayloadData, ReadsZerosInsideAnAbsentBlock) {
    buffer = BufferOf(CBytes(50, 0xEE));
    EXPECT_TRUE(Read(1300, 20));
    CBytes expected(50, 0xEE);
    std::fill_n(expected.begin(), 20, static_cast<unsigned char>(0));
    EXPECT_EQ(First(buffer, 50), expected);
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(1300), NoBlockLine(1), PieceLine(300, 20, 20), ZeroLine(1)));
}

TEST_F(PayloadData, ReadsZerosPastTheBlocksOfTheLastChunk) {
    EXPECT_TRUE(Read(5000, 1000));
    EXPECT_EQ(First(buffer, 1000), CBytes(1000, 0));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(5000), NoBlockLine(5), PieceLine(0, 1000, 1000), ZeroLine(5)));
}

TEST_F(PayloadData, ReadsUndefinedAndPartiallyPresentBlocks) {
    blocks = Model(2, {{CPayloadBlock::Undefined, 1}, {CPayloadBlock::PartiallyPresent, 2}});
    EXPECT_TRUE(Read(990, 20));
    CBytes expected = Pattern(1, 1 * MiB + 990, 10);
    const CBytes second = Pattern(1, 2 * MiB, 10);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(First(buffer, 20), expected);
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(990), PieceLine(1049566, 20, 10), DetectedLine(0), StateLine(2),
                            PieceLine(2097152, 10, 10), DetectedLine(1), StateLine(6)));
}

TEST_F(PayloadData, ReadingKeepsALargerBuffer) {
    buffer = BufferOf(CBytes(64, 0xEE));
    const unsigned char* const block = buffer.data;
    EXPECT_TRUE(Read(0, 20));
    EXPECT_EQ(buffer.size, 64u);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(First(buffer, 20), Pattern(1, 3 * MiB, 20));
    EXPECT_EQ(buffer.data[20], 0xEE);
}

TEST_F(PayloadData, ReadingReplacesASmallerBuffer) {
    buffer = BufferOf(CBytes(19, 0xEE));
    EXPECT_TRUE(Read(0, 20));
    EXPECT_EQ(buffer.size, 20u);
    EXPECT_EQ(First(buffer, 20), Pattern(1, 3 * MiB, 20));
}

TEST_F(PayloadData, ACountOf0ReadsNothingFromAPresentBlock) {
    EXPECT_TRUE(Read(10, 0));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(3145738, 0)));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(10), PieceLine(3145738, 0, 0), DetectedLine(0), StateLine(5)));
}

TEST_F(PayloadData, ACountOf0OfAnAbsentBlockSucceeds) {
    EXPECT_TRUE(Read(1000, 0));
    EXPECT_TRUE(Write(1000, 0));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(1000), NoBlockLine(1), PieceLine(0, 0, 0), ZeroLine(1),
                            GetLine(1000), NoBlockLine(1), PieceLine(0, 0, 0), ZeroLine(1)));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
}

TEST_F(PayloadData, ACountOf0GivesTheResultOfItsTransfer) {
    EXPECT_TRUE(Write(10, 0));
    EXPECT_THAT(stream.Buffer().Writes(), ElementsAre(Portion(3145738, 0)));
    stream.setstate(std::ios_base::failbit);
    EXPECT_FALSE(Read(10, 0));
    EXPECT_FALSE(Write(10, 0));
}

TEST_F(PayloadData, WritesAcrossBlocksAndLeavesOutAbsentOnes) {
    const CBytes written = Pattern(2, 0, 3000);
    buffer = BufferOf(written);
    EXPECT_TRUE(Write(900, 3000));
    EXPECT_THAT(stream.Buffer().Writes(),
                ElementsAre(Portion(3146628, 100), Portion(2097152, 1000), Portion(5242880, 900)));
    CBytes expected = before;
    std::copy_n(written.begin(), 100, expected.begin() + 3146628);
    std::copy_n(written.begin() + 1100, 1000, expected.begin() + 2097152);
    std::copy_n(written.begin() + 2100, 900, expected.begin() + 5242880);
    EXPECT_EQ(image.Bytes(0, image.Size()), expected);
    EXPECT_EQ(First(buffer, 3000), written);
    EXPECT_THAT(trace.Lines(),
                ElementsAre(GetLine(900), PieceLine(3146628, 3000, 100), DetectedLine(0),
                            StateLine(5), NoBlockLine(1), PieceLine(0, 2900, 1000), ZeroLine(1),
                            PieceLine(2097152, 1900, 1000), DetectedLine(2), StateLine(5),
                            PieceLine(5242880, 900, 900), DetectedLine(3), StateLine(5)));
}

TEST_F(PayloadData, WritingAbsentBlocksWritesNothing) {
    buffer = BufferOf(CBytes(1000, 0xAB));
    EXPECT_TRUE(Write(1000, 1000));
    EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
    EXPECT_EQ(image.Bytes(0, image.Size()), before);
    EXPECT_EQ(First(buffer, 1000), CBytes(1000, 0xAB));
}

TEST_F(PayloadData, WritesTheStartOfALargerBuffer) {
    buffer = BufferOf(CBytes(64, 0xAB));
    EXPECT_TRUE(Write(0, 20));
    EXPECT_EQ(image.Bytes(3 * MiB, 20), CBytes(20, 0xAB));
    EXPECT_EQ(image.Bytes(3 * MiB + 20, 20), Pattern(1, 3 * MiB + 20, 20));
    EXPECT_EQ(buffer.size, 64u);
}

TEST_F(PayloadData, ServesAStreamOfOneDirection) {
    CInputStream input(image);
    EXPECT_TRUE(RequestPayloadData(input, blocks, 0, 20, params, buffer, true));
    COutputStream output(image);
    EXPECT_TRUE(RequestPayloadData(output, blocks, 2000, 20, params, buffer, false));
    EXPECT_EQ(image.Bytes(2 * MiB, 20), Pattern(1, 3 * MiB, 20));
}

TEST_F(PayloadData, ReportsAStreamThatWritesElsewhere) {
    stream.Buffer().IgnorePositioning();
    buffer = BufferOf(CBytes(20, 0xAB));
    EXPECT_TRUE(Write(10, 20));
    EXPECT_EQ(image.Bytes(0, 20), CBytes(20, 0xAB));
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre(GetLine(10), PieceLine(3145738, 20, 20), DetectedLine(0), StateLine(5),
                    Line(2, "Write data. Failed to set possition \". Offset3145738\" <> \"0\"")));
}

TEST_F(PayloadData, BlockSizeDecidesNotTheSizeOfTheDisk) {
    params.virtdisksz = 10;
    EXPECT_TRUE(Read(2000, 20));
    EXPECT_EQ(First(buffer, 20), Pattern(1, 2 * MiB, 20));
}

}  // namespace
}  // namespace NVHDX
