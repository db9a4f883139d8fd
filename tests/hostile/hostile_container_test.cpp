#include "tests/hostile/hostile_disk.h"

// What can be wrong before the metadata items: identifier, headers, log, region and metadata table.

namespace NTest {
namespace {

class HostileContainer : public testing::TestWithParam<CHostileDisk> {};

/// What the opening traces before its failure.
const std::string Identifier = "4 Reading size: 520\n";
const std::string Headers = Identifier +
                            "4 HDR Bad Signature = 1684104552\n"
                            "4 HDR Bad Signature = 1684104552\n"
                            "4 HDR SequenceNumber of iteration hdr = 2\n"
                            "4 HDR SequenceNumber of actual hdr = 1\n";
const std::string Regions = Headers +
                            "4 MAP_REGION type = CRegion::typeBAT\n"
                            "4 MAP_REGION type = CRegion::typeMetadata\n";
const std::string AllOnes = "18446744073709551615";

/// The usual items up to the one named last.
std::string Items(std::size_t count) {
    static const char* const names[] = {"FileParameters", "VirtualDiskSize", "Page83Data",
                                        "LogicalSectorSize", "PhysicalSectorSize"};
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines.append("4 METADATA_REGION type = CMetadata::type").append(names[i]).append("\n");
    }
    return lines;
}

std::string LogHeader(const std::string& offset) {
    return "4 HDR Log id = {0BADF00D-1111-2222-3333-444444444444}\n4 HDR Log offset = " + offset +
           "\n4 HDR Log lenght = 1048576\n";
}

CImageBuilder Cut(std::uint64_t size) {
    return CImageBuilder().FileSize(size);
}

template <class TEdit>
CImageBuilder Regional(TEdit edit) {
    return CImageBuilder().EditRegionTables(edit);
}

template <class TEdit>
CImageBuilder Metadata(TEdit edit) {
    return CImageBuilder().EditMetadata(edit);
}

}  // namespace

