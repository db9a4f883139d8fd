#include <gtest/gtest.h>

#include "host/container_entry.h"
#include "tests/support/image_builder.h"
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

}  // namespace
}  // namespace NTest
