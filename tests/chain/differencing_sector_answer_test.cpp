#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/differencing_merge.h>

#include "tests/chain/differencing_model.h"
#include "tests/support/bytes.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {
namespace {

using NTest::GiB;
using NTest::MakeBitmap;
using NTest::MakeFile;
using NTest::MiB;
using NTest::noOffset;
using testing::IsEmpty;

constexpr auto FullyPresent = CPayloadBlock::FullyPresent;
constexpr auto PartiallyPresent = CPayloadBlock::PartiallyPresent;
constexpr auto NotPresent = CPayloadBlock::NotPresent;

/// A base disk of 2 MiB blocks at 4 and 10 MiB of its file, with 512-byte sectors.
template <class TChar>
class GetDifferentialOf : public testing::Test {
protected:
    GetDifferentialOf() { SetBase(2 * MiB, 512, {{{4, FullyPresent}, {10, FullyPresent}}}); }

    void SetBase(std::uint64_t blockSize, std::uint32_t sectorSize,
                 const std::vector<std::vector<CPayloadBlock>>& chunks) {
        circuit.base = MakeFile<TChar>("base", blockSize, sectorSize, chunks);
        NTest::IndexBase(circuit);
    }

    CFileData<TChar>& Add(const std::vector<std::vector<CPayloadBlock>>& chunks,
                          const char* name = "diff", std::uint64_t blockSize = 2 * MiB,
                          std::uint32_t sectorSize = 512) {
        circuit.differencing.push_back(MakeFile<TChar>(name, blockSize, sectorSize, chunks));
        return circuit.differencing.back();
    }

    std::vector<CGetDifferentialResult<TChar>> Ask(std::uint64_t offset, std::uint64_t length) {
        std::vector<CGetDifferentialResult<TChar>> results;
        GetDifferential(results, offset, length, circuit);
        return results;
    }

    static void ExpectFound(const CGetDifferentialResult<TChar>& record,
                            const CFileData<TChar>& file, std::uint64_t offset,
                            std::uint64_t length = 512) {
        EXPECT_TRUE(record.found);
        EXPECT_EQ(record.path, file.path);
        EXPECT_EQ(record.offset, offset);
        EXPECT_EQ(record.length, length);
    }

    static void ExpectInBase(const CGetDifferentialResult<TChar>& record,
                             std::uint64_t length = 512) {
        EXPECT_FALSE(record.found);
        EXPECT_EQ(record.path, nullptr);
        EXPECT_EQ(record.offset, noOffset);
        EXPECT_EQ(record.length, length);
    }

    CFileDataCircuit<TChar> circuit;
    NTest::CTraceCapture trace;
};

using CCharacters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(GetDifferentialOf, CCharacters);

TYPED_TEST(GetDifferentialOf, ChainWithoutDifferencingFilesFindsNothing) {
    const auto results = this->Ask(4 * MiB, 1024);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectInBase(results[0]);
    this->ExpectInBase(results[1]);
    EXPECT_THAT(this->trace.Lines(), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, LastRecordCoversTheRest) {
    const auto results = this->Ask(4 * MiB, 1000);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectInBase(results[0], 512);
    this->ExpectInBase(results[1], 488);
}

TYPED_TEST(GetDifferentialOf, LengthOf0GivesNoRecord) {
    EXPECT_THAT(this->Ask(4 * MiB, 0), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, RecordsAreAppended) {
    std::vector<CGetDifferentialResult<TypeParam>> results(3);
    results[2].length = 77;
    GetDifferential(results, 4 * MiB, 512, this->circuit);
    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(results[2].length, 77U);
    this->ExpectInBase(results[3]);
}

TYPED_TEST(GetDifferentialOf, IndexThatNamesAPlaceBehindTheBlockFindsNothing) {
    this->circuit.baseBlocksByOffset[6] = {0, 0};  // that block ends there
    EXPECT_EQ(this->Ask(4 * MiB, 512).size(), 1U);
    EXPECT_THAT(this->Ask(6 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, SectorIsFoundAtItsPlaceInTheFile) {
    const auto& file = this->Add({{{0, NotPresent}, {20, FullyPresent}}});
    const auto results = this->Ask(11 * MiB + 512, 512);
    ASSERT_EQ(results.size(), 1U);
    this->ExpectFound(results[0], file, 21 * MiB + 512);
}

TYPED_TEST(GetDifferentialOf, OffsetInsideASectorCountsAsItsSector) {
    const auto& file = this->Add({{{20, FullyPresent}}});
    const auto results = this->Ask(4 * MiB + 1023, 600);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectFound(results[0], file, 20 * MiB + 512, 512);
    this->ExpectFound(results[1], file, 20 * MiB + 1024, 88);
}

TYPED_TEST(GetDifferentialOf, NewestFileThatHoldsTheSectorAnswers) {
    this->circuit.differencing.reserve(3);
    auto& newest = this->Add({{{20, PartiallyPresent}}}, "newest");
    auto& older = this->Add({{{30, PartiallyPresent}}}, "older");
    newest.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0, 2}));
    older.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0, 1}));
    const auto results = this->Ask(4 * MiB, 4 * 512);
    ASSERT_EQ(results.size(), 4U);
    this->ExpectFound(results[0], newest, 20 * MiB);
    this->ExpectFound(results[1], older, 30 * MiB + 512);
    this->ExpectFound(results[2], newest, 20 * MiB + 1024);
    this->ExpectInBase(results[3]);
}

