#include <vhdx_parser/accessor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/container/opening.h"
#include "vhdx_parser/container/region_table.h"

namespace NTest {
namespace {

using CRegion = NVHDX::CAccessor::CRegion;
using testing::ElementsAre;

static_assert(CRegion::typeUnknown == 1 && CRegion::typeBAT == 2 && CRegion::typeMetadata == 3);
static_assert(sizeof(CRegion::EType) == 4 &&
              std::is_signed_v<std::underlying_type_t<CRegion::EType>>);

CLines UpToTheRegions() {
    return IdentifierLines() + HeaderLines();
}

CRegionEntry Entry(const CGuid& guid, std::uint64_t offset, std::uint32_t length,
                   std::uint32_t flags = 1) {
    CRegionEntry entry;
    entry.guid = guid;
    entry.offset = offset;
    entry.length = length;
    entry.flags = flags;
    return entry;
}

/// The usual container with these entries in its region table.
CImageBuilder Regions(const std::vector<CRegionEntry>& entries) {
    return CImageBuilder().EditRegionTables(
        [entries](CRegionTable& table) { table.entries = entries; });
}

const CRegionEntry Bat = Entry(NGuid::batRegion, 3 * MiB, 1 * MiB);
const CRegionEntry Metadata = Entry(NGuid::metadataRegion, 2 * MiB, 1 * MiB);

/// What is kept of the region table.
std::map<CRegion::EType, CRegion> Kept(const CImageBuilder& builder) {
    CInputStream stream(builder.Build());
    std::map<CRegion::EType, CRegion> regions;
    EXPECT_TRUE(NVHDX::ReadRegionTable(stream, regions));
    return regions;
}

TEST(EntryRegionTable, KeepsTypeOffsetAndLength) {
    const auto regions = Kept(Regions({Entry(NGuid::batRegion, 0xFEDCBA9876543210, 0xFFFFFFFF),
                                       Entry(NGuid::metadataRegion, 2 * MiB, 65536)}));
    ASSERT_EQ(regions.size(), 2u);
    EXPECT_EQ(regions.at(CRegion::typeBAT).type, CRegion::typeBAT);
    EXPECT_EQ(regions.at(CRegion::typeBAT).offset, 0xFEDCBA9876543210u);
    EXPECT_EQ(regions.at(CRegion::typeBAT).length, 0xFFFFFFFFu);
    EXPECT_EQ(regions.at(CRegion::typeMetadata).type, CRegion::typeMetadata);
    EXPECT_EQ(regions.at(CRegion::typeMetadata).offset, 2 * MiB);
    EXPECT_EQ(regions.at(CRegion::typeMetadata).length, 65536u);
}

TEST(EntryRegionTable, RegionsComeInAnyOrder) {
    const COpening opening = Open(Regions({Metadata, Bat}));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(MetadataRegionLine(), BatRegionLine()) +
                                 ItemLines() + OkLine());
}

TEST(EntryRegionTable, BadFirstCopyIsRefusedThoughTheSecondIsGood) {
    const COpening opening =
        Open(CImageBuilder().EditRegionTable(0, [](CRegionTable& table) { table.signature = 5; }));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(Line(4, "REG_TBL_HDR Bad Signature = 5"),
                                                      Line(3, "REG_TBL_HDR not iteration")));
}

TEST(EntryRegionTable, EveryByteOfTheSignatureCounts) {
    for (unsigned byte = 0; byte < 4; ++byte) {
        const COpening opening = Open(CImageBuilder().EditRegionTable(
            0, [byte](CRegionTable& table) { table.signature ^= 0x20u << (8 * byte); }));
        EXPECT_FALSE(opening.opened) << byte;
        EXPECT_EQ(opening.lines.back(), Line(3, "REG_TBL_HDR not iteration")) << byte;
    }
}

TEST(EntryRegionTable, SecondCopyIsNotLookedAt) {
    const COpening opening =
        Open(CImageBuilder().EditRegionTable(1, [](CRegionTable& table) { table.signature = 5; }));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
}

TEST(EntryRegionTable, TableThatTheFileCutsOffIsRefused) {
    for (const std::uint64_t size : {196608U, 196608U + 15U}) {
        const COpening opening = Open(CImageBuilder().FileSize(size));
        EXPECT_FALSE(opening.opened) << size;
        EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(Line(3, "REG_TBL_HDR not iteration")));
    }
}

TEST(EntryRegionTable, UnreachableTableIsRefused) {
    CInputStream stream(CImageBuilder().FileSize(131072 + 4096).Build());
    stream.Buffer().RefuseSeekPastEnd();
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(Line(3, "REG_TBL_HDR not iteration")));
}

TEST(EntryRegionTable, EntryThatTheFileCutsOffIsUnreadable) {
    const COpening first = Open(CImageBuilder().FileSize(196624 + 31));
    EXPECT_FALSE(first.opened);
    EXPECT_EQ(first.lines,
              UpToTheRegions() + Lines(Line(3, "MAP_REGION failed Stream Portion Reading")));
    const COpening second = Open(CImageBuilder().FileSize(196624 + 63));
    EXPECT_FALSE(second.opened);
    EXPECT_EQ(second.lines,
              UpToTheRegions() +
                  Lines(BatRegionLine(), Line(3, "MAP_REGION failed Stream Portion Reading")));
}

