#include "tests/tool/damaged_disks.h"

#include "tests/support/log_builder.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

void Write(const fs::path& folder, const CImageBuilder& disk) {
    disk.Build().WriteTo(folder / "disk.vhdx");
}

void WriteWithParent(const fs::path& folder, const CImageBuilder& disk) {
    CImageBuilder().Build().WriteTo(folder / "parent.vhdx");
    disk.Build().WriteTo(folder / "disk.avhdx");
}

void AddUnknownItem(CMetadataTable& table, std::uint32_t flags) {
    CMetadataItem item;
    item.guid = NGuid::unknown;
    item.payload = CBytes(4);
    item.flags = flags;
    table.items.push_back(item);
}

/// 4 MiB with data in block 1, and this log.
CImageBuilder DiskWithLog(const CLogImage& log) {
    return CImageBuilder()
        .VirtualSize(4 * MiB)
        .AllocateData(1, 7)
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, log.Bytes());
}

CLogImage LogOfPage(std::uint64_t position, const CBytes& page) {
    CLogImage log;
    log.Put(0, CLogEntryBuilder(3).Page(position, page).FileOffsets(5 * MiB, 5 * MiB).Bytes());
    return log;
}

/// Writes into block 1 of such a disk.
CLogImage LogOfData() {
    const std::uint64_t block = DiskWithLog(CLogImage()).BlockPosition(1);
    return LogOfPage(block + 8192, Pattern(9, 0, 4096));
}

}  // namespace

void WriteDamagedHeaders(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .EditFileTypeIdentifier(
                          [](CFileTypeIdentifier& identifier) { identifier.signature ^= 1; })
                      .EditHeader(0, [](CHeader& header) { header.checksum = 5; })
                      .EditHeader(1, [](CHeader& header) {
                          header.version = 2;
                          header.logVersion = 1;
                          header.reserved = {0, 0, 1};
                      }));
}

void WriteHeadersOfNoUse(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .EditHeader(0, [](CHeader& header) { header.signature = 0; })
                      .EditHeader(1, [](CHeader& header) { header.checksum = 5; }));
}

void WriteAmbiguousHeaders(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .EditHeaders([](CHeader& header) { header.sequenceNumber = 2; })
                      .EditHeader(0, [](CHeader& header) { header.fileWriteGuid[0] ^= 1; }));
}

void WriteDamagedRegionTables(const fs::path& folder) {
    const auto damage = [](CRegionTable& table) {
        table.reserved = 1;
        CRegionEntry& bat = table.Find(NGuid::batRegion);
        bat.flags = 3;
        bat.length = 65536;
        table.entries.push_back(table.entries[0]);
        table.entries.push_back({NGuid::unknown, 64 * MiB, MiB, 1});
    };
    Write(folder, CImageBuilder()
                      .EditRegionTable(0, [](CRegionTable& table) { table.signature = 0; })
                      .EditRegionTable(1, damage));
}

void WriteDifferentRegionTables(const fs::path& folder) {
    const auto lengthen = [](CRegionTable& table) {
        table.Find(NGuid::batRegion).length = 2 * MiB;
    };
    Write(folder, CImageBuilder().EditRegionTable(1, lengthen));
}

void WriteMissingRegions(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .EditRegionTables([](CRegionTable& table) { table.entries.clear(); })
                      .EditRegionTable(1, [](CRegionTable& table) { table.checksum = 5; }));
}

void WriteOverlappingRegions(const fs::path& folder) {
    const auto damage = [](CRegionTable& table) {
        table.Find(NGuid::metadataRegion).length = 2 * MiB;
        table.entries.push_back({NGuid::unknown, 0, MiB, 0});
    };
    Write(folder, CImageBuilder().LogAt({}, MiB, 2 * MiB).EditRegionTables(damage));
}

void WriteDamagedMetadataTable(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .EditMetadata([](CMetadataTable& table) { table.entryCount = 2048; })
                      .Bytes(2 * MiB + 8, {1}));
}

/// The second page 83 identifier lies where the first one does.
void WriteDamagedItems(const fs::path& folder) {
    const std::uint64_t place = CImageBuilder().ItemPosition(NGuid::page83Data) - 2 * MiB;
    const auto damage = [place](CMetadataTable& table) {
        table.Find(NGuid::virtualDiskSize).flags = 5;
        table.Find(NGuid::physicalSectorSize).length = 8;
        AddUnknownItem(table, 12);
        table.items.push_back(table.Find(NGuid::page83Data));
        table.items.back().offset = static_cast<std::uint32_t>(place);
        table.Find(NGuid::logicalSectorSize).offset = 1024;
    };
    Write(folder, CImageBuilder().EditMetadata(damage));
}

