#include <vhdx_parser/accessor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/container/opening.h"
#include "vhdx_parser/container/metadata_table.h"

namespace NTest {
namespace {

using CMetadata = NVHDX::CAccessor::CMetadata;

static_assert(CMetadata::typeFileParameters == 2 && CMetadata::typeVirtualDiskSize == 3 &&
              CMetadata::typePage83Data == 4 && CMetadata::typeLogicalSectorSize == 5 &&
              CMetadata::typePhysicalSectorSize == 6 && CMetadata::typeParentLocator == 7);

CLines UpToTheMetadata() {
    return IdentifierLines() + HeaderLines() + RegionLines();
}

const CTraceLine FileParametersLine =
    Line(4, "METADATA_REGION type = CMetadata::typeFileParameters");

CMetadataItem Item(const CGuid& guid, std::uint32_t flags, std::uint32_t offset = 65536,
                   std::uint32_t length = 8) {
    CMetadataItem item;
    item.guid = guid;
    item.flags = flags;
    item.offset = offset;
    item.length = length;
    return item;
}

/// The usual container with these items in its metadata table.
CImageBuilder Items(const std::vector<CMetadataItem>& items) {
    return CImageBuilder().EditMetadata([items](CMetadataTable& table) { table.items = items; });
}

/// What is kept of the metadata table.
std::map<CMetadata::EType, CMetadata> Kept(const CImageBuilder& builder) {
    CInputStream stream(builder.Build());
    std::map<CMetadata::EType, CMetadata> items;
    EXPECT_TRUE(NVHDX::ReadMetadataTable(stream, 2 * MiB, items));
    return items;
}

TEST(EntryMetadataTable, EveryKnownItemIsTracedByItsName) {
    const COpening opening = Open(CImageBuilder().Differencing());
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheMetadata() + ItemLines() +
                  Lines(Line(4, "METADATA_REGION type = CMetadata::typeParentLocator")) + OkLine());
}

TEST(EntryMetadataTable, EveryKnownItemIsKeptUnderItsType) {
    const auto items =
        Kept(Items({Item(NGuid::parentLocator, 4, 700), Item(NGuid::physicalSectorSize, 4, 600),
                    Item(NGuid::logicalSectorSize, 4, 500), Item(NGuid::page83Data, 4, 400),
                    Item(NGuid::virtualDiskSize, 4, 300), Item(NGuid::fileParameters, 4, 200)}));
    ASSERT_EQ(items.size(), 6u);
    for (const auto& [type, item] : items) {
        EXPECT_EQ(item.type, type);
        EXPECT_EQ(item.offset, 100u * static_cast<std::uint32_t>(type));
    }
}

TEST(EntryMetadataTable, KeepsOffsetAndLengthAsTheyStand) {
    const auto items = Kept(Items({Item(NGuid::fileParameters, 4, 0xFEDCBA98, 0x89ABCDEF)}));
    EXPECT_EQ(items.at(CMetadata::typeFileParameters).offset, 0xFEDCBA98u);
    EXPECT_EQ(items.at(CMetadata::typeFileParameters).length, 0x89ABCDEFu);
}

TEST(EntryMetadataTable, KeepsWhetherTheItemBelongsToTheVirtualDisk) {
    for (const auto& [flags, expected] :
         {std::pair(0u, false), std::pair(2u, true), std::pair(0xFFFFFFFDu, false),
          std::pair(0xFFFFFFFFu, true)}) {
        const auto items = Kept(Items({Item(NGuid::fileParameters, flags)}));
        EXPECT_EQ(items.at(CMetadata::typeFileParameters).isVirtualDisk, expected) << flags;
    }
}

TEST(EntryMetadataTable, EmptyTableOpens) {
    const COpening opening = Open(Items({}));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheMetadata() + OkLine());
    EXPECT_TRUE(Kept(Items({})).empty());
}

