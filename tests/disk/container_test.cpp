#include <gtest/gtest.h>

#include <vhdx_disk/replayed_stream.h>

#include "tests/support/image_builder.h"
#include "tests/support/memory_source.h"
#include "tests/support/temporary_folder.h"
#include "vhdx_disk/table/container.h"

namespace NTest {
namespace {

using NVHDXDisk::CContainer;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReplayedStream;
using NVHDXDisk::CSourceBuffer;
using NVHDXDisk::ELog;

/// A disk whose region table claims this many entries; all but the usual two are zeros.
CSparseImage DiskOfRegions(std::uint32_t count) {
    return CImageBuilder()
        .EditRegionTable(0, [=](CRegionTable& table) { table.entryCount = count; })
        .EditRegionTable(1, [](CRegionTable& table) { table.present = false; })
        .Build();
}

/// A file, and a stream on its bytes.
struct CEntered {
    explicit CEntered(CSparseImage image)
        : source(std::make_shared<CMemorySource>(std::move(image))), buffer(source) {}

    bool Enters() {
        NVHDX::CAccessor accessor;
        return NVHDXDisk::Enter(accessor, stream, *source);
    }

    bool ClaimsTooManyRegions() const {
        CContainer container;
        CFailure failure;
        return !container.Open({source, {}, std::nullopt}, ELog::asItStands, failure) &&
               failure.reason == NVHDXDisk::TooManyRegions;
    }

    std::shared_ptr<CMemorySource> source;
    CSourceBuffer buffer;
    std::basic_istream<unsigned char> stream{&buffer};
};

TEST(ContainerEntry, AcceptsAsManyRegionsAsThereIsRoomFor) {
    CEntered file(DiskOfRegions(2047));
    EXPECT_FALSE(file.ClaimsTooManyRegions());
    EXPECT_TRUE(file.Enters());
}

TEST(ContainerEntry, RefusesOneMoreWhichTheLibraryWouldFollow) {
    CEntered file(DiskOfRegions(2048));
    NVHDX::CAccessor accessor;
    EXPECT_TRUE(accessor.Entry(file.stream));
    EXPECT_TRUE(file.ClaimsTooManyRegions());
    EXPECT_FALSE(file.Enters());
}

TEST(ContainerEntry, FollowsNoClaimThroughASparseFile) {
    CSparseImage image = DiskOfRegions(0xFFFFFFFF);
    image.Resize(1 * TiB);
    CEntered file(image);
    EXPECT_FALSE(file.Enters());
    EXPECT_LT(file.source->Reads().size(), 10U);
}

TEST(ContainerEntry, BeginsAtTheStartOfAStreamThatFailed) {
    CEntered file(DiskOfRegions(2));
    file.stream.seekg(5);
    file.stream.setstate(std::ios::failbit);
    EXPECT_FALSE(file.ClaimsTooManyRegions());
    EXPECT_TRUE(file.Enters());
    EXPECT_TRUE(file.stream.good());
}

TEST(ContainerEntry, LeavesAFileThatEndsBeforeToTheLibrary) {
    CEntered file(CImageBuilder().FileSize(100000).Build());
    EXPECT_FALSE(file.ClaimsTooManyRegions());
    EXPECT_FALSE(file.Enters());
    const CEntered other(CImageBuilder()
                             .EditRegionTable(0,
                                              [](CRegionTable& table) {
                                                  table.signature = 0;
                                                  table.entryCount = 5000;
                                              })
                             .Build());
    EXPECT_FALSE(other.ClaimsTooManyRegions());
}

class ContainerOpening : public testing::Test {
protected:
    /// Why the disk cannot be opened; empty when it can.
    std::string Error(const CImageBuilder& disk, ELog log = ELog::replay,
                      CFailure::EKind kind = CFailure::none) {
        disk.Build().WriteTo(m_folder / "disk.vhdx");
        return ErrorOf(m_folder / "disk.vhdx", log, kind);
    }

