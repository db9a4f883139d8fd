#include <filesystem>
#include <ios>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/byte_stream.h>
#include <vhdx_parser/differencing_merge.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {
namespace {

using NTest::CBytes;
using NTest::CImageBuilder;
using NTest::CTraceCapture;
using NTest::Line;
using NTest::MiB;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Two chunks of 4,096 blocks of 1 MiB.
CImageBuilder Base() {
    return CImageBuilder().VirtualSize(8192 * MiB);
}
CImageBuilder Snapshot() {
    return CImageBuilder().VirtualSize(8192 * MiB).Differencing();
}

/// A folder of disk files, opened into a chain as a chain builder opens them.
template <class TChar>
class PrepareOf : public testing::Test {
protected:
    using CFile = CFileObject<TChar>;

    std::shared_ptr<CFile> Open(const std::string& name, const CImageBuilder& image) {
        const std::filesystem::path path = folder / name;
        image.Build().WriteTo(path);
        auto file = std::make_shared<CFile>();
        NByteStream::Imbue(file->stream);
        file->stream.open(path, std::ios::in | std::ios::binary);
        EXPECT_TRUE(file->accessor.Entry(file->stream));
        file->path = std::make_shared<std::basic_string<TChar>>(path.string<TChar>());
        return file;
    }

    void SetBase(const CImageBuilder& image) { source.base = Open("base.vhdx", image); }

    /// The snapshot's file stays open, and its path names another one from now on.
    void NameAnotherFile(const std::string& name) {
        *source.snapshots[0]->path = (folder / name).string<TChar>();
    }

    void Add(const std::string& name, const CImageBuilder& image) {
        source.snapshots.push_back(Open(name, image));
    }

    /// `Prepare` fails with these lines of failure as the last thing it traces.
    void ExpectFailure(const std::vector<NTest::CTraceLine>& lines) {
        CTraceCapture trace;
        EXPECT_FALSE(Prepare(circuit, source));
        EXPECT_EQ(trace.LinesAt(3), lines);
        EXPECT_EQ(trace.Lines().back(), lines.back());
    }

