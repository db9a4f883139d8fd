#include <gtest/gtest.h>

#include "host/container_entry.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_stream.h"

namespace NTest {
namespace {

/// A disk whose region table claims this many entries; all but the usual two are zeros.
CSparseImage DiskOfRegions(std::uint32_t count) {
    return CImageBuilder()
        .EditRegionTable(0, [=](CRegionTable& table) { table.entryCount = count; })
        .EditRegionTable(1, [](CRegionTable& table) { table.present = false; })
        .Build();
}

bool Enters(CInputStream& stream) {
    NVHDX::CAccessor accessor;
    return NVHDXHost::EnterContainer(accessor, stream);
}

TEST(ContainerEntry, AcceptsAsManyRegionsAsThereIsRoomFor) {
    CInputStream stream(DiskOfRegions(2047));
    EXPECT_FALSE(NVHDXHost::ClaimsTooManyRegions(stream));
    EXPECT_TRUE(Enters(stream));
}

TEST(ContainerEntry, RefusesOneMoreWhichTheLibraryWouldFollow) {
    CInputStream stream(DiskOfRegions(2048));
    NVHDX::CAccessor accessor;
    EXPECT_TRUE(accessor.Entry(stream));
    EXPECT_TRUE(NVHDXHost::ClaimsTooManyRegions(stream));
    EXPECT_FALSE(Enters(stream));
}

TEST(ContainerEntry, FollowsNoClaimThroughASparseFile) {
    CSparseImage image = DiskOfRegions(0xFFFFFFFF);
    image.Resize(1 * TiB);
    CInputStream stream(image);
    EXPECT_FALSE(Enters(stream));
    EXPECT_LT(stream.Buffer().Reads().size(), 10U);
}

TEST(ContainerEntry, LeavesTheStreamAtItsStart) {
    CInputStream stream(DiskOfRegions(2));
    stream.seekg(5);
    stream.setstate(std::ios::failbit);
    EXPECT_FALSE(NVHDXHost::ClaimsTooManyRegions(stream));
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.tellg(), std::streampos(0));
}

TEST(ContainerEntry, LeavesAFileThatEndsBeforeToTheLibrary) {
    CInputStream stream(CImageBuilder().FileSize(100000).Build());
    EXPECT_FALSE(NVHDXHost::ClaimsTooManyRegions(stream));
    EXPECT_FALSE(Enters(stream));
    CInputStream other(CImageBuilder()
                           .EditRegionTable(0,
                                            [](CRegionTable& table) {
                                                table.signature = 0;
                                                table.entryCount = 5000;
                                            })
                           .Build());
    EXPECT_FALSE(NVHDXHost::ClaimsTooManyRegions(other));
}

class ContainerOpening : public testing::Test {
protected:
    std::string Error(const CImageBuilder& disk,
                      NVHDXHost::CReplayStream::EMode mode = NVHDXHost::CReplayStream::replayLog) {
        disk.Build().WriteTo(m_folder / "disk.vhdx");
        NVHDXHost::CReplayStream stream(m_folder / "disk.vhdx", mode);
        return ErrorOf(stream);
    }

    static std::string ErrorOf(NVHDXHost::CReplayStream& stream) {
        NVHDX::CAccessor accessor;
        std::string error = "of an earlier file";
        const bool isOpen = NVHDXHost::OpenContainer(accessor, stream, error);
        EXPECT_EQ(isOpen, error.empty());
        return error;
    }

    CTemporaryFolder m_folder;
};

constexpr auto asItStands = NVHDXHost::CReplayStream::asItStands;

TEST_F(ContainerOpening, OfAUsualDiskSucceeds) {
    EXPECT_EQ(Error(CImageBuilder()), "");
    EXPECT_EQ(Error(CImageBuilder(), asItStands), "");
}

TEST_F(ContainerOpening, WithoutAValidHeaderIsForThoseWhoWantNoReplay) {
    const auto disk = CImageBuilder().EditHeaders([](CHeader& header) { header.checksum = 1; });
    EXPECT_EQ(Error(disk),
              "neither header of the file is valid (--no-replay shows the file as it stands)");
    EXPECT_EQ(Error(disk, asItStands), "");
}

TEST_F(ContainerOpening, WithALogThatCannotBeReplayedIsForThoseWhoWantNoReplay) {
    const auto disk = CImageBuilder().LogAt(NGuid::unknown, 1 * MiB, 1048576);
    EXPECT_EQ(Error(disk),
              "the log cannot be replayed: it holds no valid sequence of entries (--no-replay "
              "shows the file as it stands)");
    EXPECT_EQ(Error(disk, asItStands), "");
}

TEST_F(ContainerOpening, CallsDamagedWhatBeginsAsADisk) {
    const std::string damaged =
        "the disk is damaged: its headers, the place of its log, its region table or its metadata "
        "table cannot be read";
    EXPECT_EQ(Error(CImageBuilder().FileSize(100000)), damaged);
    EXPECT_EQ(Error(CImageBuilder().FileSize(300)), damaged);
    EXPECT_EQ(Error(CImageBuilder().FileSize(7)),
              "this is no VHDX disk: the file does not begin with \"vhdxfile\"");
}

TEST_F(ContainerOpening, RefusesTooManyRegionsInItsOwnWords) {
    EXPECT_EQ(Error(CImageBuilder().EditRegionTables(
                  [](CRegionTable& table) { table.entryCount = 2048; })),
              NVHDXHost::TooManyRegions);
}

TEST_F(ContainerOpening, TellsWhatIsNoFile) {
    NVHDXHost::CReplayStream absent(m_folder / "absent.vhdx");
    EXPECT_EQ(ErrorOf(absent), "there is no such file");
    NVHDXHost::CReplayStream folder(m_folder.Path());
    EXPECT_EQ(ErrorOf(folder), "this is a folder, not a disk file");
}

}  // namespace
}  // namespace NTest
