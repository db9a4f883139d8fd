#include "vhdx_parser/foundation/positioned_transfer.h"

#include <limits>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

namespace NTest {
namespace {

using namespace NStreamPortion;
using testing::ElementsAre;
using testing::IsEmpty;

/// The bytes 0 to 9.
CSparseImage Counting() {
    CSparseImage image;
    image.Write(0, CBytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    return image;
}

CBytes AllBytes(const CSparseImage& image) {
    return image.Bytes(0, image.Size());
}

constexpr std::uint64_t TooLarge = std::uint64_t{1} << 63;

TEST(IsGood, EndOfFileAloneIsNoFailure) {
    CInputStream stream(Counting());
    EXPECT_TRUE(IsGood(stream));
    stream.setstate(std::ios::eofbit);
    EXPECT_TRUE(IsGood(stream));
}

TEST(IsGood, FailAndBadBitsAreFailures) {
    CInputStream stream(Counting());
    stream.setstate(std::ios::failbit);
    EXPECT_FALSE(IsGood(stream));
    stream.clear(std::ios::badbit);
    EXPECT_FALSE(IsGood(stream));
}

TEST(ReadData, ReadsThePortionWithOneSeekAndOneRead) {
    CTraceCapture trace;
    CInputStream stream(Counting());
    CBytes block(4, 99);
    EXPECT_TRUE(ReadData(stream, 3, block.data(), 3));
    EXPECT_EQ(block, (CBytes{3, 4, 5, 99}));
    EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(3u));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(3, 3)));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(ReadData, ReadsUpToTheLastByte) {
    CInputStream stream(Counting());
    CBytes block(2);
    EXPECT_TRUE(ReadData(stream, 8, block.data(), 2));
    EXPECT_EQ(block, (CBytes{8, 9}));
}

TEST(ReadData, ReadOfNothingSucceedsAtTheEnd) {
    CInputStream stream(Counting());
    EXPECT_TRUE(ReadData(stream, 10, nullptr, 0));
}

TEST(ReadData, FailedSeekReadsNothing) {
    CTraceCapture trace;
    CInputStream stream(Counting());
    stream.Buffer().FailSeek(1);
    CBytes block(3);
    EXPECT_FALSE(ReadData(stream, 3, block.data(), 3));
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(ReadData, PositionThatNoStreamCanExpressIsAFailedSeek) {
    for (const std::uint64_t position : {TooLarge, std::numeric_limits<std::uint64_t>::max()}) {
        CInputStream stream(Counting());
        CBytes block(1);
        EXPECT_FALSE(ReadData(stream, position, block.data(), 1)) << position;
        EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
    }
}

TEST(ReadData, ShortReadFails) {
    CTraceCapture trace;
    CInputStream stream(Counting());
    CBytes block(3);
    EXPECT_FALSE(ReadData(stream, 8, block.data(), 3));
    EXPECT_TRUE(stream.fail());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(ReadData, ReadsAfterTheEndOfFileWasSeen) {
    CInputStream stream(Counting());
    stream.setstate(std::ios::eofbit);
    CBytes block(1);
    EXPECT_TRUE(ReadData(stream, 4, block.data(), 1));
    EXPECT_EQ(block, CBytes{4});
}

TEST(ReadData, FailedStreamStaysFailedAndUntouched) {
    CInputStream stream(Counting());
    stream.setstate(std::ios::failbit);
    CBytes block(1);
    EXPECT_FALSE(ReadData(stream, 4, block.data(), 1));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
}

TEST(ReadData, CountThatNoStreamCanExpressFailsLikeAShortRead) {
    CInputStream stream(Counting());
    CBytes block(1);
    EXPECT_FALSE(ReadData(stream, 4, block.data(), TooLarge));
    EXPECT_TRUE(stream.fail());
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
}

TEST(ReadBlock, ReadsFromWhereTheStreamStands) {
    CInputStream stream(Counting());
    CBytes block(2);
    EXPECT_TRUE(ReadBlock(stream, block.data(), 2));
    EXPECT_TRUE(ReadBlock(stream, block.data(), 2));
    EXPECT_EQ(block, (CBytes{2, 3}));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
}

TEST(WriteData, WritesThePortionWithOneSeekAndOneWrite) {
    CTraceCapture trace;
    CSparseImage image = Counting();
    COutputStream stream(image);
    const CBytes block{50, 51};
    EXPECT_TRUE(WriteData(stream, block.data(), 3, 2));
    EXPECT_EQ(AllBytes(image), (CBytes{0, 1, 2, 50, 51, 5, 6, 7, 8, 9}));
    EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(3u));
    EXPECT_THAT(stream.Buffer().Writes(), ElementsAre(Portion(3, 2)));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(WriteData, UnreachablePositionFailsAndWritesNothing) {
    CTraceCapture trace;
    CSparseImage image = Counting();
    COutputStream stream(image);
    stream.Buffer().RefuseSeekPastEnd();
    const CBytes block{50};
    EXPECT_FALSE(WriteData(stream, block.data(), 11, 1));
    EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(WriteData, PositionReachedElsewhereIsTracedAndTheBytesAreWrittenThere) {
    CTraceCapture trace;
    CSparseImage image = Counting();
    COutputStream stream(image);
    stream.seekp(2);
    stream.Buffer().IgnorePositioning();
    const CBytes block{50, 51};
    EXPECT_TRUE(WriteData(stream, block.data(), 7, 2));
    EXPECT_EQ(AllBytes(image), (CBytes{0, 1, 50, 51, 4, 5, 6, 7, 8, 9}));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(Line(2, "Write data. Failed to set possition \". Offset7\" <> \"2\"")));
}

/// Takes every position for reached and cannot tell where it stands.
class CPositionlessBuffer : public std::basic_streambuf<unsigned char> {
protected:
    pos_type seekpos(pos_type position, std::ios_base::openmode) override { return position; }
    std::streamsize xsputn(const unsigned char*, std::streamsize count) override { return count; }
};

TEST(WriteData, MismatchLineShowsSignedNumbers) {
    CTraceCapture trace;
    CPositionlessBuffer buffer;
    std::basic_ostream<unsigned char> stream(&buffer);
    const CBytes block{50};
    EXPECT_TRUE(WriteData(stream, block.data(), 0xFFFFFFFFFFFFFFF0, 1));
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre(Line(2, "Write data. Failed to set possition \". Offset-16\" <> \"-1\"")));
}

TEST(WriteData, ShortWriteFails) {
    CTraceCapture trace;
    CSparseImage image = Counting();
    COutputStream stream(image);
    stream.Buffer().FailWrite(1, 1);
    const CBytes block{50, 51};
    EXPECT_FALSE(WriteData(stream, block.data(), 3, 2));
    EXPECT_TRUE(stream.bad());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(WriteData, WriteOfNothingSucceeds) {
    CSparseImage image = Counting();
    COutputStream stream(image);
    EXPECT_TRUE(WriteData(stream, nullptr, 3, 0));
    EXPECT_EQ(AllBytes(image), AllBytes(Counting()));
}

TEST(WriteData, FailedStreamStaysFailedAndUntouched) {
    CSparseImage image = Counting();
    COutputStream stream(image);
    stream.setstate(std::ios::failbit);
    const CBytes block{50};
    EXPECT_FALSE(WriteData(stream, block.data(), 3, 1));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
}

TEST(WriteData, CountThatNoStreamCanExpressFailsAndWritesNothing) {
    CTraceCapture trace;
    CSparseImage image = Counting();
    COutputStream stream(image);
    const CBytes block{50};
    EXPECT_FALSE(WriteData(stream, block.data(), 3, TooLarge));
    EXPECT_TRUE(stream.fail());
    EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

/// Notes, at each flush of its own, what happened to another stream until then.
class CFlushWitness : public CTestStreamBuffer {
public:
    CFlushWitness(CSparseImage& image, const CTestStreamBuffer& watched)
        : CTestStreamBuffer(image), m_watched(watched) {}

    std::vector<std::size_t> seeksAtFlush;
    std::vector<std::size_t> writesAtFlush;

protected:
    int sync() override {
        seeksAtFlush.push_back(m_watched.Seeks().size());
        writesAtFlush.push_back(m_watched.Writes().size());
        return 0;
    }

private:
    const CTestStreamBuffer& m_watched;
};

TEST(WriteData, FlushesATiedStreamBeforeItSeeks) {
    CSparseImage image = Counting();
    COutputStream stream(image);
    CSparseImage tiedImage;
    CFlushWitness witness(tiedImage, stream.Buffer());
    std::basic_ostream<unsigned char> tied(&witness);
    stream.tie(&tied);
    const CBytes block{50};
    EXPECT_TRUE(WriteData(stream, block.data(), 3, 1));
    ASSERT_FALSE(witness.seeksAtFlush.empty());
    EXPECT_EQ(witness.seeksAtFlush.front(), 0u);
}

TEST(WriteData, FlushesAUnitBufferedStreamBetweenSeekAndWrite) {
    CSparseImage image = Counting();
    CFlushWitness buffer(image, buffer);
    std::basic_ostream<unsigned char> stream(&buffer);
    stream << std::unitbuf;
    const CBytes block{50};
    EXPECT_TRUE(WriteData(stream, block.data(), 3, 1));
    ASSERT_FALSE(buffer.seeksAtFlush.empty());
    EXPECT_EQ(buffer.seeksAtFlush.front(), 1u);
    EXPECT_EQ(buffer.writesAtFlush.front(), 0u);
    EXPECT_EQ(buffer.writesAtFlush.back(), 1u);
}

TEST(WriteData, DoesNotFlushAnyOtherStream) {
    CSparseImage image = Counting();
    COutputStream stream(image);
    const CBytes block{50};
    EXPECT_TRUE(WriteData(stream, block.data(), 3, 1));
    EXPECT_EQ(stream.Buffer().Flushes(), 0u);
}

TEST(WriteData, WritesAfterTheEndOfFileWasSeen) {
    CTraceCapture trace;
    CInputOutputStream stream(Counting());
    stream.setstate(std::ios::eofbit);
    const CBytes block{50};
    EXPECT_TRUE(WriteData(stream, block.data(), 3, 1));
    EXPECT_EQ(AllBytes(stream.Image()), (CBytes{0, 1, 2, 50, 4, 5, 6, 7, 8, 9}));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(WriteData, FailedStreamThatMayThrowIsLeftAlone) {
    COutputStream stream(Counting());
    stream.setstate(std::ios::failbit);
    try {
        stream.exceptions(std::ios::failbit);
    } catch (const std::ios_base::failure&) {
    }
    const CBytes block{50};
    EXPECT_FALSE(WriteData(stream, block.data(), 3, 1));
}

TEST(Transfer, ReadsFromAnInputStream) {
    CInputStream stream(Counting());
    CBytes block(2);
    EXPECT_TRUE(Transfer(stream, 6, block.data(), 2, true));
    EXPECT_EQ(block, (CBytes{6, 7}));
}

TEST(Transfer, WritesToAnOutputStream) {
    COutputStream stream(Counting());
    CBytes block{50, 51};
    EXPECT_TRUE(Transfer(stream, 8, block.data(), 2, false));
    EXPECT_EQ(AllBytes(stream.Image()), (CBytes{0, 1, 2, 3, 4, 5, 6, 7, 50, 51}));
}

TEST(Transfer, ServesBothDirectionsOfOneStream) {
    CInputOutputStream stream(Counting());
    CBytes block{50};
    EXPECT_TRUE(Transfer(stream, 8, block.data(), 1, false));
    block[0] = 0;
    EXPECT_TRUE(Transfer(stream, 8, block.data(), 1, true));
    EXPECT_EQ(block, CBytes{50});
}

TEST(Transfer, WrongDirectionFailsAndLeavesTheStreamAlone) {
    CTraceCapture trace;
    CInputStream input(Counting());
    COutputStream output(Counting());
    CBytes block{50};
    EXPECT_FALSE(Transfer(input, 1, block.data(), 1, false));
    EXPECT_FALSE(Transfer(output, 1, block.data(), 1, true));
    EXPECT_TRUE(input.good());
    EXPECT_TRUE(output.good());
    EXPECT_THAT(input.Buffer().Seeks(), IsEmpty());
    EXPECT_THAT(output.Buffer().Seeks(), IsEmpty());
    EXPECT_EQ(block, CBytes{50});
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(IsPastEnd, TellsPositionsBehindTheEnd) {
    CInputStream stream(Counting());
    EXPECT_FALSE(IsPastEnd(stream, 0));
    EXPECT_FALSE(IsPastEnd(stream, 9));
    EXPECT_FALSE(IsPastEnd(stream, 10));
    EXPECT_TRUE(IsPastEnd(stream, 11));
    EXPECT_TRUE(IsPastEnd(stream, std::numeric_limits<std::uint64_t>::max()));
}

TEST(IsPastEnd, LeavesTheStreamWhereItStood) {
    CInputStream stream(Counting());
    stream.seekg(4);
    EXPECT_TRUE(IsPastEnd(stream, 11));
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.Buffer().Position(), 4u);
}

TEST(IsPastEnd, StreamThatCannotTellItsSizeMayReachAnywhere) {
    CInputStream stream(Counting());
    stream.Buffer().FailSeek(1);
    EXPECT_FALSE(IsPastEnd(stream, 1000));
    EXPECT_TRUE(stream.good());
}

TEST(IsPastEnd, StreamThatDoesNotComeBackHasFailed) {
    CInputStream stream(Counting());
    stream.Buffer().FailSeek(2);
    EXPECT_FALSE(IsPastEnd(stream, 5));
    EXPECT_TRUE(stream.fail());
}

TEST(IsPastEnd, StreamWithoutABufferTellsNothing) {
    std::basic_istream<unsigned char> stream(nullptr);
    EXPECT_FALSE(IsPastEnd(stream, 1000));
}

/// 2 MiB and one byte, without content.
CSparseImage Large() {
    CSparseImage image;
    image.Resize(2 * MiB + 1);
    return image;
}

TEST(MayHold, SmallPortionsAreNotAskedFor) {
    CInputStream stream(Counting());
    EXPECT_TRUE(MayHold(stream, 1000, 1));
    EXPECT_TRUE(MayHold(stream, 1000, 1 * MiB));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
    EXPECT_TRUE(stream.good());
}

TEST(MayHold, LargePortionThatEndsWithTheStreamIsHeld) {
    CInputStream stream(Large());
    stream.seekg(7);
    EXPECT_TRUE(MayHold(stream, 1, 2 * MiB));
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.Buffer().Position(), 7u);
}

TEST(MayHold, LargePortionPastTheEndFailsAsItsReadWould) {
    for (const std::uint64_t position : {std::uint64_t{2}, 2 * MiB + 1, 2 * MiB + 2}) {
        CInputStream stream(Large());
        EXPECT_FALSE(MayHold(stream, position, 2 * MiB)) << position;
        EXPECT_TRUE(stream.fail());
        EXPECT_TRUE(stream.eof());
        EXPECT_FALSE(stream.bad());
        EXPECT_EQ(stream.Buffer().Position(), 0u);
        EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
    }
}

TEST(MayHold, SumOfPositionAndCountMayExceed64Bits) {
    CInputStream stream(Large());
    EXPECT_FALSE(MayHold(stream, 2 * MiB, std::numeric_limits<std::uint64_t>::max()));
    stream.clear();
    EXPECT_FALSE(MayHold(stream, std::numeric_limits<std::uint64_t>::max(), 2 * MiB));
}

TEST(MayHold, StreamThatCannotTellItsSizeMayHoldAnything) {
    CInputStream stream(Large());
    stream.Buffer().FailSeek(1);
    EXPECT_TRUE(MayHold(stream, 0, 100 * MiB));
    EXPECT_TRUE(stream.good());
}

TEST(MayHold, StreamThatDoesNotComeBackHoldsNothing) {
    CInputStream stream(Large());
    stream.Buffer().FailSeek(2);
    EXPECT_FALSE(MayHold(stream, 0, 2 * MiB));
    EXPECT_TRUE(stream.fail());
}

/// Can seek to its end, but not say where it stands.
class CLostBuffer final : public CTestStreamBuffer {
public:
    using CTestStreamBuffer::CTestStreamBuffer;

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override {
        return direction == std::ios_base::cur
                   ? pos_type(off_type(-1))
                   : CTestStreamBuffer::seekoff(offset, direction, which);
    }
};

TEST(MayHold, StreamThatCannotTellItsPositionIsNotMovedForTheQuestion) {
    CSparseImage image = Large();
    CLostBuffer buffer(image);
    std::basic_istream<unsigned char> stream(&buffer);
    ASSERT_TRUE(SeekInput(stream, 7));
    EXPECT_TRUE(MayHold(stream, 0, 100 * MiB));
    EXPECT_FALSE(IsPastEnd(stream, 100 * MiB));
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(buffer.Position(), 7u);
    EXPECT_THAT(buffer.Seeks(), ElementsAre(7u));
}

/// Throws at the n-th question of its position or its end, or order to go somewhere.
class CThrowingBuffer final : public CTestStreamBuffer {
public:
    CThrowingBuffer(CSparseImage& image, int throwingCall)
        : CTestStreamBuffer(image), m_untilThrow(throwingCall) {}

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override {
        ThrowWhenDue();
        return CTestStreamBuffer::seekoff(offset, direction, which);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        ThrowWhenDue();
        return CTestStreamBuffer::seekpos(position, which);
    }

private:
    void ThrowWhenDue() {
        if (--m_untilThrow == 0) {
            throw std::runtime_error("the device is gone");
        }
    }

    int m_untilThrow;
};

TEST(MayHold, BufferThatThrowsAtAQuestionMakesTheStreamBad) {
    for (const int question : {1, 2, 3}) {
        CSparseImage image = Large();
        CThrowingBuffer buffer(image, question);
        std::basic_istream<unsigned char> stream(&buffer);
        EXPECT_FALSE(MayHold(stream, 0, 2 * MiB)) << question;
        EXPECT_TRUE(stream.bad()) << question;
    }
}

TEST(MayHold, ExceptionOfABufferGetsOutWhereTheHostAskedForIt) {
    for (const int question : {1, 2, 3}) {
        CSparseImage image = Large();
        CThrowingBuffer buffer(image, question);
        std::basic_istream<unsigned char> stream(&buffer);
        stream.exceptions(std::ios_base::badbit);
        EXPECT_THROW(static_cast<void>(MayHold(stream, 0, 2 * MiB)), std::runtime_error)
            << question;
        EXPECT_TRUE(stream.bad()) << question;
    }
}

TEST(MayHold, ShortStreamThrowsOnlyWhereTheHostAskedForFailures) {
    CInputStream stream(Large());
    stream.exceptions(std::ios_base::failbit);
    EXPECT_THROW(static_cast<void>(MayHold(stream, 2, 2 * MiB)), std::ios_base::failure);
    EXPECT_FALSE(stream.bad());
}

TEST(IsPastEnd, BufferThatThrowsMakesTheStreamBad) {
    CSparseImage image = Counting();
    CThrowingBuffer buffer(image, 1);
    std::basic_istream<unsigned char> stream(&buffer);
    EXPECT_FALSE(IsPastEnd(stream, 1000));
    EXPECT_TRUE(stream.bad());
}

TEST(MayHold, StreamWithoutABufferHoldsNothing) {
    std::basic_istream<unsigned char> stream(nullptr);
    EXPECT_FALSE(MayHold(stream, 0, 2 * MiB));
}

}  // namespace
}  // namespace NTest
