#include "tests/disk/check_result.h"

namespace NTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

CImageBuilder WithBat(const std::function<void(CRegionEntry&)>& edit) {
    return CImageBuilder().EditRegionTables(
        [edit](CRegionTable& table) { edit(table.Find(NGuid::batRegion)); });
}

TEST(DiskCheckRegion, FindsEachCopyThatIsNoRegionTable) {
    const auto spoil = [](CRegionTable& table) { table.signature = 0; };
    EXPECT_THAT(
        Sentences(CImageBuilder().EditRegionTable(0, spoil)),
        ElementsAre("region-table-signature at offset 196608: this copy of the region table "
                    "does not begin with \"regi\" and is of no use",
                    "not-opened at file: the disk cannot be opened though no other error was "
                    "found: the disk is damaged: its headers, the place of its log, its region "
                    "table or its metadata table cannot be read"));
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTable(1, spoil)),
                ElementsAre("region-table-signature at offset 262144"));
}

/// A reader follows the header with the greatest number to the log, whatever its checksum says.
TEST(DiskCheckRegion, SaysThatADiskCannotBeOpenedForALogThatIsNotThere) {
    EXPECT_THAT(Check(CImageBuilder()
                          .EditHeader(1,
                                      [](CHeader& header) {
                                          header.checksum = 5;
                                          header.logGuid = NGuid::unknown;
                                          header.logOffset = 1 * TiB;
                                      })
                          .Build())
                    .Kinds(),
                ElementsAre("header-checksum", "not-opened"));
}

TEST(DiskCheckRegion, FindsAWrongChecksumAndGoesByTheOtherCopy) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTable(0,
                                                         [](CRegionTable& table) {
                                                             table.checksum = 5;
                                                             table.entries.clear();
                                                         })),
                ElementsAre("region-table-checksum at offset 196608",
                            "region-tables-differ at offset 196608"));
}

/// Readers take the first copy whatever its checksum says.
TEST(DiskCheckRegion, FindsADamagedFirstCopyThatLeadsAstray) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTable(0,
                                                         [](CRegionTable& table) {
                                                             table.checksum = 5;
                                                             table.Find(NGuid::batRegion).length =
                                                                 8;
                                                         })),
                ElementsAre("region-table-checksum at offset 196608",
                            "region-tables-differ at offset 196608"));
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTable(
                    0, [](CRegionTable& table) { table.checksum = 5; })),
                ElementsAre("region-table-checksum at offset 196608"));
}

TEST(DiskCheckRegion, FindsADamagedByteAtTheEndOfTheTable) {
    EXPECT_THAT(Findings(CImageBuilder().Bytes(262144 + 65535, CBytes{1})),
                ElementsAre("region-table-checksum at offset 262144"));
}

TEST(DiskCheckRegion, FindsCopiesThatDiffer) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTable(
                    1, [](CRegionTable& table) { table.Find(NGuid::batRegion).length = 2 * MiB; })),
                ElementsAre("region-tables-differ at offset 262144"));
}

TEST(DiskCheckRegion, FindsMoreEntriesThanTheTableHasRoomFor) {
    EXPECT_THAT(
        Findings(CImageBuilder().EditRegionTable(0, [](CRegionTable& t) { t.entryCount = 2048; })),
        ElementsAre("region-table-count at offset 196608"));
}

TEST(DiskCheckRegion, FindsAMissingRegion) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTables(
                    [](CRegionTable& table) { table.Remove(NGuid::batRegion); })),
                ElementsAre("region-missing at region table"));
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTables(
                    [](CRegionTable& table) { table.Remove(NGuid::metadataRegion); })),
                ElementsAre("region-missing at region table"));
}

TEST(DiskCheckRegion, FindsARegionThatStandsThereTwice) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTables(
                    [](CRegionTable& table) { table.entries.push_back(table.entries[0]); })),
                ElementsAre("region-duplicate at offset 3145728"));
}