TYPED_TEST(GetDifferentialOf, RangeGoesOnIntoTheChunksNextBlock) {
    const auto& file = this->Add({{{20, FullyPresent}, {40, FullyPresent}}});
    const auto results = this->Ask(6 * MiB - 512, 1024);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectFound(results[0], file, 22 * MiB - 512);
    this->ExpectFound(results[1], file, 40 * MiB);
}

TYPED_TEST(GetDifferentialOf, OffsetOutsideEveryFullyPresentBlockGivesNothing) {
    EXPECT_THAT(this->Ask(0, 512), IsEmpty());
    EXPECT_THAT(this->Ask(4 * MiB - 1, 512), IsEmpty());
    EXPECT_THAT(this->Ask(6 * MiB, 512), IsEmpty());
    EXPECT_THAT(this->Ask(12 * MiB, 512), IsEmpty());
    EXPECT_THAT(this->Ask(0xFFFFFFFFFFFFFFFF, 512), IsEmpty());
    EXPECT_THAT(this->trace.Lines(), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, BlockInAnotherStateIsNotInTheIndex) {
    this->SetBase(2 * MiB, 512, {{{4, CPayloadBlock::Undefined}, {8, PartiallyPresent}}});
    EXPECT_THAT(this->Ask(4 * MiB, 512), IsEmpty());
    EXPECT_THAT(this->Ask(8 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, BlockThatIsNotAtAMultipleOfItsSizeIsMissedInItsLaterPart) {
    this->SetBase(2 * MiB, 512, {{{5, FullyPresent}}});
    EXPECT_EQ(this->Ask(5 * MiB, 512).size(), 1U);
    EXPECT_THAT(this->Ask(6 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, IndexEntryWithoutBlockGivesNothing) {
    this->circuit.baseBlocksByOffset[6] = {0, 2};
    this->circuit.baseBlocksByOffset[8] = {1, 0};
    EXPECT_THAT(this->Ask(6 * MiB, 512), IsEmpty());
    EXPECT_THAT(this->Ask(8 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, BlockSizeUnder1MiBGivesNothing) {
    this->circuit.base.parameters.payloadblksz = MiB - 1;
    EXPECT_THAT(this->Ask(4 * MiB, 512), IsEmpty());
    this->circuit.base.parameters.payloadblksz = 0;
    EXPECT_THAT(this->Ask(4 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, SectorSizeOf0GivesNothing) {
    this->circuit.base.parameters.logsectsz = 0;
    EXPECT_THAT(this->Ask(4 * MiB, 512), IsEmpty());
}

TYPED_TEST(GetDifferentialOf, CountThatWraps32BitsGivesNothing) {
    EXPECT_THAT(this->Ask(4 * MiB, std::uint64_t{512} << 32), IsEmpty());
    EXPECT_EQ(this->Ask(4 * MiB, (std::uint64_t{512} << 32) + 1).size(), 1U);
}

TYPED_TEST(GetDifferentialOf, FileWithoutTheChunkOrTheBlockDoesNotHoldTheSector) {
    this->Add({});
    this->Add({{}});
    this->Add({{{20, PartiallyPresent}}});
    this->Add({{{20, FullyPresent}}}, "block size 0", 0);
    const auto results = this->Ask(4 * MiB, 512);
    ASSERT_EQ(results.size(), 1U);
    this->ExpectInBase(results[0]);
}

TYPED_TEST(GetDifferentialOf, FilesAreLocatedByTheirOwnGeometry) {
    const auto& file = this->Add({{{20, FullyPresent}, {30, FullyPresent}}}, "diff", MiB, 4096);
    const auto results = this->Ask(4 * MiB + 255 * 512, 1024);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectFound(results[0], file, 20 * MiB + 255 * 4096);
    this->ExpectFound(results[1], file, 30 * MiB);
}

TYPED_TEST(GetDifferentialOf, SectorsPastTheChunkWrapToItsStart) {
    this->SetBase(2 * GiB, 512, {{{0, NotPresent}, {2048, FullyPresent}}});
    const auto& file = this->Add({{{20, FullyPresent}}}, "diff", 2 * GiB);
    const auto results = this->Ask(4096 * MiB - 512, 1024);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectInBase(results[0]);
    this->ExpectFound(results[1], file, 20 * MiB);
}

TYPED_TEST(GetDifferentialOf, BitOfASectorPastTheChunkRaisesAfterTheRecordsBefore) {
    this->SetBase(2 * GiB, 512, {{{0, NotPresent}, {2048, FullyPresent}}});
    auto& file = this->Add({{{20, PartiallyPresent}}}, "diff", 2 * GiB);
    file.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0}));
    std::vector<CGetDifferentialResult<TypeParam>> results;
    try {
        GetDifferential(results, 4096 * MiB - 1024, 4096, this->circuit);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid array<T, N> subscript");
    }
    ASSERT_EQ(results.size(), 2U);
    this->ExpectInBase(results[1]);
}

TYPED_TEST(GetDifferentialOf, FileBeforeOneThatWouldRaiseAnswersWithoutRaising) {
    this->SetBase(2 * GiB, 512, {{{0, NotPresent}, {2048, FullyPresent}}});
    this->circuit.differencing.reserve(2);
    const auto& newest = this->Add({{{30, FullyPresent}}}, "newest", 2 * GiB);
    auto& older = this->Add({{{20, PartiallyPresent}}}, "older", 2 * GiB);
    older.blocks.chunks[0].SetSectorBitmap(MakeBitmap({0}));
    const auto results = this->Ask(4096 * MiB - 512, 1024);
    ASSERT_EQ(results.size(), 2U);
    this->ExpectFound(results[1], newest, 30 * MiB);
}

}  // namespace
}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