/// Here the report is the complete trace of the opening, which fails.
std::vector<CHostileDisk> HostileContainers() {
    const std::string badIdentifier = Identifier + "3 Reading failed Stream Portion Reading\n";
    const std::string badHeaders = Identifier + "3 HDR item not selected\n";
    const std::string oneHeader =
        Identifier + "4 HDR Bad Signature = 1684104552\n3 HDR item not selected\n";
    const std::string signature =
        "3 Signature. The Hyper-V RCT module supports only *.vhdx disks. Please be certain that "
        "the *.vhdx disk format was selected and that the disk is not corrupted.\n";
    const std::string unknownRegion = "4 MAP_REGION type = 1\n";
    const std::string regionRead = "3 MAP_REGION failed Stream Portion Reading\n";
    return {
        {"EmptyFile", Cut(0), badIdentifier},
        {"EndsInTheMiddleOfTheIdentifier", Cut(260), badIdentifier},
        {"EndsOneByteBeforeTheIdentifiersEnd", Cut(519), badIdentifier},
        {"IdentifierOfZeros",
         CImageBuilder().EditFileTypeIdentifier([](auto& identifier) { identifier.signature = 0; }),
         Identifier + signature},
        {"IdentifierOfAllOnes", CImageBuilder().EditFileTypeIdentifier([](auto& identifier) {
             identifier.signature = 0xFFFFFFFFFFFFFFFF;
         }),
         Identifier + signature},
        {"EndsBehindTheIdentifier", Cut(520), badHeaders},
        {"EndsWhereTheFirstHeaderStarts", Cut(64 * KiB), badHeaders},
        {"EndsInTheMiddleOfTheFirstHeader", Cut(64 * KiB + 40), badHeaders},
        {"EndsWhereTheSecondHeaderStarts", Cut(128 * KiB), oneHeader},
        {"EndsInTheMiddleOfTheSecondHeader", Cut(128 * KiB + 40), oneHeader},
        {"NoHeaderHasASignature",
         CImageBuilder().EditHeaders([](CHeader& header) { header.signature = 0; }),
         Identifier + "4 HDR Bad Signature = 0\n4 HDR Bad Signature = 0\n3 HDR hdr not actual\n"},
        {"LogAtAllOnes", CImageBuilder().LogAt(NGuid::unknown, 0xFFFFFFFFFFFFFFFF, 1048576),
         Headers + LogHeader(AllOnes) + "3 LOG bad position\n"},
        {"LogAtTheLargestSignedPosition",
         CImageBuilder().LogAt(NGuid::unknown, 0x7FFFFFFFFFFFFFFF, 1048576),
         Headers + LogHeader("9223372036854775807") + "3 LOG bad position\n"},
        {"LogPastTheEnd", CImageBuilder().LogAt(NGuid::unknown, 1 * TiB, 1048576),
         Headers + LogHeader("1099511627776") + "3 LOG bad position\n"},
        {"LogEntryEndsInTheMiddle", CImageBuilder().LogAt(NGuid::unknown, 4 * MiB - 32, 1048576),
         Headers + LogHeader("4194272") + "3 LOG ENTRY HEADER failed Stream Portion Reading\n"},
        {"EndsWhereTheRegionTableStarts", Cut(192 * KiB),
         Headers + "3 REG_TBL_HDR not iteration\n"},
        {"EndsInTheMiddleOfTheRegionTablesHeader", Cut(192 * KiB + 8),
         Headers + "3 REG_TBL_HDR not iteration\n"},
        {"EndsBehindTheRegionTablesHeader", Cut(192 * KiB + 16), Headers + regionRead},
        {"EndsInTheMiddleOfTheSecondRegion", Cut(192 * KiB + 16 + 32 + 31),
         Headers + "4 MAP_REGION type = CRegion::typeBAT\n" + regionRead},
        {"RegionTableOfZeros", Regional([](CRegionTable& table) { table.signature = 0; }),
         Headers + "4 REG_TBL_HDR Bad Signature = 0\n3 REG_TBL_HDR not iteration\n"},
        {"RegionCountOf0", Regional([](CRegionTable& table) { table.entryCount = 0; }),
         Headers + "3 MAP_REGION size < 2\n"},
        {"RegionCountOf1", Regional([](CRegionTable& table) { table.entryCount = 1; }),
         Headers + "4 MAP_REGION type = CRegion::typeBAT\n3 MAP_REGION size < 2\n"},
        {"RequiredRegionIsUnknown",
         Regional([](CRegionTable& table) { table.entries[0].guid = NGuid::unknown; }),
         Headers + unknownRegion + "3 MAP_REGION Required != 0\n"},
        {"TwoBatRegions",
         Regional([](CRegionTable& table) { table.entries[1].guid = NGuid::batRegion; }),
         Headers + "4 MAP_REGION type = CRegion::typeBAT\n"
                   "4 MAP_REGION type = CRegion::typeBAT\n3 MAP_REGION size < 2\n"},
        {"EndsWhereTheMetadataTableStarts", Cut(2 * MiB),
         Regions + "3 METADATA_REGION failed Stream Portion Reading\n"},
        {"EndsInTheMiddleOfTheMetadataTablesHeader", Cut(2 * MiB + 31),
         Regions + "3 METADATA_REGION failed Stream Portion Reading\n"},
        {"EndsBehindTheMetadataTablesHeader", Cut(2 * MiB + 32),
         Regions + "3 METADATA_REGION bad position\n"},
        {"EndsInTheMiddleOfTheThirdItemsEntry", Cut(2 * MiB + 32 + 2 * 32 + 16),
         Regions + Items(2) + "3 METADATA_REGION bad position\n"},
        {"MetadataRegionAtAllOnes", Regional([](CRegionTable& table) {
             table.Find(NGuid::metadataRegion).offset = 0xFFFFFFFFFFFFFFFF;
         }),
         Regions + "3 METADATA_REGION bad position\n"},
        {"MetadataRegionPastTheEnd",
         Regional([](CRegionTable& table) { table.Find(NGuid::metadataRegion).offset = 1 * TiB; }),
         Regions + "3 METADATA_REGION failed Stream Portion Reading\n"},
        {"MetadataRegionOverTheFileIdentifier",
         Regional([](CRegionTable& table) { table.Find(NGuid::metadataRegion).offset = 0; }),
         Regions + "3 METADATA_REGION bad Signature\n"},
        {"MetadataRegionOverTheHeader",
         Regional([](CRegionTable& table) { table.Find(NGuid::metadataRegion).offset = 64 * KiB; }),
         Regions + "3 METADATA_REGION bad Signature\n"},
        {"MetadataTableOfZeros", Metadata([](CMetadataTable& table) { table.signature = 0; }),
         Regions + "3 METADATA_REGION bad Signature\n"},
        {"RequiredItemIsUnknown",
         Metadata([](CMetadataTable& table) { table.items[0].guid = NGuid::unknown; }),
         Regions + "3 METADATA_REGION Required != 0\n"},
    };
}