TEST(EntryMetadataTable, KnownItemIsAcceptedWhateverItsFlags) {
    for (const std::uint32_t flags : {0u, 4u, 7u, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        const COpening opening = Open(Items({Item(NGuid::fileParameters, flags)}));
        EXPECT_TRUE(opening.opened) << flags;
        EXPECT_EQ(opening.lines, UpToTheMetadata() + Lines(FileParametersLine) + OkLine());
    }
}

TEST(EntryMetadataTable, UnknownItemIsPassedOverWithoutALine) {
    for (const std::uint32_t flags : {0u, 3u, 0xFFFFFFFBu}) {
        const CImageBuilder builder =
            Items({Item(NGuid::unknown, flags), Item(NGuid::fileParameters, 4)});
        const COpening opening = Open(builder);
        EXPECT_TRUE(opening.opened) << flags;
        EXPECT_EQ(opening.lines, UpToTheMetadata() + Lines(FileParametersLine) + OkLine());
        EXPECT_EQ(Kept(builder).size(), 1u);
    }
}

TEST(EntryMetadataTable, UnknownRequiredItemIsRefused) {
    for (const std::uint32_t flags : {4u, 0xFFFFFFFFu}) {
        const COpening opening =
            Open(Items({Item(NGuid::fileParameters, 4), Item(NGuid::unknown, flags),
                        Item(NGuid::virtualDiskSize, 4)}));
        EXPECT_FALSE(opening.opened) << flags;
        EXPECT_EQ(opening.lines,
                  UpToTheMetadata() +
                      Lines(FileParametersLine, Line(3, "METADATA_REGION Required != 0")));
    }
}

TEST(EntryMetadataTable, DuplicateItemIsDroppedWithoutALineOfItsOwn) {
    const CImageBuilder builder =
        Items({Item(NGuid::fileParameters, 4, 65536, 8), Item(NGuid::fileParameters, 6, 70000, 9)});
    const COpening opening = Open(builder);
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheMetadata() + Lines(FileParametersLine, FileParametersLine) + OkLine());
    const CMetadata item = Kept(builder).at(CMetadata::typeFileParameters);
    EXPECT_EQ(item.offset, 65536u);
    EXPECT_EQ(item.length, 8u);
    EXPECT_FALSE(item.isVirtualDisk);
}

TEST(EntryMetadataTable, OtherSignatureIsRefused) {
    for (unsigned byte = 0; byte < 8; ++byte) {
        const COpening opening = Open(CImageBuilder().EditMetadata([byte](CMetadataTable& table) {
            table.signature ^= std::uint64_t{0x20} << (8 * byte);
        }));
        EXPECT_FALSE(opening.opened) << byte;
        EXPECT_EQ(opening.lines,
                  UpToTheMetadata() + Lines(Line(3, "METADATA_REGION bad Signature")));
    }
}

TEST(EntryMetadataTable, UnreachableRegionIsABadPosition) {
    CInputStream stream(CImageBuilder().FileSize(2 * MiB - 1).Build());
    stream.Buffer().RefuseSeekPastEnd();
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheMetadata() + Lines(Line(3, "METADATA_REGION bad position")));
}

TEST(EntryMetadataTable, OffsetThatNoStreamCanExpressIsABadPosition) {
    for (const std::uint64_t offset : {std::uint64_t{1} << 63, ~std::uint64_t{0}}) {
        const COpening opening = Open(CImageBuilder().EditRegionTables(
            [=](CRegionTable& table) { table.Find(NGuid::metadataRegion).offset = offset; }));
        EXPECT_FALSE(opening.opened) << offset;
        EXPECT_EQ(opening.lines,
                  UpToTheMetadata() + Lines(Line(3, "METADATA_REGION bad position")));
    }
}

TEST(EntryMetadataTable, HeaderThatTheFileCutsOffIsUnreadable) {
    for (const std::uint64_t size : {2 * MiB - 1, 2 * MiB, 2 * MiB + 31}) {
        const COpening opening = Open(CImageBuilder().FileSize(size));
        EXPECT_FALSE(opening.opened) << size;
        EXPECT_EQ(
            opening.lines,
            UpToTheMetadata() + Lines(Line(3, "METADATA_REGION failed Stream Portion Reading")));
    }
}

TEST(EntryMetadataTable, EntryThatTheFileCutsOffIsCalledABadPosition) {
    const COpening opening = Open(CImageBuilder().FileSize(2 * MiB + 32 + 32 + 31));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheMetadata() + Lines(FileParametersLine,
                                                       Line(3, "METADATA_REGION bad position")));
}

TEST(EntryMetadataTable, LargestCountIsReadToItsEnd) {
    constexpr std::uint64_t End = 2 * MiB + 32 + 65535 * 32;
    const CImageBuilder builder =
        CImageBuilder().EditMetadata([](CMetadataTable& table) { table.entryCount = 65535; });
    CInputStream stream(CImageBuilder(builder).FileSize(End).Build());
    const COpening opening = Open(stream);
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
    EXPECT_EQ(stream.Buffer().Position(), End);
    EXPECT_EQ(Open(CImageBuilder(builder).FileSize(End - 1)).lines,
              UpToTheMetadata() + ItemLines() + Lines(Line(3, "METADATA_REGION bad position")));
}

TEST(EntryMetadataTable, LiesWhereTheRegionTableSays) {
    const COpening opening = Open(CImageBuilder().MetadataOffset(5 * MiB + 3).BatOffset(1 * MiB));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
}

}  // namespace
}  // namespace NTest
