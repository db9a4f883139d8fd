// What the commands for chains print where something is wrong with the chain or a log.

#include "tests/tool/damaged_disks.h"
#include "tests/tool/damaged_folders.h"
#include "tests/tool/expected_output.h"

namespace NTest {
namespace {

constexpr auto ofPlatform = CCase::ofPlatform;

const CCase trees[] = {
    {"chain_missing", {"chain", "vm"}, WriteChainWithoutBase},
    {"chain_missing_json", {"chain", "vm", "--json"}, WriteChainWithoutBase},
    {"chain_changed", {"chain", "vm"}, WriteChainOnChangedBase, ofPlatform},
    {"chain_changed_json", {"chain", "vm", "--json"}, WriteChainOnChangedBase, ofPlatform},
    {"chain_text", {"chain", "vm"}, WriteChainOnText, ofPlatform},
    {"chain_unlinked", {"chain", "vm"}, WriteUnlinkedChain},
    {"chain_circle", {"chain", "vm"}, WriteCircle},
    {"chain_circle_json", {"chain", "vm", "--json"}, WriteCircle},
    {"chain_outside", {"chain", "vm"}, WriteChainOnBaseElsewhere, ofPlatform},
    {"chain_outside_json", {"chain", "vm", "--json"}, WriteChainOnBaseElsewhere, ofPlatform},
    {"chain_damaged", {"chain", "vm"}, WriteDamagedFolder},
    {"chain_damaged_json", {"chain", "vm", "--json"}, WriteDamagedFolder},
    {"chain_empty", {"chain", "vm"}, WriteEmptyFolder},
    {"chain_pending", {"chain", "."}, WritePendingData},
    {"chain_log", {"chain", "."}, WriteDamagedLog},
};

INSTANTIATE_TEST_SUITE_P(Tree, ExpectedOutput, testing::ValuesIn(trees), CaseName);

const CArguments read = {"read", "vm/second.avhdx", "-o", "disk.bin"};
const CArguments readAccepted = {"read", "vm/second.avhdx", "-o", "disk.bin",
                                 "--accept-changed-parent"};
const CArguments exported = {"export", "vm/second.avhdx", "-o", "disk.raw"};
const CArguments exportAccepted = {"export", "vm/second.avhdx", "-o", "disk.raw",
                                   "--accept-changed-parent"};
const CArguments map = {"map", "vm/second.avhdx", "--merged"};
const CArguments mapAccepted = {"map", "vm/second.avhdx", "--merged", "--accept-changed-parent"};

const CCase merges[] = {
    {"read_parent_missing", read, WriteChainWithoutBase, ofPlatform},
    {"read_parent_missing_accepted", readAccepted, WriteChainWithoutBase, ofPlatform},
    {"read_parent_changed", read, WriteChainOnChangedBase, ofPlatform},
    {"read_parent_changed_accepted", readAccepted, WriteChainOnChangedBase, ofPlatform},
    {"read_parent_unlinked", read, WriteUnlinkedChain, ofPlatform},
    {"read_parent_unlinked_accepted", readAccepted, WriteUnlinkedChain, ofPlatform},
    {"read_parent_text", read, WriteChainOnText, ofPlatform},
    {"read_parent_moved", {"read", "vm/child.avhdx"}, WriteMovedChild},
    {"read_disk_missing", {"read", "vm", "--disk", "none.avhdx"}, WriteCircle, ofPlatform},
    {"read_circle", {"read", "vm/a.avhdx"}, WriteCircle, ofPlatform},
    {"export_parent_missing", exported, WriteChainWithoutBase, ofPlatform},
    {"export_parent_changed", exported, WriteChainOnChangedBase, ofPlatform},
    {"export_parent_changed_accepted", exportAccepted, WriteChainOnChangedBase, ofPlatform},
    {"export_circle", {"export", "vm/a.avhdx", "-o", "disk.raw"}, WriteCircle, ofPlatform},
    {"map_merged_parent_missing", map, WriteChainWithoutBase, ofPlatform},
    {"map_merged_parent_changed", map, WriteChainOnChangedBase, ofPlatform},
    {"map_merged_parent_changed_accepted", mapAccepted, WriteChainOnChangedBase, ofPlatform},
    {"map_merged_parent_elsewhere", map, WriteChainOnBaseElsewhere},
};

INSTANTIATE_TEST_SUITE_P(Merge, ExpectedOutput, testing::ValuesIn(merges), CaseName);

const CCase logs[] = {
    {"map_merged_pending", {"map", "disk.vhdx", "--merged"}, WritePendingData},
    {"map_merged_pending_json", {"map", "disk.vhdx", "--merged", "--json"}, WritePendingData},
    {"map_merged_no_replay", {"map", "disk.vhdx", "--merged", "--no-replay"}, WritePendingData},
    {"read_pending", {"read", "disk.vhdx", "-o", "disk.bin"}, WritePendingData},
    {"read_log", {"read", "disk.vhdx"}, WriteDamagedLog},
    {"read_past_file", {"read", "disk.vhdx"}, WritePendingDamage},
    {"export_pending", {"export", "disk.vhdx", "-o", "disk.raw"}, WritePendingData},
    {"export_log", {"export", "disk.vhdx", "-o", "disk.raw"}, WriteDamagedLog},
};

INSTANTIATE_TEST_SUITE_P(Log, ExpectedOutput, testing::ValuesIn(logs), CaseName);

}  // namespace
}  // namespace NTest
