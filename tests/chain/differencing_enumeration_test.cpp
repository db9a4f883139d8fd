#include <functional>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/differencing_merge.h>

#include "tests/chain/differencing_model.h"
#include "tests/support/bytes.h"
#include "tests/support/stop_at_every_call.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {
namespace {

using NTest::GiB;
using NTest::MakeBitmap;
using NTest::MakeFile;
using NTest::MiB;
using NTest::noOffset;
using NTest::Text;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto FullyPresent = CPayloadBlock::FullyPresent;
constexpr auto PartiallyPresent = CPayloadBlock::PartiallyPresent;
constexpr auto NotPresent = CPayloadBlock::NotPresent;

/// A chain whose base disk has one chunk with its first two blocks at 100 and 200 MiB; 1 MiB blocks
/// (2,048 sectors of 512 bytes).
template <class TChar>
class EnumerateDifferencesOf : public testing::Test {
protected:
    EnumerateDifferencesOf() {
        circuit.base =
            MakeFile<TChar>("base", MiB, 512, {{{100, FullyPresent}, {200, FullyPresent}}});
    }

    CFileData<TChar>& Add(const std::vector<std::vector<CPayloadBlock>>& chunks,
                          std::uint64_t blockSize = MiB, std::uint32_t sectorSize = 512,
                          const char* name = "diff") {
        circuit.differencing.push_back(MakeFile<TChar>(name, blockSize, sectorSize, chunks));
        return circuit.differencing.back();
    }

    static NTest::CRun<TChar> Run(std::uint64_t baseOffset, std::uint64_t offset,
                                  std::uint64_t length, const char* name = "diff") {
        return {baseOffset, Text<TChar>(name), offset, length};
    }

    std::vector<NTest::CRun<TChar>> Runs() {
        std::vector<NTest::CRun<TChar>> runs;
        EXPECT_TRUE(EnumerateDifferences(circuit, NTest::RunReporter<TChar>([&](const auto& run) {
                                             runs.push_back(run);
                                             return true;
                                         })));
        return runs;
    }

    void ExpectStopAtEveryRun(const std::vector<NTest::CRun<TChar>>& all) {
        NTest::ExpectStopAtEveryCall(all, false, [this](const auto& report) {
            return EnumerateDifferences(circuit, NTest::RunReporter<TChar>(report));
        });
    }

    CFileDataCircuit<TChar> circuit;
};

using CCharacters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(EnumerateDifferencesOf, CCharacters);

TYPED_TEST(EnumerateDifferencesOf, ChainWithoutDifferencingFilesNeverCalls) {
    EXPECT_THAT(this->Runs(), IsEmpty());
}

TYPED_TEST(EnumerateDifferencesOf, AbsentBlocksGiveNoRun) {
    this->Add({{{0, NotPresent}, {0, CPayloadBlock::Zero}, {0, CPayloadBlock::Unmapped}}});
    EXPECT_THAT(this->Runs(), IsEmpty());
}

TYPED_TEST(EnumerateDifferencesOf, PresentBlockIsOneRunWithItsPlaceInTheBase) {
    this->Add({{{0, NotPresent}, {10, FullyPresent}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(200 * MiB, 10 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, UndefinedBlockCountsAsPresent) {
    this->Add({{{10, CPayloadBlock::Undefined}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, BlocksThatFollowOneAnotherInTheFileAreOneRun) {
    this->Add({{{10, FullyPresent}, {11, FullyPresent}, {12, FullyPresent}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, 3 * MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, FirstSectorElsewhereIsCountedIntoTheRunThatItEnds) {
    this->Add({{{10, FullyPresent}, {20, FullyPresent}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, MiB + 512),
                                          this->Run(200 * MiB + 512, 20 * MiB + 512, MiB - 512)));
}

TYPED_TEST(EnumerateDifferencesOf, SingleSectorElsewhereIsNotReportedItself) {
    this->Add({{{10, FullyPresent}, {20, FullyPresent}}}, 512);
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, 1024)));
}

TYPED_TEST(EnumerateDifferencesOf, ThirdSectorAfterAnEndedRunStartsANewOne) {
    this->Add({{{10, FullyPresent}, {20, FullyPresent}, {30, FullyPresent}}}, 512);
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, 1024),
                                          this->Run(100 * MiB + 1024, 30 * MiB, 512)));
}

TYPED_TEST(EnumerateDifferencesOf, BitsAreReadMostSignificantFirst) {
    auto& file = this->Add({{{10, PartiallyPresent}}});
    auto bitmap = MakeBitmap({});
    bitmap->bits[0] = 0x80;
    bitmap->bits[1] = 0x01;
    file.blocks.chunks[0].SetSectorBitmap(bitmap);
    EXPECT_THAT(this->Runs(),
                ElementsAre(this->Run(100 * MiB, 10 * MiB, 512),
                            this->Run(100 * MiB + 15 * 512, 10 * MiB + 15 * 512, 512)));
}

TYPED_TEST(EnumerateDifferencesOf, RunsOfBitsCrossWordsAndBlocks) {
    auto& file = this->Add({{{10, PartiallyPresent}, {11, PartiallyPresent}}});
    auto bitmap = MakeBitmap({});
    std::fill(bitmap->bits.begin() + 1, bitmap->bits.begin() + 300, std::uint8_t{0xFF});
    file.blocks.chunks[0].SetSectorBitmap(bitmap);
    EXPECT_THAT(this->Runs(),
                ElementsAre(this->Run(100 * MiB + 8 * 512, 10 * MiB + 8 * 512, 299 * 8 * 512)));
}

TYPED_TEST(EnumerateDifferencesOf, BitsOfAFullyPresentBlockDoNotMatter) {
    auto& file = this->Add({{{10, FullyPresent}, {0, NotPresent}}});
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({2048}));
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, PartiallyPresentBlockWithoutBitmapIsAbsent) {
    this->Add({{{10, PartiallyPresent}, {11, FullyPresent}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(200 * MiB, 11 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, LastSectorOfAChunkEndsTheRun) {
    this->circuit.base = MakeFile<TypeParam>("base", 2 * GiB, 512, {{}, {}});
    this->Add({{{1000, FullyPresent}, {3048, FullyPresent}},
               {{5096, FullyPresent}, {7144, FullyPresent}}},
              2 * GiB);
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 1000 * MiB, 4 * GiB),
                                          this->Run(noOffset, 5096 * MiB, 4 * GiB)));
}

TYPED_TEST(EnumerateDifferencesOf, LastSectorElsewhereIsReportedOnceWithTheRun) {
    this->Add({{{10, FullyPresent}, {9000, FullyPresent}}}, 4 * GiB - 512);
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, 4 * GiB)));
}

TYPED_TEST(EnumerateDifferencesOf, LastSectorAloneIsARun) {
    auto& file = this->Add({{{10, PartiallyPresent}}}, 4 * GiB - 1);
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({8388607}));
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 10 * MiB + 4 * GiB - 512, 512)));
}

