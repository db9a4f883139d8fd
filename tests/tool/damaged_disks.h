#ifndef VHDX_PARSER_TESTS_TOOL_DAMAGED_DISKS_H
#define VHDX_PARSER_TESTS_TOOL_DAMAGED_DISKS_H

/// Disks of which something is wrong, on which the command's findings and refusals are shown. Each
/// function writes disk.vhdx, or disk.avhdx and its parent.vhdx.

#include <filesystem>

namespace NTest {

void WriteDamagedHeaders(const std::filesystem::path& folder);
void WriteHeadersOfNoUse(const std::filesystem::path& folder);
void WriteAmbiguousHeaders(const std::filesystem::path& folder);

void WriteDamagedRegionTables(const std::filesystem::path& folder);
void WriteDifferentRegionTables(const std::filesystem::path& folder);
void WriteMissingRegions(const std::filesystem::path& folder);
void WriteOverlappingRegions(const std::filesystem::path& folder);

void WriteDamagedMetadataTable(const std::filesystem::path& folder);
void WriteDamagedItems(const std::filesystem::path& folder);
void WriteImpossibleValues(const std::filesystem::path& folder);
void WriteMissingItems(const std::filesystem::path& folder);

void WriteDamagedLocator(const std::filesystem::path& folder);
void WriteLocatorWithoutRoom(const std::filesystem::path& folder);
void WriteMissingLocator(const std::filesystem::path& folder);

void WriteDamagedBlockTable(const std::filesystem::path& folder);
void WriteDamagedBitmapEntries(const std::filesystem::path& folder);
void WriteShortBlockTable(const std::filesystem::path& folder);
void WriteOverlappingBlocks(const std::filesystem::path& folder);

/// The entry that is pending gives block 0 a place that the file does not have.
void WritePendingDamage(const std::filesystem::path& folder);
/// The entry that is pending writes 4 KiB into block 1.
void WritePendingData(const std::filesystem::path& folder);
/// As before, with a log that was damaged.
void WriteDamagedLog(const std::filesystem::path& folder);

}  // namespace NTest

#endif
