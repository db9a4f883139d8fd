#include <vhdx_parser/accessor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/container/opened_disk.h"
#include "tests/container/opening.h"

namespace NTest {
namespace {

using namespace NVHDX::NMetadata;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the tests of all five items need to know of each.
template <class TRecord>
struct CItem;

template <>
struct CItem<CFileParameters> {
    static CGuid Id() { return NGuid::fileParameters; }
    static constexpr std::uint64_t size = 8;
    static constexpr const char* tag = "FILE_PARAMETERS_METADATA ";
    static CFileParameters Marked() { return {1234, true, true}; }
    static bool IsMarked(const CFileParameters& record) {
        return record.blockSize == 1234 && record.leaveBlocksAllocated && record.hasParent;
    }
};

template <>
struct CItem<CVirtualDiskSize> {
    static CGuid Id() { return NGuid::virtualDiskSize; }
    static constexpr std::uint64_t size = 8;
    static constexpr const char* tag = "VIRTUAL_DISK_SIZE_METADATA ";
    static CVirtualDiskSize Marked() { return {1234}; }
    static bool IsMarked(const CVirtualDiskSize& record) { return record.size == 1234; }
};

template <>
struct CItem<CPage83Data> {
    static CGuid Id() { return NGuid::page83Data; }
    static constexpr std::uint64_t size = 16;
    static constexpr const char* tag = "PAGE_83_DATA_METADATA ";
    static CPage83Data Marked() { return {{1234, 0, 0, {}}}; }
    static bool IsMarked(const CPage83Data& record) { return record.page83Data.Data1 == 1234; }
};

template <>
struct CItem<CLogicalSectorSize> {
    static CGuid Id() { return NGuid::logicalSectorSize; }
    static constexpr std::uint64_t size = 4;
    static constexpr const char* tag = "LOGICAL_SECTOR_SIZE_METADATA ";
    static CLogicalSectorSize Marked() { return {1234}; }
    static bool IsMarked(const CLogicalSectorSize& record) { return record.sectorSize == 1234; }
};

template <>
struct CItem<CPhysicalSectorSize> {
    static CGuid Id() { return NGuid::physicalSectorSize; }
    static constexpr std::uint64_t size = 4;
    static constexpr const char* tag = "PHYSICAL_SECTOR_SIZE_METADATA ";
    static CPhysicalSectorSize Marked() { return {1234}; }
    static bool IsMarked(const CPhysicalSectorSize& record) { return record.sectorSize == 1234; }
};

template <class TRecord>
class RequiredItem : public testing::Test {
protected:
    static CTraceLine Failure(const char* text) {
        return Line(3, std::string(CItem<TRecord>::tag) + text);
    }

