// What each command prints of disks with which nothing is wrong.

#include <fstream>
#include <string>

#include "tests/tool/chain_disks.h"
#include "tests/tool/expected_output.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

void WriteDisks(const std::filesystem::path& folder) {
    DynamicDisk().Build().WriteTo(folder / "dynamic.vhdx");
    DifferencingDisk().Build().WriteTo(folder / "checkpoint.avhdx");
    CImageBuilder()
        .VirtualSize(2 * MiB)
        .LeaveBlocksAllocated()
        .AllocateData(0, 1)
        .AllocateData(1, 1)
        .Build()
        .WriteTo(folder / "fixed.vhdx");
    std::ofstream(folder / "text.vhdx") << std::string(1000, 'x');
    std::filesystem::create_directory(folder / "vm");
    WriteChain(folder / "vm");
    std::filesystem::create_directory(folder / "fork");
    WriteChain(folder / "fork");
    WriteFork(folder / "fork");
    std::ofstream(folder / "ranges.txt") << "0,64K\n1M,4K\n5M,8K\n";
    ASSERT_EQ(RunVhdxIn(folder, {"save", "vm/first.avhdx", "first.xml"}).status, 0);
}

struct CCommand {
    std::string name;
    CArguments arguments;
};

std::vector<CCase> OnTheseDisks(const std::vector<CCommand>& commands) {
    std::vector<CCase> cases;
    for (const CCommand& command : commands) {
        cases.push_back({command.name, command.arguments, WriteDisks});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ExpectedOutput,
    testing::ValuesIn(OnTheseDisks(
        {{"help", {"--help"}},
         {"help_info", {"info", "--help"}},
         {"help_map", {"map", "--help"}},
         {"help_read", {"read", "--help"}},
         {"help_locate", {"locate", "--help"}},
         {"help_changes", {"changes", "--help"}},
         {"help_bitmap", {"bitmap", "--help"}},
         {"help_save", {"save", "--help"}},
         {"help_chain", {"chain", "--help"}},
         {"help_diff", {"diff", "--help"}},
         {"help_export", {"export", "--help"}},
         {"help_check", {"check", "--help"}},
         {"help_serve", {"serve", "--help"}},
         {"info_dynamic", {"info", "dynamic.vhdx"}},
         {"info_dynamic_json", {"info", "--json", "dynamic.vhdx"}},
         {"info_no_blocks", {"info", "dynamic.vhdx", "--no-blocks"}},
         {"info_no_blocks_json", {"info", "dynamic.vhdx", "--no-blocks", "--json"}},
         {"info_fixed", {"info", "fixed.vhdx"}},
         {"info_differencing", {"info", "checkpoint.avhdx"}},
         {"info_differencing_json", {"info", "checkpoint.avhdx", "--json"}},
         {"info_not_a_disk", {"info", "text.vhdx"}},
         {"map_dynamic", {"map", "dynamic.vhdx"}},
         {"map_dynamic_json", {"map", "dynamic.vhdx", "--json"}},
         {"map_differencing", {"map", "checkpoint.avhdx"}},
         {"locate_dynamic", {"locate", "dynamic.vhdx", "--offset", "1536K", "--length", "2M"}},
         {"locate_dynamic_json",
          {"locate", "dynamic.vhdx", "--offset", "1536K", "--length", "2M", "--json"}},
         {"chain_checkpoints", {"chain", "vm"}},
         {"chain_checkpoints_json", {"chain", "vm", "--json"}},
         {"chain_fork", {"chain", "fork"}},
         {"chain_fork_json", {"chain", "fork", "--json"}},
         {"diff_checkpoints", {"diff", "vm"}},
         {"diff_checkpoints_json", {"diff", "vm", "--json"}},
         {"diff_range", {"diff", "vm", "--offset", "5123K", "--length", "2000"}},
         {"diff_since", {"diff", "vm", "--base", "first.avhdx"}},
         {"diff_fork", {"diff", "fork"}},
         {"diff_fork_disk", {"diff", "fork", "--disk", "other.avhdx"}},
         {"diff_library", {"diff", "vm", "--library"}},
         {"diff_library_json", {"diff", "vm", "--library", "--json"}},
         {"diff_library_range",
          {"diff", "vm", "--library", "--offset", "6147K", "--length", "2000"}},
         {"diff_library_range_json",
          {"diff", "vm", "--library", "--offset", "6147K", "--length", "2000", "--json"}},
         {"read_json", {"read", "vm/second.avhdx", "--offset", "5M", "--length", "1M", "--json"}},
         {"read_file_only_json",
          {"read", "vm/second.avhdx", "--file-only", "--offset", "5M", "--length", "1M", "--json"}},
         {"changes_checkpoint", {"changes", "vm/first.avhdx", "--ranges", "ranges.txt"}},
         {"changes_checkpoint_json",
          {"changes", "vm/first.avhdx", "--ranges", "ranges.txt", "--json"}},
         {"changes_model",
          {"changes", "vm/first.avhdx", "--ranges", "ranges.txt", "--model", "first.xml"}},
         {"map_merged", {"map", "vm/second.avhdx", "--merged"}},
         {"map_merged_json", {"map", "vm/second.avhdx", "--merged", "--json"}},
         {"map_merged_disk", {"map", "fork", "--disk", "other.avhdx", "--merged"}},
         {"map_merged_dynamic", {"map", "dynamic.vhdx", "--merged"}},
         {"map_merged_missing", {"map", "vm/third.avhdx", "--merged"}},
         {"map_sectors", {"map", "vm/second.avhdx", "--sectors"}},
         {"map_sectors_json", {"map", "vm/second.avhdx", "--sectors", "--json"}},
         {"map_sectors_dynamic", {"map", "dynamic.vhdx", "--sectors"}},
         {"map_model", {"map", "vm/first.avhdx", "--model", "first.xml"}},
         {"locate_model",
          {"locate", "vm/first.avhdx", "--model", "first.xml", "--offset", "1536K", "--length",
           "1M"}},
         {"bitmap_position", {"bitmap", "vm/first.avhdx", "--chunk", "0", "--position"}},
         {"read_missing", {"read", "none.vhdx"}},
         {"read_not_a_disk", {"read", "text.vhdx"}},
         {"read_past_end", {"read", "vm/second.avhdx", "--offset", "7M", "--length", "2M"}},
         {"read_folder", {"read", "vm"}},
         {"export_missing", {"export", "none.vhdx", "-o", "disk.raw"}},
         {"export_not_a_disk", {"export", "text.vhdx", "-o", "disk.raw"}},
         {"export_existing", {"export", "vm/second.avhdx", "-o", "ranges.txt"}},
         {"export_over_parent", {"export", "vm/second.avhdx", "-o", "vm/disk.vhdx", "--force"}},
         {"export_nowhere", {"export", "vm/second.avhdx"}},
         {"check_dynamic", {"check", "dynamic.vhdx"}},
         {"check_dynamic_json", {"check", "dynamic.vhdx", "--json"}},
         {"check_checkpoint", {"check", "vm/second.avhdx"}},
         {"check_checkpoint_json", {"check", "vm/second.avhdx", "--json"}},
         {"check_folder", {"check", "vm"}},
         {"check_folder_json", {"check", "vm", "--json"}},
         {"check_not_a_disk", {"check", "text.vhdx"}},
         {"check_not_a_disk_json", {"check", "text.vhdx", "--json"}},
         {"check_missing", {"check", "none.vhdx"}},
         {"check_nothing", {"check"}},
         {"serve_nothing", {"serve"}},
         {"trace_dynamic", {"map", "dynamic.vhdx", "--trace", "1"}}})),
    CaseName);

}  // namespace
}  // namespace NTest