    NTest::CTemporaryFolder folder;
    NSnapshotCircuit::CSource<std::shared_ptr<CFile>> source;
    CFileDataCircuit<TChar> circuit;
};

using CCharacters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(PrepareOf, CCharacters);

TYPED_TEST(PrepareOf, LoadsEveryFileNewestFirstAndSharesThePaths) {
    this->SetBase(Base().PayloadBlock(0, 6, 10));
    this->Add("b.avhdx", Snapshot().PayloadBlock(1, 6, 20));
    this->Add("a.avhdx", Snapshot().PayloadBlock(2, 6, 30));
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    const auto& prepared = this->circuit;
    EXPECT_EQ(prepared.base.path, this->source.base->path);
    EXPECT_EQ(prepared.base.parameters.payloadblksz, MiB);
    EXPECT_EQ(prepared.base.blocks.chunks.at(0).GetPayloadBlock(0)->offset, 10U);
    ASSERT_EQ(prepared.differencing.size(), 2U);
    EXPECT_EQ(prepared.differencing[0].path, this->source.snapshots[0]->path);
    EXPECT_TRUE(prepared.differencing[0].parameters.bDifferencing);
    EXPECT_EQ(prepared.differencing[0].blocks.chunks.at(0).GetPayloadBlock(1)->offset, 20U);
    EXPECT_EQ(prepared.differencing[1].path, this->source.snapshots[1]->path);
    EXPECT_EQ(prepared.differencing[1].blocks.chunks.at(0).GetPayloadBlock(2)->offset, 30U);
}

TYPED_TEST(PrepareOf, IndexesTheFullyPresentBlocksOfTheBaseByTheirPlace) {
    // State bits 7 stand for "partially present", 1 for "undefined".
    this->SetBase(Base()
                      .PayloadBlock(0, 6, 50)
                      .PayloadBlock(1, 1, 60)
                      .PayloadBlock(4096, 6, 40)
                      .PayloadBlock(4099, 6, 70));
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    EXPECT_THAT(this->circuit.baseBlocksByOffset,
                ElementsAre(Pair(40, Pair(1, 0)), Pair(50, Pair(0, 0)), Pair(70, Pair(1, 3))));
    EXPECT_THAT(this->circuit.differencing, IsEmpty());
}

TYPED_TEST(PrepareOf, LoadsThePresentSectorBitmapsOfTheDifferencingFiles) {
    this->SetBase(Base());
    const CImageBuilder image = Snapshot()
                                    .AllocateSectorBitmap(0, CBytes{0x80, 0x01})
                                    .AllocateSectorBitmap(1, CBytes{0xFF});
    this->Add("a.avhdx", image);
    this->Add("b.avhdx", Snapshot().AllocateSectorBitmap(1, CBytes{0x55}));
    CTraceCapture trace;
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    const auto& newest = this->circuit.differencing[0].blocks.chunks;
    const auto& older = this->circuit.differencing[1].blocks.chunks;
    ASSERT_NE(newest[0].getSectorBitmap(), nullptr);
    EXPECT_EQ(newest[0].getSectorBitmap()->bits[0], 0x80);
    EXPECT_EQ(newest[0].getSectorBitmap()->bits[1], 0x01);
    EXPECT_EQ(newest[0].getSectorBitmap()->bits[1048575], 0);
    ASSERT_NE(newest[1].getSectorBitmap(), nullptr);
    EXPECT_EQ(newest[1].getSectorBitmap()->bits[0], 0xFF);
    EXPECT_EQ(older[0].getSectorBitmap(), nullptr);
    ASSERT_NE(older[1].getSectorBitmap(), nullptr);
    EXPECT_EQ(older[1].getSectorBitmap()->bits[0], 0x55);
    const auto requestLine = [](std::uint64_t position) {
        return Line(1, "Request sector bitmap data with offset \"" + std::to_string(position) +
                           "\",  size \"1048576\"");
    };
    const std::vector<NTest::CTraceLine> lines = trace.LinesAt(1);
    const std::vector<NTest::CTraceLine> lastThree(lines.end() - 3, lines.end());
    EXPECT_THAT(lastThree, ElementsAre(requestLine(image.BitmapPosition(0)),
                                       requestLine(image.BitmapPosition(1)), requestLine(4 * MiB)));
    EXPECT_THAT(trace.LinesAt(3), IsEmpty());
}

TYPED_TEST(PrepareOf, ReadsBitmapsFromTheFileThatThePathNamesNow) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot().AllocateSectorBitmap(0, CBytes{0x11}));
    Snapshot().AllocateSectorBitmap(0, CBytes{0x22}).Build().WriteTo(this->folder / "b.avhdx");
    this->NameAnotherFile("b.avhdx");
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    EXPECT_EQ(this->circuit.differencing[0].blocks.chunks[0].getSectorBitmap()->bits[0], 0x22);
}

TYPED_TEST(PrepareOf, DoesNotLoadBitmapsOfTheBase) {
    this->SetBase(Snapshot().AllocateSectorBitmap(0, CBytes{0x11}));
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    EXPECT_EQ(this->circuit.base.blocks.chunks[0].getSectorBitmap(), nullptr);
}

TYPED_TEST(PrepareOf, ChunksThatClaimOnePlaceShareOneBitmap) {
    this->SetBase(Base());
    CImageBuilder image = Snapshot().AllocateSectorBitmap(0, CBytes{0x11});
    this->Add("a.avhdx", image.SectorBitmapBlock(1, 6, image.BitmapPosition(0) / MiB));
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    const auto& chunks = this->circuit.differencing[0].blocks.chunks;
    ASSERT_NE(chunks[0].getSectorBitmap(), nullptr);
    EXPECT_EQ(chunks[0].getSectorBitmap(), chunks[1].getSectorBitmap());
}

