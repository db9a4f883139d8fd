#include "vhdx_parser/foundation/stream_portion.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

namespace NTest {
namespace {

using NStreamPortion::IteratePositions;
using NStreamPortion::SelectActual;
using testing::ElementsAre;
using testing::IsEmpty;

struct CRecord {
    unsigned char valid;
    unsigned char number;
    unsigned char rest[6];
};

using CContainer = NStreamPortion::CDynamicContainer<CRecord>;
using CStep = NStreamPortion::CStep<CRecord>;

constexpr std::array<std::uint64_t, 2> Positions = {100, 200};

/// A record at 100, a record at 200, and nothing behind.
CSparseImage Records(CRecord first, CRecord second) {
    CSparseImage image;
    image.Write(100, CBytes{first.valid, first.number});
    image.Write(200, CBytes{second.valid, second.number});
    image.Resize(208);
    return image;
}

bool IsValid(const CContainer& candidate) {
    return candidate.data->valid == 1;
}
bool HasLargerNumber(const CContainer& candidate, const CContainer& actual) {
    return candidate.data->number > actual.data->number;
}
bool Never(const CContainer&, const CContainer&) {
    return false;
}

/// Collects the numbers of the records that it is called with.
CStep Collect(std::vector<int>& numbers) {
    return [&numbers](bool&, CContainer& candidate) {
        numbers.push_back(candidate.data->number);
        return true;
    };
}

TEST(DynamicContainer, StartsWithoutABlockAndWithTheSizeOfItsRecord) {
    const CContainer container;
    EXPECT_EQ(container.data, nullptr);
    EXPECT_EQ(container.size, 8u);
}

TEST(DynamicContainer, IsMovedNeverCopied) {
    static_assert(!std::is_copy_constructible_v<CContainer>);
    CContainer source;
    source.Allocate();
    CRecord* const block = source.data.get();
    const CContainer target = std::move(source);
    EXPECT_EQ(target.data.get(), block);
    EXPECT_EQ(source.data, nullptr);
}

TEST(DynamicContainer, AllocateKeepsABlockThatIsThere) {
    CContainer container;
    container.Allocate();
    CRecord* const block = container.data.get();
    container.data->number = 7;
    container.Allocate();
    EXPECT_EQ(container.data.get(), block);
    EXPECT_EQ(container.data->number, 7);
}

TEST(IteratePositions, CallsTheStepForEachPositionInTheOrderGiven) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    std::vector<int> numbers;
    EXPECT_TRUE(IteratePositions<CRecord>({200, 100}, stream, Collect(numbers)));
    EXPECT_THAT(numbers, ElementsAre(20, 10));
    EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(200u, 100u));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(200, 8), Portion(100, 8)));
}

TEST(IteratePositions, GivesTheStepTheFlagSetAndAContainerOfTheRecordsSize) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    int calls = 0;
    EXPECT_TRUE(
        IteratePositions<CRecord>(Positions, stream, [&](bool& goOn, CContainer& candidate) {
            EXPECT_TRUE(goOn);
            EXPECT_EQ(candidate.size, 8u);
            ++calls;
            return true;
        }));
    EXPECT_EQ(calls, 2);
}

TEST(IteratePositions, EndsSuccessfullyWhenTheStepClearsTheFlag) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream, [](bool& goOn, CContainer&) {
        goOn = false;
        return true;
    }));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(100, 8)));
}

TEST(IteratePositions, FailsWhenTheStepReturnsFalse) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    EXPECT_FALSE(
        IteratePositions<CRecord>(Positions, stream, [](bool&, CContainer&) { return false; }));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(100, 8)));
}

TEST(IteratePositions, FailsWhenTheStepReturnsFalseAndClearsTheFlag) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    EXPECT_FALSE(IteratePositions<CRecord>(Positions, stream, [](bool& goOn, CContainer&) {
        goOn = false;
        return false;
    }));
}

TEST(IteratePositions, FirstPositionPastTheEndFailsWithoutCallingTheStep) {
    for (const bool refusesSeek : {false, true}) {
        CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
        if (refusesSeek) {
            stream.Buffer().RefuseSeekPastEnd();
        }
        std::vector<int> numbers;
        EXPECT_FALSE(IteratePositions<CRecord>({1000, 100}, stream, Collect(numbers)));
        EXPECT_THAT(numbers, IsEmpty());
    }
}

TEST(IteratePositions, FailedSeekReadsNothing) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    stream.Buffer().FailSeek(2);
    std::vector<int> numbers;
    EXPECT_FALSE(IteratePositions<CRecord>(Positions, stream, Collect(numbers)));
    EXPECT_THAT(numbers, ElementsAre(10));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(100, 8)));
}

TEST(IteratePositions, GivesAFreshBlockAfterTheStepTookOne) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    std::vector<CContainer> taken;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream, [&](bool&, CContainer& candidate) {
        taken.push_back(std::move(candidate));
        return true;
    }));
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0].data->number, 10);
    EXPECT_EQ(taken[1].data->number, 20);
}