    /// The item fails with one line and leaves the record as it was.
    static void ExpectFailure(COpenedDisk& disk, const char* text) {
        CTraceCapture trace;
        TRecord record = CItem<TRecord>::Marked();
        EXPECT_FALSE(disk.Retrieve(record));
        EXPECT_TRUE(CItem<TRecord>::IsMarked(record));
        EXPECT_THAT(trace.Lines(), ElementsAre(Failure(text)));
    }
};

using CRecords = testing::Types<CFileParameters, CVirtualDiskSize, CPage83Data, CLogicalSectorSize,
                                CPhysicalSectorSize>;
TYPED_TEST_SUITE(RequiredItem, CRecords);

TYPED_TEST(RequiredItem, IsReadWithOneSeekAndOneReadOfItsSize) {
    using CKind = CItem<TypeParam>;
    const CImageBuilder builder;
    COpenedDisk disk(builder);
    CTraceCapture trace;
    TypeParam record = CKind::Marked();
    EXPECT_TRUE(disk.Retrieve(record));
    EXPECT_FALSE(CKind::IsMarked(record));
    const std::uint64_t position = builder.ItemPosition(CKind::Id());
    EXPECT_THAT(disk.stream.Buffer().Seeks(), ElementsAre(position));
    EXPECT_THAT(disk.stream.Buffer().Reads(), ElementsAre(Portion(position, CKind::size)));
    EXPECT_EQ(disk.stream.Buffer().Position(), position + CKind::size);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TYPED_TEST(RequiredItem, AbsentItemHasABadPositionAndNothingIsSought) {
    using CKind = CItem<TypeParam>;
    COpenedDisk disk(
        CImageBuilder().EditMetadata([](CMetadataTable& table) { table.Remove(CKind::Id()); }));
    this->ExpectFailure(disk, "bad MetadataPosition");
    EXPECT_THAT(disk.stream.Buffer().Seeks(), IsEmpty());
    EXPECT_TRUE(disk.stream.good());
}

TYPED_TEST(RequiredItem, FailedSeekIsABadPosition) {
    COpenedDisk disk{CImageBuilder()};
    disk.stream.Buffer().FailSeek(1);
    this->ExpectFailure(disk, "bad MetadataPosition");
    EXPECT_THAT(disk.stream.Buffer().Reads(), IsEmpty());
    EXPECT_TRUE(disk.stream.fail());
}

TYPED_TEST(RequiredItem, FailedReadHasItsLine) {
    using CKind = CItem<TypeParam>;
    COpenedDisk disk{CImageBuilder()};
    disk.stream.Buffer().FailRead(1, CKind::size - 1);
    this->ExpectFailure(disk, "failed Stream Portion Reading");
    EXPECT_TRUE(disk.stream.fail());
}

TYPED_TEST(RequiredItem, ItemBehindTheEndOfTheFileHasItsLine) {
    using CKind = CItem<TypeParam>;
    const CImageBuilder builder = CImageBuilder().EditMetadata(
        [](CMetadataTable& table) { table.Find(CKind::Id()).offset = 0xFFFFFFFF; });
    COpenedDisk past(CImageBuilder(builder).FileSize(4 * MiB));
    this->ExpectFailure(past, "failed Stream Portion Reading");
    COpenedDisk refused(CImageBuilder(builder).FileSize(4 * MiB));
    refused.stream.Buffer().RefuseSeekPastEnd();
    this->ExpectFailure(refused, "bad MetadataPosition");
}

TYPED_TEST(RequiredItem, LengthInTheTableIsNotLookedAt) {
    using CKind = CItem<TypeParam>;
    COpenedDisk disk(CImageBuilder().EditMetadata(
        [](CMetadataTable& table) { table.Find(CKind::Id()).length = 0; }));
    TypeParam record = CKind::Marked();
    EXPECT_TRUE(disk.Retrieve(record));
    EXPECT_FALSE(CKind::IsMarked(record));
    EXPECT_EQ(disk.stream.Buffer().Reads().at(0).length, CKind::size);
}

TYPED_TEST(RequiredItem, OffsetCountsFromTheRegionsStart) {
    using CKind = CItem<TypeParam>;
    const CImageBuilder builder = CImageBuilder().MetadataOffset(7 * MiB).EditMetadata(
        [](CMetadataTable& table) { table.Find(CKind::Id()).offset = 200001; });
    COpenedDisk disk(builder);
    TypeParam record = CKind::Marked();
    EXPECT_TRUE(disk.Retrieve(record));
    EXPECT_THAT(disk.stream.Buffer().Reads(), ElementsAre(Portion(7 * MiB + 200001, CKind::size)));
}

CFileParameters FileParameters(const CImageBuilder& builder) {
    COpenedDisk disk(builder);
    CFileParameters parameters;
    EXPECT_TRUE(disk.Retrieve(parameters));
    return parameters;
}

CImageBuilder WithFlags(std::uint32_t flags) {
    CBytes payload(8);
    Put32(payload, 0, 2 * MiB);
    Put32(payload, 4, flags);
    return CImageBuilder().MetadataItem(NGuid::fileParameters, payload);
}

TEST(FileParameters, BlockSizeIsTheFirstNumber) {
    EXPECT_EQ(FileParameters(CImageBuilder().BlockSize(256 * MiB)).blockSize, 268435456u);
}

TEST(FileParameters, FlagBitsAreTakenOneByOne) {
    EXPECT_FALSE(FileParameters(WithFlags(0)).leaveBlocksAllocated);
    EXPECT_FALSE(FileParameters(WithFlags(0)).hasParent);
    EXPECT_TRUE(FileParameters(WithFlags(1)).leaveBlocksAllocated);
    EXPECT_FALSE(FileParameters(WithFlags(1)).hasParent);
    EXPECT_FALSE(FileParameters(WithFlags(2)).leaveBlocksAllocated);
    EXPECT_TRUE(FileParameters(WithFlags(2)).hasParent);
}

TEST(FileParameters, OtherFlagBitsAreIgnored) {
    EXPECT_FALSE(FileParameters(WithFlags(0xFFFFFFFC)).leaveBlocksAllocated);
    EXPECT_FALSE(FileParameters(WithFlags(0xFFFFFFFC)).hasParent);
    EXPECT_TRUE(FileParameters(WithFlags(0xFFFFFFFF)).leaveBlocksAllocated);
    EXPECT_TRUE(FileParameters(WithFlags(0xFFFFFFFF)).hasParent);
}

TEST(FileParameters, AnyBlockSizeIsAccepted) {
    for (const std::uint32_t size : {0u, 1u, 12345u, 0xFFFFFFFFu}) {
        EXPECT_EQ(FileParameters(CImageBuilder().MetadataItem(
                                     NGuid::fileParameters,
                                     CBytes{static_cast<unsigned char>(size),
                                            static_cast<unsigned char>(size >> 8),
                                            static_cast<unsigned char>(size >> 16),
                                            static_cast<unsigned char>(size >> 24), 0, 0, 0, 0}))
                      .blockSize,
                  size);
    }
}

TEST(VirtualDiskSize, HasAll64Bits) {
    COpenedDisk disk(CImageBuilder().MetadataItem(
        NGuid::virtualDiskSize, CBytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
    CVirtualDiskSize size;
    EXPECT_TRUE(disk.Retrieve(size));
    EXPECT_EQ(size.size, 0xEFCDAB8967452301u);
}

TEST(Page83Data, IsTheIdentifierOnDisk) {
    COpenedDisk disk(CImageBuilder().DiskId(Guid("{00112233-4455-6677-8899-AABBCCDDEEFF}")));
    CPage83Data page83;
    EXPECT_TRUE(disk.Retrieve(page83));
    EXPECT_TRUE(
        IsEqual(page83.page83Data,
                {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}}));
}

TEST(SectorSizes, AreReadFromTheirOwnItems) {
    COpenedDisk disk(CImageBuilder().SectorSize(512).PhysicalSectorSize(4096));
    CLogicalSectorSize logical;
    CPhysicalSectorSize physical;
    EXPECT_TRUE(disk.Retrieve(logical));
    EXPECT_TRUE(disk.Retrieve(physical));
    EXPECT_EQ(logical.sectorSize, 512);
    EXPECT_EQ(physical.sectorSize, 4096);
}

TEST(SectorSizes, KeepTheLowest16BitsOnly) {
    COpenedDisk disk(CImageBuilder().SectorSize(0x00010200).PhysicalSectorSize(0xABCD0000));
    CLogicalSectorSize logical{1};
    CPhysicalSectorSize physical{1};
    EXPECT_TRUE(disk.Retrieve(logical));
    EXPECT_TRUE(disk.Retrieve(physical));
    EXPECT_EQ(logical.sectorSize, 0x0200);
    EXPECT_EQ(physical.sectorSize, 0);
}

TEST(MetadataItems, AccessorThatNeverOpenedHasNone) {
    const NVHDX::CAccessor accessor;
    CInputStream stream(CImageBuilder().Build());
    CTraceCapture trace;
    CFileParameters parameters;
    EXPECT_FALSE(accessor.Retrieve(parameters, stream));
    EXPECT_THAT(trace.Lines(),
                ElementsAre(Line(3, "FILE_PARAMETERS_METADATA bad MetadataPosition")));
    EXPECT_THAT(stream.Buffer().Seeks(), IsEmpty());
}

TEST(MetadataItems, RetrievingAgainGivesTheSame) {
    COpenedDisk disk(CImageBuilder().BlockSize(8 * MiB));
    CFileParameters first;
    CFileParameters second;
    EXPECT_TRUE(disk.Retrieve(first));
    EXPECT_TRUE(disk.Retrieve(second));
    EXPECT_EQ(first.blockSize, 8388608u);
    EXPECT_EQ(second.blockSize, 8388608u);
}

}  // namespace
}  // namespace NTest