void WriteImpossibleValues(const fs::path& folder) {
    const auto damage = [](CMetadataTable& table) {
        Put64(table.Find(NGuid::virtualDiskSize).payload, 0, 64 * TiB + 512);
        Put32(table.Find(NGuid::fileParameters).payload, 4, 4);
    };
    Write(folder,
          CImageBuilder().BlockSize(3 * MiB).SectorSize(1024).PhysicalSectorSize(0).EditMetadata(
              damage));
}

void WriteMissingItems(const fs::path& folder) {
    Write(folder, CImageBuilder().EditMetadata([](CMetadataTable& table) { table.items.clear(); }));
}

void WriteDamagedLocator(const fs::path& folder) {
    const auto damage = [](CParentLocator& locator) {
        locator.reserved = 0x100;
        locator.entries[0].keyLength = 0;
        locator.entries[1].valueOffset = 0xFFFFFF00;
    };
    WriteWithParent(folder, CImageBuilder().Differencing().EditParentLocator(damage));
}

void WriteLocatorWithoutRoom(const fs::path& folder) {
    const auto claim = [](CParentLocator& locator) { locator.count = 3; };
    WriteWithParent(folder,
                    CImageBuilder().Differencing().ParentLocator({}).EditParentLocator(claim));
}

void WriteMissingLocator(const fs::path& folder) {
    WriteWithParent(folder, CImageBuilder().Differencing().NoParentLocator());
}

void WriteDamagedBlockTable(const fs::path& folder) {
    Write(folder, CImageBuilder()
                      .FileSize(8 * MiB)
                      .PayloadBlock(1, 4, 0)
                      .PayloadBlock(4, 4, 0)
                      .PayloadBlock(5, 5, 0)
                      .PayloadBlock(6, 4, 0, 1)
                      .PayloadBlock(8, 7, 4)
                      .PayloadBlock(9, 6, 0)
                      .PayloadBlock(11, 6, 8)
                      .PayloadBlock(12, 6, 0xFFFFFFFFFFF)
                      .PayloadBlock(14, 6, 5, 0x1FFFF));
}

/// Chunks of 16 blocks of 256 MiB, and one block too many in the last of them.
void WriteDamagedBitmapEntries(const fs::path& folder) {
    WriteWithParent(folder, CImageBuilder()
                                .Differencing()
                                .BlockSize(256 * MiB)
                                .VirtualSize(5 * 16 * 256 * MiB - 256 * MiB)
                                .FileSize(1024 * MiB)
                                .PayloadBlock(1, 7, 5)
                                .SectorBitmapBlock(1, 3, 0)
                                .SectorBitmapBlock(2, 6, 0)
                                .SectorBitmapBlock(3, 6, 1024, 1)
                                .PayloadBlock(79, 6, 300));
}

void WriteShortBlockTable(const fs::path& folder) {
    Write(folder, CImageBuilder().BatLength(15 * 8).PayloadBlock(14, 5, 0).FileSize(3 * MiB + 100));
}

/// Blocks on the log, the metadata and the table, on each other in part, and a bitmap on a block.
void WriteOverlappingBlocks(const fs::path& folder) {
    WriteWithParent(folder, CImageBuilder()
                                .Differencing()
                                .BlockSize(2 * MiB)
                                .FileSize(16 * MiB)
                                .PayloadBlock(0, 6, 1)
                                .PayloadBlock(1, 6, 3)
                                .PayloadBlock(2, 6, 6)
                                .PayloadBlock(3, 6, 7)
                                .PayloadBlock(4, 7, 10)
                                .PayloadBlock(5, 6, 10)
                                .SectorBitmapBlock(0, 6, 11));
}

void WritePendingDamage(const fs::path& folder) {
    const CImageBuilder disk = DiskWithLog(CLogImage());
    CBytes table(4096);
    Put64(table, 0, 50 * MiB | 6);
    Put64(table, 8, disk.BlockPosition(1) | 6);
    Write(folder, DiskWithLog(LogOfPage(disk.BatPosition(), table)));
}

void WritePendingData(const fs::path& folder) {
    Write(folder, DiskWithLog(LogOfData()));
}

void WriteDamagedLog(const fs::path& folder) {
    Write(folder, DiskWithLog(LogOfData().Spoil(4096)));
}

}  // namespace NTest