TYPED_TEST(PrepareOf, BaseWhoseBlocksDoNotLoadFails) {
    this->SetBase(Base().BatLength(8));
    CTraceCapture trace;
    EXPECT_FALSE(Prepare(this->circuit, this->source));
    EXPECT_EQ(trace.Lines().back(), Line(3, "bad block loading"));
}

TYPED_TEST(PrepareOf, DifferencingFileWhoseBlocksDoNotLoadFails) {
    this->SetBase(Base());
    this->Add("good.avhdx", Snapshot());
    this->Add("bad.avhdx", Snapshot().BatLength(8));
    CTraceCapture trace;
    EXPECT_FALSE(Prepare(this->circuit, this->source));
    EXPECT_EQ(trace.Lines().back(), Line(3, "bad block loading"));
}

TYPED_TEST(PrepareOf, ChainWithoutBaseFails) {
    this->ExpectFailure({Line(3, "bad block loading")});
}

TYPED_TEST(PrepareOf, FileThatCannotBeOpenedAgainFails) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot().AllocateSectorBitmap(0, CBytes{0x11}));
    this->NameAnotherFile("gone.avhdx");
    this->ExpectFailure({Line(3, "bad prepare")});
}

TYPED_TEST(PrepareOf, FileWithoutPathCannotBeOpenedAgain) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot().AllocateSectorBitmap(0, CBytes{0x11}));
    this->source.snapshots[0]->path = nullptr;
    this->ExpectFailure({Line(3, "bad prepare")});
}

TYPED_TEST(PrepareOf, FileWithoutPresentBitmapIsNotOpenedAgain) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot());
    this->NameAnotherFile("gone.avhdx");
    EXPECT_TRUE(Prepare(this->circuit, this->source));
}

TYPED_TEST(PrepareOf, BitmapThatCannotBeReadInFullFails) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot().SectorBitmapBlock(0, 6, 8).FileSize(9 * MiB - 1));
    this->ExpectFailure(
        {Line(3, "File is in failed state after request data with size \"1048576\""),
         Line(3, "bad prepare")});
}

TYPED_TEST(PrepareOf, BitmapPastEveryPositionFails) {
    this->SetBase(Base());
    this->Add("a.avhdx", Snapshot().SectorBitmapBlock(0, 6, 0xFFFFFFFFFFF));
    this->ExpectFailure(
        {Line(3, "File is in failed state after request data with size \"1048576\""),
         Line(3, "bad prepare")});
}

TYPED_TEST(PrepareOf, TwoFullyPresentBaseBlocksAtOnePlaceFail) {
    this->SetBase(Base().PayloadBlock(0, 6, 10).PayloadBlock(1, 6, 20).PayloadBlock(4096, 6, 10));
    this->ExpectFailure({Line(3, "bad prepare")});
}

TYPED_TEST(PrepareOf, OtherBlocksMayShareAPlaceWithAFullyPresentOne) {
    this->SetBase(Base().PayloadBlock(0, 6, 10).PayloadBlock(1, 1, 10));
    EXPECT_TRUE(Prepare(this->circuit, this->source));
}

TYPED_TEST(PrepareOf, PreparedChainAnswers) {
    this->SetBase(Base().PayloadBlock(0, 6, 10));
    const CImageBuilder image =
        Snapshot().AllocatePartialData(0, 1).AllocateSectorBitmap(0, CBytes{0x40});
    this->Add("a.avhdx", image);
    ASSERT_TRUE(Prepare(this->circuit, this->source));
    const auto path = this->source.snapshots[0]->path;
    this->source = {};  // the circuit needs the paths only
    std::vector<CGetDifferentialResult<TypeParam>> results;
    GetDifferential(results, 10 * MiB, 1024, this->circuit);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_FALSE(results[0].found);
    EXPECT_TRUE(results[1].found);
    EXPECT_EQ(results[1].path, path);
    EXPECT_EQ(results[1].offset, image.BlockPosition(0) + 512);
}

}  // namespace
}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