    static std::string ErrorOf(const std::filesystem::path& path, ELog log, CFailure::EKind kind) {
        CFailure failure;
        CReplayedStream stream(path, log, failure);
        NVHDX::CAccessor accessor;
        const bool isOpen = stream && NVHDXDisk::OpenContainer(accessor, stream, failure);
        EXPECT_EQ(isOpen, failure.kind == CFailure::none);
        EXPECT_EQ(failure.kind, kind);
        EXPECT_EQ(failure.file, isOpen ? "" : path);
        return failure.reason;
    }

    CTemporaryFolder m_folder;
};

TEST_F(ContainerOpening, OfAUsualDiskSucceeds) {
    EXPECT_EQ(Error(CImageBuilder()), "");
    EXPECT_EQ(Error(CImageBuilder(), ELog::asItStands), "");
}

TEST_F(ContainerOpening, WithoutAValidHeaderIsForThoseWhoWantNoReplay) {
    const auto disk = CImageBuilder().EditHeaders([](CHeader& header) { header.checksum = 1; });
    EXPECT_EQ(Error(disk, ELog::replay, CFailure::logNotReplayed),
              "neither header of the file is valid");
    EXPECT_EQ(Error(disk, ELog::asItStands), "");
}

TEST_F(ContainerOpening, WithALogThatCannotBeReplayedIsForThoseWhoWantNoReplay) {
    const auto disk = CImageBuilder().LogAt(NGuid::unknown, 1 * MiB, 1048576);
    EXPECT_EQ(Error(disk, ELog::replay, CFailure::logNotReplayed),
              "the log cannot be replayed: it holds no valid sequence of entries");
    EXPECT_EQ(Error(disk, ELog::asItStands), "");
}

TEST_F(ContainerOpening, CallsDamagedWhatBeginsAsADisk) {
    const std::string damaged =
        "the disk is damaged: its headers, the place of its log, its region table or its metadata "
        "table cannot be read";
    EXPECT_EQ(Error(CImageBuilder().FileSize(100000), ELog::replay, CFailure::damaged), damaged);
    EXPECT_EQ(Error(CImageBuilder().FileSize(300), ELog::replay, CFailure::damaged), damaged);
    EXPECT_EQ(Error(CImageBuilder().FileSize(7), ELog::replay, CFailure::notADisk),
              "this is no VHDX disk: the file does not begin with \"vhdxfile\"");
}

TEST_F(ContainerOpening, RefusesTooManyRegionsInItsOwnWords) {
    EXPECT_EQ(Error(CImageBuilder().EditRegionTables(
                        [](CRegionTable& table) { table.entryCount = 2048; }),
                    ELog::replay, CFailure::damaged),
              NVHDXDisk::TooManyRegions);
}

TEST_F(ContainerOpening, TellsWhatIsNoFile) {
    EXPECT_EQ(ErrorOf(m_folder / "absent.vhdx", ELog::replay, CFailure::notFound),
              "there is no such file");
    EXPECT_EQ(ErrorOf(m_folder.Path(), ELog::replay, CFailure::cannotBeOpened),
              "this is a folder, not a disk file");
}

/// Who does not ask the stream first is told the same kind.
TEST_F(ContainerOpening, OfAStreamThatFailedTellsWhatFailed) {
    CFailure failure;
    NVHDX::CAccessor accessor;
    CReplayedStream absent(m_folder / "absent.vhdx", ELog::replay, failure);
    EXPECT_FALSE(NVHDXDisk::OpenContainer(accessor, absent, failure));
    EXPECT_EQ(failure.kind, CFailure::cannotBeOpened);
    const auto path = m_folder / "disk.vhdx";
    CImageBuilder().LogAt(NGuid::unknown, 1 * MiB, 1048576).Build().WriteTo(path);
    CReplayedStream stream(path, ELog::replay, failure);
    EXPECT_FALSE(NVHDXDisk::OpenContainer(accessor, stream, failure));
    EXPECT_EQ(failure.kind, CFailure::logNotReplayed);
    EXPECT_EQ(failure.file, path);
    EXPECT_EQ(failure.reason, "the log cannot be replayed");
}

}  // namespace
}  // namespace NTest
