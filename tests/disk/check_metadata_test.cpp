#include "tests/disk/check_result.h"

namespace NTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CImageBuilder WithItem(const CGuid& guid, const std::function<void(CMetadataItem&)>& edit) {
    return CImageBuilder().EditMetadata(
        [guid, edit](CMetadataTable& table) { edit(table.Find(guid)); });
}

CImageBuilder WithUnknownItem(std::uint32_t flags) {
    return CImageBuilder().EditMetadata([flags](CMetadataTable& table) {
        CMetadataItem item;
        item.guid = NGuid::unknown;
        item.payload = CBytes(4);
        item.flags = flags;
        table.items.push_back(item);
    });
}

std::string At(const std::string& kind, const CGuid& guid) {
    return kind + " at offset " + std::to_string(CImageBuilder().ItemPosition(guid));
}

TEST(DiskCheckMetadata, FindsATableThatIsNone) {
    EXPECT_THAT(Findings(CImageBuilder().EditMetadata([](CMetadataTable& t) { t.signature = 0; })),
                ElementsAre("metadata-signature at offset 2097152"));
}

TEST(DiskCheckMetadata, FindsMoreEntriesThanTheTableHasRoomFor) {
    EXPECT_THAT(
        Findings(CImageBuilder().EditMetadata([](CMetadataTable& t) { t.entryCount = 2048; })),
        ElementsAre("metadata-count at offset 2097152"));
}

TEST(DiskCheckMetadata, FindsEachRequiredItemThatIsMissing) {
    for (const CGuid& guid : {NGuid::fileParameters, NGuid::virtualDiskSize, NGuid::page83Data,
                              NGuid::logicalSectorSize, NGuid::physicalSectorSize}) {
        EXPECT_THAT(Findings(CImageBuilder().EditMetadata(
                        [guid](CMetadataTable& table) { table.Remove(guid); })),
                    ElementsAre("item-missing at offset 2097152"));
    }
}

TEST(DiskCheckMetadata, FindsAnUnknownItemOnlyWhereItIsRequired) {
    EXPECT_THAT(Check(WithUnknownItem(CMetadataItem::isRequired).Build()).Kinds(),
                ElementsAre("item-unknown"));
    EXPECT_THAT(Findings(WithUnknownItem(0)), IsEmpty());
}

TEST(DiskCheckMetadata, FindsReservedFieldsOfTheTable) {
    constexpr auto text = ": a reserved field of the metadata table's header is not 0";
    for (const std::uint64_t byte : {8U, 9U, 12U, 31U}) {
        EXPECT_THAT(
            Sentences(CImageBuilder().Bytes(2 * MiB + byte, CBytes{1})),
            ElementsAre("metadata-reserved at offset " + std::to_string(2 * MiB + byte) + text));
    }
}

TEST(DiskCheckMetadata, WantsThePublishedFlagsOfEachKnownItem) {
    struct CItem {
        CGuid guid;
        const char* name;
        std::uint32_t flags;
    };
    const std::vector<CItem> items = {{NGuid::fileParameters, "the file parameters", 4},
                                      {NGuid::virtualDiskSize, "the virtual disk size", 6},
                                      {NGuid::page83Data, "the page 83 identifier", 6},
                                      {NGuid::logicalSectorSize, "the logical sector size", 6},
                                      {NGuid::physicalSectorSize, "the physical sector size", 6},
                                      {NGuid::parentLocator, "the parent locator", 4}};
    std::uint64_t field = 2 * MiB + 32 + 24;
    for (const CItem& item : items) {
        for (const std::uint32_t flag : {1u, 2u, 4u}) {
            const std::uint32_t wrong = item.flags ^ flag;
            const CImageBuilder disk = CImageBuilder().Differencing().EditMetadata(
                [&](CMetadataTable& table) { table.Find(item.guid).flags = wrong; });
            EXPECT_THAT(CheckChild(disk).Sentences(),
                        ElementsAre("item-flags at offset " + std::to_string(field) + ": " +
                                    item.name + " has the flags " + std::to_string(wrong) +
                                    " and must have " + std::to_string(item.flags) +
                                    " (1: of a user, 2: of the virtual disk, 4: required)"));
        }
        field += 32;
    }
}

TEST(DiskCheckMetadata, FindsReservedBitsAndFieldsOfAnEntry) {
    for (const std::uint32_t bit : {3u, 31u}) {
        EXPECT_THAT(Sentences(WithItem(NGuid::virtualDiskSize,
                                       [bit](CMetadataItem& item) { item.flags |= 1u << bit; })),
                    ElementsAre("item-reserved at offset 2097240: the virtual disk size: the "
                                "reserved bits 3 to 31 of its flags are not 0"));
    }
    EXPECT_THAT(Sentences(CImageBuilder().Bytes(2 * MiB + 32 + 31, CBytes{1})),
                ElementsAre("item-reserved at offset 2097212: the file parameters: the reserved "
                            "field of its entry is not 0"));
}

