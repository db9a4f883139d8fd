#include "tests/hostile/hostile_disk.h"

// Disks that open and have all their metadata items, with a geometry or a block allocation table
// that is hostile.

namespace NTest {
namespace {

class HostileBlockTable : public testing::TestWithParam<CHostileDisk> {};

const std::string NoTable = "LoadBlocks\nBatData\n";

std::string NoData(const std::string& request, const std::string& position) {
    return "3 File is in failed state after request data with size \"4096\"\n"
           "3 Requested data. Failed to process with offset \"" +
           position + "\"\n" + request + "\n";
}

const std::string NoBitmap =
    "3 File is in failed state after request data with size \"1048576\"\n"
    "3 Requested sector bitmap. Failed to load data\nBitmap\n";

CImageBuilder Disk() {
    return CImageBuilder();
}

/// What the region table says of the table is changed; the table itself is where it was.
template <class TEdit>
CImageBuilder BatRegion(TEdit edit) {
    return Disk().EditRegionTables(
        [edit](CRegionTable& table) { edit(table.Find(NGuid::batRegion)); });
}

/// The geometry's claim would make a file of its own size: the file is cut to the usual one.
CImageBuilder Small(CImageBuilder builder) {
    return builder.FileSize(4 * MiB);
}

}  // namespace

std::vector<CHostileDisk> HostileBlockTables() {
    return {
        {"BlockSizeOf0", Small(Disk().BlockSize(0)), NoTable},
        // A byte for each block: 2^24 of them are more than the table's region holds.
        {"BlockSizeOf1", Small(Disk().BlockSize(1)).BatLength(1 * MiB), NoTable},
        // 4 GiB - 1 goes into a chunk of 4 GiB once.
        {"BlockSizeOf4GiBMinus1", Small(Disk().BlockSize(0xFFFFFFFF)), ""},
        {"BlockSizeNoPowerOfTwo", Disk().BlockSize(1000001), ""},
        {"BlockSizeThatDoesNotDivideTheChunk",
         Disk().BlockSize(3 * MiB).VirtualSize(5 * GiB).AllocateData(1366, CBytes{1}), ""},
        {"SectorSizeOf0", Small(Disk().SectorSize(0)), NoTable},
        // A chunk of 8 MiB.
        {"SectorSizeOf1", Disk().SectorSize(1), ""},
        {"SectorSizeOf1WithABlockLargerThanTheChunk",
         Small(Disk().SectorSize(1).BlockSize(16 * MiB)), NoTable},
        // Only 16 bits of the size are kept, and they are 0.
        {"SectorSizeOf65536", Disk().SectorSize(65536), NoTable},
        {"VirtualSizeOf0", Disk().VirtualSize(0), NoTable},
        // A table without entries: the disk loads, and no chunk can hold a block.
        {"VirtualSizeOf0WithAParent", Disk().Differencing().VirtualSize(0),
         "Start: invalid vector subscript\nEnd: invalid vector subscript\n"
         "RealOffsets: invalid vector subscript\n"},
        {"VirtualSizeOf1", Disk().VirtualSize(1), ""},
        {"VirtualSizeOfAllOnes", Small(Disk().VirtualSize(0xFFFFFFFFFFFFFFFF)), NoTable},
        // 2^32 + 1 blocks, of which 1 is left in 32 bits.
        {"BlockCountWraps32Bits", Small(Disk().VirtualSize((4 * GiB + 1) * MiB)),
         "End: invalid vector subscript\nRealOffsets: invalid vector subscript\n"},
        // 2^29 entries of 8 bytes.
        {"TableSizeWraps32Bits", Small(Disk().VirtualSize((512 * MiB) * MiB)), NoTable},
        {"TableLargerThanItsRegion", Disk().BatLength(127), NoTable},
        {"TableAsLargeAsItsRegion", Disk().BatLength(128), ""},
        {"RegionOfNoLength", Disk().BatLength(0), NoTable},
        {"RegionLengthOfAllOnes", Disk().BatLength(0xFFFFFFFF), ""},
        // A table of 2 GiB is claimed, which the file does not have.
        {"TableOf2GiBInASmallFile", Small(Disk().VirtualSize((256 * MiB - 100000) * MiB)), NoTable},
        {"FileEndsWhereTheTableStarts", Disk().FileSize(3 * MiB), NoTable},
        {"FileEndsInTheMiddleOfTheTable", Disk().FileSize(3 * MiB + 64), NoTable},
        {"RegionAtAllOnes",
         BatRegion([](CRegionEntry& region) { region.offset = 0xFFFFFFFFFFFFFFFF; }), NoTable},
        {"RegionPastTheEnd", BatRegion([](CRegionEntry& region) { region.offset = 1 * TiB; }),
         NoTable},
        // The identifier as entries: "vhdxfile" has the state bits 6, the zeros behind it 0.
        {"RegionOverTheFileIdentifier", BatRegion([](CRegionEntry& region) { region.offset = 0; }),
         "LoadBlocks\n"},
        // Every number of the header has state bits that an entry may have.
        {"RegionOverTheHeader", BatRegion([](CRegionEntry& region) { region.offset = 64 * KiB; }),
         ""},
        {"RegionOverTheMetadataTable",
         BatRegion([](CRegionEntry& region) { region.offset = 2 * MiB; }), "LoadBlocks\n"},
        {"BlockInState4", Disk().PayloadBlock(15, 4, 9), "LoadBlocks\n"},
        {"BlockInState5", Disk().PayloadBlock(0, 5, 9), "LoadBlocks\n"},
        {"PartialBlockWithoutParent", Disk().PayloadBlock(0, 7, 9), "LoadBlocks\n"},
        {"SectorBitmapInState1", Disk().Differencing().SectorBitmapBlock(0, 1, 9), "LoadBlocks\n"},
        {"SectorBitmapInState7", Disk().Differencing().SectorBitmapBlock(0, 7, 9), "LoadBlocks\n"},
        {"EveryEntryIsAllOnes", Disk().Bytes(3 * MiB, CBytes(128, 0xFF)), "LoadBlocks\n"},
        {"BlockPastTheEnd", Disk().PayloadBlock(0, 6, 1024), NoData("Start", "1073741824")},
        {"BlockAtTheLargestPosition", Disk().PayloadBlock(0, 6, 0xFFFFFFFFFFF),
         NoData("Start", "18446744073708503040")},
        {"BlockEndsInTheMiddle", Disk().AllocateData(15, CBytes{1}).FileSize(5 * MiB - 4095),
         NoData("End", "5238784")},
        {"BlocksOverTheHeaderAndEachOther",
         Disk().PayloadBlock(0, 6, 0).PayloadBlock(1, 6, 0).PayloadBlock(15, 6, 0), ""},
        {"ReservedBitsOfAnEntry", Disk().PayloadBlock(0, 6, 3, 0x1FFFF), ""},
        {"SectorBitmapPastTheEnd", Disk().Differencing().SectorBitmapBlock(0, 6, 1024), NoBitmap},
        {"SectorBitmapAtTheLargestPosition",
         Disk().Differencing().SectorBitmapBlock(0, 6, 0xFFFFFFFFFFF), NoBitmap},
        {"BlocksOverTheTablesAndTheLog",
         Disk().PayloadBlock(0, 6, 1).PayloadBlock(1, 6, 2).PayloadBlock(15, 6, 3), ""},
        {"SectorBitmapOverABlock",
         Disk().Differencing().SectorBitmapBlock(0, 6, 3).PayloadBlock(0, 7, 3), ""},
        {"SectorBitmapEndsInTheMiddle",
         Disk().Differencing().AllocateSectorBitmap(0, CBytes{0xFF}).FileSize(5 * MiB - 1),
         NoBitmap},
        {"SectorBitmapOverTheHeader", Disk().Differencing().SectorBitmapBlock(0, 6, 0), ""},
        // The last chunk of a disk of exactly one chunk: nothing lies behind it.
        {"DiskThatEndsWithItsChunk", Disk().VirtualSize(4 * GiB), ""},
    };
}

namespace {

TEST_P(HostileBlockTable, IsHandled) {
    ExpectHandled(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Table, HostileBlockTable, testing::ValuesIn(HostileBlockTables()),
                         NameOfDisk);

}  // namespace
}  // namespace NTest