TYPED_TEST(EnumerateDifferencesOf, PositionsOfLargeSectorsWrapAt4GiB) {
    this->circuit.base = MakeFile<TypeParam>("base", MiB, 4096, {{{100, FullyPresent}}});
    this->Add({{{10, FullyPresent}}}, MiB, 4096);
    const auto run = this->Run(100 * MiB, 10 * MiB, MiB);
    EXPECT_THAT(this->Runs(), ElementsAre(run, run, run, run, run, run, run, run));
}

TYPED_TEST(EnumerateDifferencesOf, BlockThatTheWrapCutsOffIsContinuedByTheFirst) {
    // 4 GiB are 2.67 blocks of 1.5 GiB: the third one ends at the wrap after 1 GiB.
    this->Add({{{5096, FullyPresent}, {0, NotPresent}, {1000, FullyPresent}}}, 1536 * MiB, 1024);
    this->circuit.base = MakeFile<TypeParam>("base", 1536 * MiB, 1024, {{}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 5096 * MiB, 1536 * MiB),
                                          this->Run(noOffset, 1000 * MiB, GiB + 1024),
                                          this->Run(noOffset, 5096 * MiB + 1024, 1536 * MiB - 1024),
                                          this->Run(noOffset, 1000 * MiB, GiB)));
}

TYPED_TEST(EnumerateDifferencesOf, RunWhoseStartTheBaseDoesNotHoldHasNoBaseOffset) {
    this->circuit.base = MakeFile<TypeParam>(
        "base", MiB, 512, {{{0, NotPresent}, {0, CPayloadBlock::Zero}, {5, PartiallyPresent}}});
    this->Add({{{10, FullyPresent},
                {0, NotPresent},
                {12, FullyPresent},
                {0, NotPresent},
                {14, FullyPresent}}});
    EXPECT_THAT(this->Runs(),
                ElementsAre(this->Run(noOffset, 10 * MiB, MiB), this->Run(noOffset, 12 * MiB, MiB),
                            this->Run(noOffset, 14 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, BaseIsLocatedByItsOwnGeometry) {
    this->circuit.base =
        MakeFile<TypeParam>("base", 2 * MiB, 4096, {{{100, FullyPresent}, {200, FullyPresent}}});
    auto& file = this->Add({{{10, PartiallyPresent}}});
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({3, 600}));
    EXPECT_THAT(this->Runs(),
                ElementsAre(this->Run(100 * MiB + 3 * 4096, 10 * MiB + 3 * 512, 512),
                            this->Run(200 * MiB + 88 * 4096, 10 * MiB + 600 * 512, 512)));
}

TYPED_TEST(EnumerateDifferencesOf, EveryFileIsWalkedByItselfNewestFirstChunkByChunk) {
    this->circuit.base = MakeFile<TypeParam>("base", MiB, 512, {{}, {}});
    this->Add({{{10, FullyPresent}}, {{11, FullyPresent}}}, MiB, 512, "newest");
    this->Add({{{20, FullyPresent}}, {{21, FullyPresent}}}, MiB, 512, "older");
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 10 * MiB, MiB, "newest"),
                                          this->Run(noOffset, 20 * MiB, MiB, "older"),
                                          this->Run(noOffset, 11 * MiB, MiB, "newest"),
                                          this->Run(noOffset, 21 * MiB, MiB, "older")));
}