TEST(DiskCheckMetadata, FindsReservedBitsOfAnUnknownItemAndNoFlags) {
    EXPECT_THAT(Findings(WithUnknownItem(3)), IsEmpty());
    EXPECT_THAT(Sentences(WithUnknownItem(8)),
                ElementsAre("item-reserved at offset 2097368: the item "
                            "{0BADF00D-1111-2222-3333-444444444444}: the reserved bits 3 to 31 of "
                            "its flags are not 0"));
}

TEST(DiskCheckMetadata, FindsReservedBitsOfTheFileParameters) {
    for (const std::uint32_t bit : {2u, 31u}) {
        EXPECT_THAT(
            Sentences(WithItem(NGuid::fileParameters,
                               [bit](CMetadataItem& item) { Put32(item.payload, 4, 1u << bit); })),
            ElementsAre("file-parameters-reserved at offset 2162692: the reserved bits 2 to 31 of "
                        "the file parameters' flags are not 0"));
    }
}

TEST(DiskCheckMetadata, FindsAnItemOutsideItsRegion) {
    const auto at = [](std::uint32_t offset) {
        return WithItem(NGuid::page83Data, [offset](CMetadataItem& item) { item.offset = offset; });
    };
    EXPECT_THAT(Findings(at(1024)), Contains("item-misplaced at offset 2098176"));
    EXPECT_THAT(Findings(at(MiB - 15)), Contains("item-misplaced at offset 3145713"));
    EXPECT_THAT(Findings(at(MiB - 16)), IsEmpty());
}

TEST(DiskCheckMetadata, FindsAnItemOfTheWrongLength) {
    EXPECT_THAT(
        Findings(WithItem(NGuid::physicalSectorSize, [](CMetadataItem& item) { item.length = 8; })),
        ElementsAre(At("item-length", NGuid::physicalSectorSize)));
}

TEST(DiskCheckMetadata, FindsItemsThatOverlapOrStandThereTwice) {
    const auto position =
        static_cast<std::uint32_t>(CImageBuilder().ItemPosition(NGuid::page83Data) - 2 * MiB);
    const CImageBuilder disk = CImageBuilder().EditMetadata([position](CMetadataTable& table) {
        CMetadataItem item = table.Find(NGuid::page83Data);
        item.offset = position;
        table.items.push_back(item);
    });
    EXPECT_THAT(Findings(disk), ElementsAre(At("item-duplicate", NGuid::page83Data),
                                            At("item-overlap", NGuid::page83Data)));
}

TEST(DiskCheckMetadata, WantsBlocksOfAPowerOfTwoFrom1To256Mebibytes) {
    for (const std::uint64_t size : {std::uint64_t{0}, 512 * KiB, 3 * MiB, 512 * MiB}) {
        EXPECT_THAT(Findings(CImageBuilder().BlockSize(size)),
                    ElementsAre(At("block-size", NGuid::fileParameters)))
            << size;
    }
    for (const std::uint64_t size : {MiB, 2 * MiB, 256 * MiB}) {
        EXPECT_THAT(Findings(CImageBuilder().BlockSize(size)), IsEmpty()) << size;
    }
}

TEST(DiskCheckMetadata, WantsSectorsOf512Or4096Bytes) {
    EXPECT_THAT(Findings(CImageBuilder().SectorSize(1024)),
                ElementsAre(At("logical-sector-size", NGuid::logicalSectorSize)));
    EXPECT_THAT(Findings(CImageBuilder().PhysicalSectorSize(0)),
                ElementsAre(At("physical-sector-size", NGuid::physicalSectorSize)));
    EXPECT_THAT(Findings(CImageBuilder().SectorSize(4096).PhysicalSectorSize(4096)), IsEmpty());
}

TEST(DiskCheckMetadata, WantsAWholeNumberOfSectorsAndAtMost64Tebibytes) {
    for (const std::uint64_t size : {std::uint64_t{0}, 64 * TiB + 512, MiB + 511}) {
        const CImageBuilder disk = CImageBuilder().EditMetadata([size](CMetadataTable& table) {
            Put64(table.Find(NGuid::virtualDiskSize).payload, 0, size);
        });
        EXPECT_THAT(Findings(disk), Contains(At("virtual-size", NGuid::virtualDiskSize))) << size;
    }
}

TEST(DiskCheckMetadata, WantsAParentLocatorExactlyWhereThereIsAParent) {
    EXPECT_THAT(Sentences(CImageBuilder().Differencing().NoParentLocator()),
                Contains("locator-missing at offset 2097152: the disk has a parent, and no parent "
                         "locator that names it"));
    EXPECT_THAT(Check(CImageBuilder().ParentLocator({{u"a", u"b"}}).Build()).Kinds(),
                Contains("locator-unexpected"));
}

}  // namespace
}  // namespace NTest