TEST(IteratePositions, ReadsOverTheBlockThatTheStepLeft) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    std::vector<const CRecord*> blocks;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream, [&](bool&, CContainer& candidate) {
        blocks.push_back(candidate.data.get());
        return true;
    }));
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0], blocks[1]);
}

TEST(IteratePositions, WithoutAStepEndsAsABadFunctionCall) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    EXPECT_THROW(static_cast<void>(IteratePositions<CRecord>(Positions, stream, nullptr)),
                 std::bad_function_call);
}

TEST(IteratePositions, LetsAnExceptionOfTheStepPass) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    const CStep step = [](bool&, CContainer&) -> bool { throw std::length_error("step"); };
    EXPECT_THROW(static_cast<void>(IteratePositions<CRecord>(Positions, stream, step)),
                 std::length_error);
}

TEST(IteratePositions, TracesNothing) {
    CTraceCapture trace;
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    std::vector<int> numbers;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream, Collect(numbers)));
    EXPECT_FALSE(IteratePositions<CRecord>({1000, 2000}, stream, Collect(numbers)));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(SelectActual, PreferredRecordReplacesTheFirst) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    CContainer actual;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream,
                                          SelectActual<CRecord>(actual, IsValid, HasLargerNumber)));
    ASSERT_NE(actual.data, nullptr);
    EXPECT_EQ(actual.data->number, 20);
}

TEST(SelectActual, FirstRecordStaysWhenThePreferenceNeverSaysTrue) {
    CInputStream stream(Records({1, 10, {}}, {1, 20, {}}));
    CContainer actual;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream,
                                          SelectActual<CRecord>(actual, IsValid, Never)));
    ASSERT_NE(actual.data, nullptr);
    EXPECT_EQ(actual.data->number, 10);
}

TEST(SelectActual, TwoInvalidRecordsLeaveNoneAndTheSearchSucceeds) {
    CInputStream stream(Records({0, 10, {}}, {0, 20, {}}));
    CContainer actual;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream,
                                          SelectActual<CRecord>(actual, IsValid, HasLargerNumber)));
    EXPECT_EQ(actual.data, nullptr);
}

TEST(SelectActual, ValidRecordAfterAnInvalidOneIsTaken) {
    CInputStream stream(Records({0, 30, {}}, {1, 20, {}}));
    CContainer actual;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream,
                                          SelectActual<CRecord>(actual, IsValid, HasLargerNumber)));
    ASSERT_NE(actual.data, nullptr);
    EXPECT_EQ(actual.data->number, 20);
}

TEST(SelectActual, InvalidRecordIsNotCompared) {
    CInputStream stream(Records({1, 10, {}}, {0, 20, {}}));
    CContainer actual;
    EXPECT_TRUE(IteratePositions<CRecord>(Positions, stream,
                                          SelectActual<CRecord>(actual, IsValid, HasLargerNumber)));
    ASSERT_NE(actual.data, nullptr);
    EXPECT_EQ(actual.data->number, 10);
}

TEST(SelectActual, ShortReadOfTheSecondFailsAndKeepsTheFirst) {
    CSparseImage image = Records({1, 10, {}}, {1, 20, {}});
    image.Resize(207);
    CInputStream stream(image);
    CContainer actual;
    EXPECT_FALSE(IteratePositions<CRecord>(
        Positions, stream, SelectActual<CRecord>(actual, IsValid, HasLargerNumber)));
    ASSERT_NE(actual.data, nullptr);
    EXPECT_EQ(actual.data->number, 10);
}

TEST(SelectActual, StepMovesTheBlockThenExchangesBlocks) {
    CContainer actual;
    const CStep step = SelectActual<CRecord>(actual, IsValid, HasLargerNumber);
    bool goOn = true;

    CContainer candidate;
    candidate.Allocate();
    *candidate.data = {1, 10, {}};
    const CRecord* const first = candidate.data.get();
    EXPECT_TRUE(step(goOn, candidate));
    EXPECT_EQ(actual.data.get(), first);
    EXPECT_EQ(candidate.data, nullptr);

    candidate.Allocate();
    *candidate.data = {1, 20, {}};
    const CRecord* const second = candidate.data.get();
    EXPECT_TRUE(step(goOn, candidate));
    EXPECT_EQ(actual.data.get(), second);
    EXPECT_EQ(candidate.data.get(), first);
    EXPECT_TRUE(goOn);
}

TEST(SelectActual, LeavesTheFlagAsItIs) {
    CContainer actual;
    CContainer candidate;
    candidate.Allocate();
    *candidate.data = {0, 10, {}};
    bool goOn = false;
    EXPECT_TRUE(SelectActual<CRecord>(actual, IsValid, Never)(goOn, candidate));
    EXPECT_FALSE(goOn);
}

}  // namespace
}  // namespace NTest