TYPED_TEST(EnumerateDifferencesOf, ChunksThatAFileLacksAreAbsentAndThoseThatTheBaseLacksUnread) {
    this->circuit.base = MakeFile<TypeParam>("base", MiB, 512, {{}, {}});
    this->Add({}, MiB, 512, "none");
    this->Add({{{20, FullyPresent}}}, MiB, 512, "one");
    this->Add({{}, {}, {{30, FullyPresent}}}, MiB, 512, "three");
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 20 * MiB, MiB, "one")));
}

TYPED_TEST(EnumerateDifferencesOf, CallbackThatReturnsFalseStopsEverything) {
    this->Add({{{10, FullyPresent}, {20, FullyPresent}, {30, FullyPresent}}});
    this->Add({{{10, FullyPresent}}});
    auto& partial = this->Add({{{40, PartiallyPresent}}});
    partial.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0, 2, 4, 8388607}));
    const auto all = this->Runs();
    ASSERT_EQ(all.size(), 7U);
    this->ExpectStopAtEveryRun(all);
}

TYPED_TEST(EnumerateDifferencesOf, StopsAtARunThatClearBitsOfTheNextBlockEnd) {
    auto& file = this->Add({{{10, FullyPresent}, {20, PartiallyPresent}}});
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({2050, 2060}));
    const auto all = this->Runs();
    ASSERT_THAT(all, ElementsAre(this->Run(100 * MiB, 10 * MiB, MiB),
                                 this->Run(200 * MiB + 1024, 20 * MiB + 1024, 512),
                                 this->Run(200 * MiB + 6144, 20 * MiB + 6144, 512)));
    this->ExpectStopAtEveryRun(all);
}

TYPED_TEST(EnumerateDifferencesOf, PathIsTheFilesAgainAfterACallbackTookIt) {
    auto& file = this->Add({{{10, PartiallyPresent}}});
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0, 2, 4}));
    std::vector<std::shared_ptr<std::basic_string<TypeParam>>> taken;
    EXPECT_TRUE(EnumerateDifferences(
        this->circuit, [&](std::uint64_t, std::shared_ptr<std::basic_string<TypeParam>>& path,
                           std::uint64_t, std::uint64_t) {
            taken.push_back(std::move(path));
            return true;
        }));
    EXPECT_THAT(taken, ElementsAre(file.path, file.path, file.path));
}

TYPED_TEST(EnumerateDifferencesOf, EmptyCallbackRaisesAtTheFirstRun) {
    using CCallback =
        std::function<bool(std::uint64_t, std::shared_ptr<std::basic_string<TypeParam>>&,
                           std::uint64_t, std::uint64_t)>;
    this->Add({{{0, NotPresent}}});
    EXPECT_TRUE(EnumerateDifferences(this->circuit, CCallback()));
    this->Add({{{10, FullyPresent}}});
    EXPECT_THROW(static_cast<void>(EnumerateDifferences(this->circuit, CCallback())),
                 std::bad_function_call);
}

TYPED_TEST(EnumerateDifferencesOf, BlockSizeOf0MeansAbsent) {
    this->Add({{{10, FullyPresent}}}, 0);
    EXPECT_THAT(this->Runs(), IsEmpty());
    this->circuit.base.parameters.payloadblksz = 0;
    this->Add({{{10, FullyPresent}}});
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(noOffset, 10 * MiB, MiB)));
}

TYPED_TEST(EnumerateDifferencesOf, SectorSizeOf0GivesRunsOfNoLength) {
    this->Add({{{10, FullyPresent}}}, MiB, 0);
    EXPECT_THAT(this->Runs(), ElementsAre(this->Run(100 * MiB, 10 * MiB, 0)));
}

}  // namespace
}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