TEST(DiskCheckRegion, FindsAnUnknownRegionOnlyWhereItIsRequired) {
    const auto with = [](std::uint32_t flags) {
        return CImageBuilder().FileSize(5 * MiB).EditRegionTables([flags](CRegionTable& table) {
            table.entries.push_back({NGuid::unknown, 4 * MiB, MiB, flags});
        });
    };
    EXPECT_THAT(Findings(with(1)), ElementsAre("region-unknown at offset 4194304"));
    EXPECT_THAT(Findings(with(0)), IsEmpty());
}

TEST(DiskCheckRegion, FindsAReservedFieldOfEachTable) {
    const auto set = [](CRegionTable& table) { table.reserved = 1; };
    EXPECT_THAT(Sentences(CImageBuilder().EditRegionTables(set)),
                ElementsAre("region-table-reserved at offset 196620: the reserved field of this "
                            "copy of the region table is not 0",
                            "region-table-reserved at offset 262156: the reserved field of this "
                            "copy of the region table is not 0"));
}

TEST(DiskCheckRegion, FindsReservedBitsOfAnEntry) {
    for (const std::uint32_t bit : {1u, 31u}) {
        EXPECT_THAT(Sentences(WithBat([bit](CRegionEntry& bat) { bat.flags |= 1u << bit; })),
                    ElementsAre("region-reserved at offset 196652: the block allocation table: "
                                "the reserved bits 1 to 31 of its entry are not 0"));
    }
}

TEST(DiskCheckRegion, FindsReservedBitsWhereTheTableIsTheSecondOne) {
    EXPECT_THAT(Findings(CImageBuilder()
                             .EditRegionTable(0, [](CRegionTable& table) { table.signature = 0; })
                             .EditRegionTable(1,
                                              [](CRegionTable& table) {
                                                  table.Find(NGuid::metadataRegion).flags = 3;
                                              })),
                ElementsAre("region-table-signature at offset 196608",
                            "region-reserved at offset 262220", "not-opened at file"));
}

TEST(DiskCheckRegion, TakesAKnownRegionThatIsNotMarkedAsRequired) {
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.flags = 0; })), IsEmpty());
}

TEST(DiskCheckRegion, FindsAMisalignedRegion) {
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.length = 65536; })),
                ElementsAre("region-misaligned at offset 3145728"));
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.offset += 4096; }).FileSize(5 * MiB)),
                ElementsAre("region-misaligned at offset 3149824"));
}

TEST(DiskCheckRegion, FindsARegionInTheHeaderArea) {
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.offset = 0; })),
                Contains("region-in-header at offset 0"));
}

TEST(DiskCheckRegion, FindsARegionPastTheEndOfTheFile) {
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.length = 2 * MiB; })),
                ElementsAre("region-past-end at offset 3145728"));
    EXPECT_THAT(Findings(WithBat([](CRegionEntry& bat) { bat.offset = 0xFFFFFFFFFFF00000; })),
                ElementsAre("region-past-end at offset 18446744073708503040"));
}

TEST(DiskCheckRegion, FindsRegionsThatOverlap) {
    EXPECT_THAT(Findings(CImageBuilder().EditRegionTables([](CRegionTable& table) {
                    table.Find(NGuid::metadataRegion).length = 2 * MiB;
                })),
                ElementsAre("region-overlap at offset 3145728"));
}

TEST(DiskCheckRegion, FindsALogInTheWayOrOutOfPlace) {
    EXPECT_THAT(Findings(CImageBuilder().LogAt({}, MiB, 2 * MiB)),
                ElementsAre("region-overlap at offset 2097152"));
    EXPECT_THAT(Findings(CImageBuilder().LogAt({}, 9 * MiB, MiB)),
                ElementsAre("region-past-end at offset 9437184"));
    EXPECT_THAT(Findings(CImageBuilder().LogAt({}, MiB, 4096)),
                ElementsAre("region-misaligned at offset 1048576"));
}

TEST(DiskCheckRegion, WantsNoRoomForALogThatIsNotThere) {
    EXPECT_THAT(Findings(CImageBuilder().LogAt({}, 0, 0)), IsEmpty());
}

}  // namespace
}  // namespace NTest
