#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#if __has_include(<rapidcheck/gtest.h>)
#include <rapidcheck/gtest.h>
#endif

#include "tests/blocks/naive_bat_walk.h"
#include "tests/support/bytes.h"
#include "vhdx_parser/blocks/bat_walk.h"

namespace NVHDX {
namespace {

using NTest::CNaiveWalk;
using NTest::CTraceCapture;
using NTest::Described;
using NTest::NaiveWalk;
using testing::IsEmpty;
using testing::SizeIs;

using CWords = std::vector<std::uint64_t>;

NTest::CBytes Bytes(const CWords& words) {
    NTest::CBytes bytes;
    for (const std::uint64_t word : words) {
        NTest::Put64(bytes, bytes.size(), word);
    }
    return bytes;
}

/// The library's walk over the words.
struct CWalked {
    CWalked(const CWords& words, std::uint32_t ratio, bool hasParent)
        : bytes(Bytes(words)),
          walk({bytes.data(), static_cast<std::uint32_t>(words.size())}, ratio, hasParent),
          success(walk.Run()) {}

    NTest::CBytes bytes;
    CBATWalk walk;
    bool success;
};

TEST(BATWalk, AnEmptyTableIsOneEmptyChunkWithoutAParent) {
    CWalked walked({}, 4, false);
    EXPECT_TRUE(walked.success);
    ASSERT_THAT(walked.walk.Chunks(), SizeIs(1));
    EXPECT_EQ(walked.walk.Chunks()[0].getCount(), 0u);
    EXPECT_FALSE(walked.walk.Chunks()[0].IsSectorBitmapPresent());
}

TEST(BATWalk, AnEmptyTableHasNoChunkWithAParent) {
    CWalked walked({}, 4, true);
    EXPECT_TRUE(walked.success);
    EXPECT_THAT(walked.walk.Chunks(), IsEmpty());
}

TEST(BATWalk, ALongChunkHasTheBlocksOfItsEntriesAndNoOthers) {
    for (const std::size_t count : {511u, 512u, 513u, 1023u, 1025u}) {
        CWords words(count);
        for (std::size_t i = 0; i < count; ++i) {
            words[i] = i << 20 | 6;
        }
        CWalked walked(words, 2048, false);
        ASSERT_TRUE(walked.success);
        ASSERT_THAT(walked.walk.Chunks(), SizeIs(1));
        const auto& blocks = walked.walk.Chunks()[0].getPayloadBlocks();
        ASSERT_THAT(blocks, SizeIs(count));
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(blocks[i].offset, i);
        }
        EXPECT_EQ(walked.walk.LargestOffsetIndex(), count - 1);
    }
}

TEST(BATWalk, TheEndOfTheTableClosesAChunkOfItsOwnAfterASectorBitmapEntry) {
    CWalked walked({0x900006, 0xA00006, 0}, 2, false);
    EXPECT_TRUE(walked.success);
    ASSERT_THAT(walked.walk.Chunks(), SizeIs(2));
    EXPECT_EQ(walked.walk.Chunks()[0].getCount(), 2u);
    EXPECT_EQ(walked.walk.Chunks()[1].getCount(), 0u);
}

TEST(BATWalk, TheEndOfTheTableAndOfAFullChunkAreOneStep) {
    CWalked walked({0x900006, 0xA00006}, 2, false);
    EXPECT_TRUE(walked.success);
    ASSERT_THAT(walked.walk.Chunks(), SizeIs(1));
    EXPECT_EQ(walked.walk.Chunks()[0].getCount(), 2u);
}

TEST(BATWalk, TheEndOfTheTableDropsAnOpenChunkWithAParent) {
    CWalked walked({0x900006, 0xA00006, 0, 0xB00006}, 2, true);
    EXPECT_TRUE(walked.success);
    ASSERT_THAT(walked.walk.Chunks(), SizeIs(1));
    EXPECT_EQ(walked.walk.LargestOffset(), 11u);
    EXPECT_EQ(walked.walk.LargestOffsetIndex(), 2u);
}

#if __has_include(<rapidcheck/gtest.h>)

/// Mostly allowed state bits and offsets small enough to tie, with anything in the reserved bits.
std::uint64_t AnyWord() {
    const auto stateBits = *rc::gen::weightedElement<std::uint64_t>(
        {{20, 0}, {20, 1}, {20, 2}, {20, 3}, {30, 6}, {6, 7}, {1, 4}, {1, 5}});
    const auto offset = *rc::gen::oneOf(rc::gen::inRange<std::uint64_t>(0, 6),
                                        rc::gen::inRange<std::uint64_t>(0, 0xFFFFFFFFFFF));
    const auto reserved = *rc::gen::inRange<std::uint64_t>(0, 0x20000);
    return offset << 20 | reserved << 3 | stateBits;
}

CWords AnyWords() {
    CWords words(*rc::gen::inRange<std::size_t>(0, 40));
    for (std::uint64_t& word : words) {
        word = AnyWord();
    }
    return words;
}

void ComparePlain(const CWalked& walked, const CNaiveWalk& expected, CBATWalk walk) {
    RC_ASSERT(walked.success == expected.success);
    if (!expected.success) {
        return;
    }
    RC_ASSERT(Described(walk.Chunks()) == expected.chunks);
    RC_ASSERT(walk.LargestOffset() == expected.largestOffset);
    RC_ASSERT(walk.LargestOffsetIndex() == expected.largestOffsetIndex);
}

RC_GTEST_PROP(BATWalkProperty, IsTheNaiveWalkWithAndWithoutAWriter, ()) {
    const CWords words = AnyWords();
    const auto ratio = *rc::gen::inRange<std::uint32_t>(1, 9);
    const bool hasParent = *rc::gen::arbitrary<bool>();
    const CNaiveWalk expected = NaiveWalk(words, ratio, hasParent);
    RC_CLASSIFY(expected.success, "loads");
    {
        CWalked silent(words, ratio, hasParent);
        ComparePlain(silent, expected, std::move(silent.walk));
    }
    CTraceCapture trace;
    CWalked traced(words, ratio, hasParent);
    ComparePlain(traced, expected, std::move(traced.walk));
    RC_ASSERT(trace.Lines() == expected.lines);
}

#endif

}  // namespace
}  // namespace NVHDX