namespace {

TEST_P(HostileContainer, IsRefused) {
    const CTemporaryFolder folder;
    const std::filesystem::path path = folder / "hostile.vhdx";
    GetParam().builder.Build().WriteTo(path);
    const CMeasuredRun run = RunMeasured([&] { return TraceOpening(path); });
    ExpectHarmless(run);
    EXPECT_EQ(run.result, GetParam().report);
    const std::string probed = RunMeasured([&] { return ProbeDisk(path); }).result;
    EXPECT_TRUE(probed.ends_with("\nEntry\n")) << probed;
}

INSTANTIATE_TEST_SUITE_P(Table, HostileContainer, testing::ValuesIn(HostileContainers()),
                         NameOfDisk);

}  // namespace

/// Counts that the file bears: what lies behind the table is taken for entries, and zeros are
/// entries that mean nothing.
std::vector<CHostileDisk> HostileOpenings() {
    const auto regions = [](std::uint32_t count) {
        return Regional([=](CRegionTable& table) { table.entryCount = count; });
    };
    const auto items = [](std::uint16_t count) {
        return Metadata([=](CMetadataTable& table) { table.entryCount = count; });
    };
    return {
        {"RegionCountOneTooLarge", regions(3), ""},
        {"RegionCountOneMoreThanThereIsRoomFor", regions(2048), ""},
        {"ItemCountOneTooLarge", items(6), ""},
        {"ItemCountOneMoreThanThereIsRoomFor", items(2048), ""},
        {"LogLengthOf0", CImageBuilder().LogAt(NGuid::unknown, 1 * MiB, 0), ""},
        {"LogLengthOfAllOnes", CImageBuilder().LogAt(NGuid::unknown, 1 * MiB, 0xFFFFFFFF), ""},
        {"LogOverTheHeaders", CImageBuilder().LogAt(NGuid::unknown, 0, 1 * MiB), ""},
        {"LogAtAnOddPlace", CImageBuilder().LogAt(NGuid::unknown, 1 * MiB + 1, 4097), ""},
        // 32 MiB without a byte of data behind the table, each 32 bytes of which is an entry.
        {"RegionCountOfAllOnesInASparseFile",
         regions(0xFFFFFFFF)
             .EditRegionTable(1, [](CRegionTable& table) { table.present = false; })
             .FileSize(32 * MiB),
         "3 MAP_REGION failed Stream Portion Reading\nEntry\n"},
    };
}

namespace {

class HostileOpening : public testing::TestWithParam<CHostileDisk> {};

TEST_P(HostileOpening, IsHandled) {
    ExpectHandled(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Table, HostileOpening, testing::ValuesIn(HostileOpenings()), NameOfDisk);

/// The count of all ones is walked to the end of the file, and no further.
TEST(HostileContainerCount, RegionCountOfAllOnesEndsWithTheFile) {
    ExpectHandled({"", Regional([](CRegionTable& table) { table.entryCount = 0xFFFFFFFF; }),
                   "3 MAP_REGION failed Stream Portion Reading\nEntry\n"});
}

/// 65,535 entries of which only the usual ones mean something: the rest are zeros.
TEST(HostileContainerCount, ItemCountOfAllOnesIsWalked) {
    ExpectHandled(
        {"", Metadata([](CMetadataTable& table) { table.entryCount = 0xFFFF; }).FileSize(8 * MiB),
         ""});
}

}  // namespace
}  // namespace NTest