TEST(EntryRegionTable, CountWithoutBoundEndsWhereTheFileEnds) {
    const COpening opening =
        Open(CImageBuilder()
                 .EditRegionTable(0, [](CRegionTable& table) { table.entryCount = 0xFFFFFFFF; })
                 .FileSize(196624 + 10 * 32));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + RegionLines() + CLines(8, UnknownRegionLine()) +
                                 Lines(Line(3, "MAP_REGION failed Stream Portion Reading")));
}

TEST(EntryRegionTable, UnknownRegionIsPassedOver) {
    const COpening opening =
        Open(Regions({Bat, Entry(NGuid::unknown, 8 * MiB, 1 * MiB, 0), Metadata}));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() +
                                 Lines(BatRegionLine(), UnknownRegionLine(), MetadataRegionLine()) +
                                 ItemLines() + OkLine());
}

TEST(EntryRegionTable, UnknownRegionIsNotKept) {
    EXPECT_EQ(Kept(Regions({Entry(NGuid::unknown, 8 * MiB, 1 * MiB, 0), Bat, Metadata})).size(),
              2u);
}

TEST(EntryRegionTable, UnknownRequiredRegionIsRefused) {
    const COpening opening =
        Open(Regions({Bat, Entry(NGuid::unknown, 8 * MiB, 1 * MiB, 1), Metadata}));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(BatRegionLine(), UnknownRegionLine(),
                                                      Line(3, "MAP_REGION Required != 0")));
}

TEST(EntryRegionTable, OnlyTheLowestBitMeansRequired) {
    EXPECT_TRUE(Open(Regions({Bat, Metadata, Entry(NGuid::unknown, 0, 0, 0xFFFFFFFE)})).opened);
    EXPECT_FALSE(Open(Regions({Bat, Metadata, Entry(NGuid::unknown, 0, 0, 0xFFFFFFFF)})).opened);
}

TEST(EntryRegionTable, KnownRegionsNeedNotBeRequired) {
    CRegionEntry bat = Bat;
    CRegionEntry metadata = Metadata;
    bat.flags = 0;
    metadata.flags = 0;
    EXPECT_EQ(Open(Regions({bat, metadata})).lines, SuccessLines());
}

TEST(EntryRegionTable, GuidThatDiffersInOneByteIsUnknown) {
    for (std::size_t byte = 0; byte < 16; ++byte) {
        CRegionEntry almost = Entry(NGuid::batRegion, 3 * MiB, 1 * MiB, 0);
        almost.guid[byte] ^= 1;
        const COpening opening = Open(Regions({almost, Metadata}));
        EXPECT_FALSE(opening.opened) << byte;
        EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(UnknownRegionLine(), MetadataRegionLine(),
                                                          Line(3, "MAP_REGION size < 2")));
    }
}

TEST(EntryRegionTable, DuplicateRegionIsDroppedWithoutALineOfItsOwn) {
    const CImageBuilder builder = Regions({Bat, Metadata, Entry(NGuid::batRegion, 9 * MiB, 5),
                                           Entry(NGuid::metadataRegion, 7 * MiB, 6)});
    const COpening opening = Open(builder);
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheRegions() + RegionLines() + RegionLines() + ItemLines() + OkLine());
    const auto regions = Kept(builder);
    EXPECT_EQ(regions.at(CRegion::typeBAT).offset, 3 * MiB);
    EXPECT_EQ(regions.at(CRegion::typeBAT).length, 1 * MiB);
    EXPECT_EQ(regions.at(CRegion::typeMetadata).offset, 2 * MiB);
    EXPECT_EQ(regions.at(CRegion::typeMetadata).length, 1 * MiB);
}

TEST(EntryRegionTable, EmptyTableIsRefused) {
    const COpening opening = Open(Regions({}));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(Line(3, "MAP_REGION size < 2")));
}

TEST(EntryRegionTable, BatRegionAloneIsRefused) {
    const COpening opening = Open(Regions({Bat, Bat}));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheRegions() + Lines(BatRegionLine(), BatRegionLine(),
                                                      Line(3, "MAP_REGION size < 2")));
}

TEST(EntryRegionTable, MetadataRegionAloneIsRefused) {
    const COpening opening = Open(Regions({Metadata}));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheRegions() + Lines(MetadataRegionLine(), Line(3, "MAP_REGION size < 2")));
}

TEST(EntryRegionTable, EntriesBeyondTheCountAreNotRead) {
    const COpening opening =
        Open(CImageBuilder().EditRegionTable(0, [](CRegionTable& table) { table.entryCount = 1; }));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheRegions() + Lines(BatRegionLine(), Line(3, "MAP_REGION size < 2")));
}

TEST(EntryRegionTable, RegionLengthsAreNotChecked) {
    CRegionEntry bat = Bat;
    CRegionEntry metadata = Metadata;
    bat.length = 0;
    metadata.length = 0;
    EXPECT_EQ(Open(Regions({bat, metadata})).lines, SuccessLines());
}

}  // namespace
}  // namespace NTest
