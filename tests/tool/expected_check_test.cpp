// What `vhdx check` prints of damaged disks.

#include "tests/tool/damaged_disks.h"
#include "tests/tool/damaged_folders.h"
#include "tests/tool/expected_output.h"

namespace NTest {
namespace {

const CCase disks[] = {
    {"check_headers", {"check", "disk.vhdx"}, WriteDamagedHeaders},
    {"check_headers_json", {"check", "disk.vhdx", "--json"}, WriteDamagedHeaders},
    {"check_headers_of_no_use", {"check", "disk.vhdx"}, WriteHeadersOfNoUse},
    {"check_headers_ambiguous", {"check", "disk.vhdx"}, WriteAmbiguousHeaders},
    {"check_regions", {"check", "disk.vhdx"}, WriteDamagedRegionTables},
    {"check_regions_json", {"check", "disk.vhdx", "--json"}, WriteDamagedRegionTables},
    {"check_regions_different", {"check", "disk.vhdx"}, WriteDifferentRegionTables},
    {"check_regions_missing", {"check", "disk.vhdx"}, WriteMissingRegions},
    {"check_regions_overlap", {"check", "disk.vhdx"}, WriteOverlappingRegions},
    {"check_metadata", {"check", "disk.vhdx"}, WriteDamagedMetadataTable},
    {"check_items", {"check", "disk.vhdx"}, WriteDamagedItems},
    {"check_items_json", {"check", "disk.vhdx", "--json"}, WriteDamagedItems},
    {"check_items_missing", {"check", "disk.vhdx"}, WriteMissingItems},
    {"check_values", {"check", "disk.vhdx"}, WriteImpossibleValues},
    {"check_locator", {"check", "disk.avhdx"}, WriteDamagedLocator},
    {"check_locator_json", {"check", "disk.avhdx", "--json"}, WriteDamagedLocator},
    {"check_locator_without_room", {"check", "disk.avhdx"}, WriteLocatorWithoutRoom},
    {"check_locator_missing", {"check", "disk.avhdx"}, WriteMissingLocator},
    {"check_blocks", {"check", "disk.vhdx"}, WriteDamagedBlockTable},
    {"check_blocks_json", {"check", "disk.vhdx", "--json"}, WriteDamagedBlockTable},
    {"check_bitmaps", {"check", "disk.avhdx"}, WriteDamagedBitmapEntries},
    {"check_table_short", {"check", "disk.vhdx"}, WriteShortBlockTable},
    {"check_overlaps", {"check", "disk.avhdx"}, WriteOverlappingBlocks},
    {"check_overlaps_json", {"check", "disk.avhdx", "--json"}, WriteOverlappingBlocks},
    {"check_pending", {"check", "disk.vhdx"}, WritePendingDamage},
    {"check_pending_json", {"check", "disk.vhdx", "--json"}, WritePendingDamage},
    {"check_pending_no_replay", {"check", "disk.vhdx", "--no-replay"}, WritePendingDamage},
    {"check_log", {"check", "disk.vhdx"}, WriteDamagedLog},
    {"check_log_no_replay", {"check", "disk.vhdx", "--no-replay"}, WriteDamagedLog},
};

INSTANTIATE_TEST_SUITE_P(CheckOfDisk, ExpectedOutput, testing::ValuesIn(disks), CaseName);

constexpr auto ofPlatform = CCase::ofPlatform;

const CCase chains[] = {
    {"check_parent_missing", {"check", "vm/second.avhdx"}, WriteChainWithoutBase, ofPlatform},
    {"check_parent_changed", {"check", "vm/second.avhdx"}, WriteChainOnChangedBase, ofPlatform},
    {"check_parent_text", {"check", "vm/second.avhdx"}, WriteChainOnText, ofPlatform},
    {"check_parent_unlinked", {"check", "vm/second.avhdx"}, WriteUnlinkedChain, ofPlatform},
    {"check_parent_moved", {"check", "vm/child.avhdx"}, WriteMovedChild},
    {"check_circle", {"check", "vm/a.avhdx"}, WriteCircle, ofPlatform},
};

INSTANTIATE_TEST_SUITE_P(CheckOfChain, ExpectedOutput, testing::ValuesIn(chains), CaseName);

const CCase folders[] = {
    {"check_fork", {"check", "vm"}, WriteForkedChain, ofPlatform},
    {"check_fork_json", {"check", "vm", "--json"}, WriteForkedChain, ofPlatform},
    {"check_folder_missing", {"check", "vm"}, WriteChainWithoutBase, ofPlatform},
    {"check_folder_changed", {"check", "vm"}, WriteChainOnChangedBase, ofPlatform},
    {"check_folder_text", {"check", "vm"}, WriteChainOnText, ofPlatform},
    {"check_folder_unlinked", {"check", "vm"}, WriteUnlinkedChain, ofPlatform},
    {"check_folder_circle", {"check", "vm"}, WriteCircle, ofPlatform},
    {"check_folder_outside", {"check", "vm"}, WriteChainOnBaseElsewhere, ofPlatform},
    {"check_folder_damaged", {"check", "vm"}, WriteDamagedFolder, ofPlatform},
    {"check_folder_damaged_json", {"check", "vm", "--json"}, WriteDamagedFolder, ofPlatform},
    {"check_folder_unread", {"check", "vm"}, WriteFolderOfTexts, ofPlatform},
    {"check_folder_unread_json", {"check", "vm", "--json"}, WriteFolderOfTexts, ofPlatform},
    {"check_folder_empty", {"check", "vm"}, WriteEmptyFolder},
};

INSTANTIATE_TEST_SUITE_P(CheckOfFolder, ExpectedOutput, testing::ValuesIn(folders), CaseName);

}  // namespace
}  // namespace NTest
