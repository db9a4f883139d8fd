// What each command prints, whole, as files that a person can read in `expected`. To see a change
// of them as a difference in version control, run the test with VHDX_PARSER_WRITE_EXPECTED set: it
// then writes the files, and fails so that nobody mistakes that for a passed test.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

struct CCase {
    std::string name;  // the file in `expected`, without ".txt"
    std::vector<std::string> arguments;
};

std::ostream& operator<<(std::ostream& out, const CCase& expected) {
    return out << expected.name;
}

std::filesystem::path ExpectedFile(const std::string& name) {
    return std::filesystem::path(VHDX_PARSER_EXPECTED_FOLDER) / (name + ".txt");
}

std::string Transcript(const CChildResult& result) {
    std::string text = result.output;
    if (!result.errors.empty()) {
        text += "--- standard error ---\n" + result.errors;
    }
    return text + "--- exit status " + std::to_string(result.status) + " ---\n";
}

class ExpectedOutput : public testing::TestWithParam<CCase> {};

TEST_P(ExpectedOutput, IsPrinted) {
    const CTemporaryFolder folder;
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
    ASSERT_EQ(RunVhdxIn(folder.Path(), {"save", "vm/first.avhdx", "first.xml"}).status, 0);

    const std::string transcript = Transcript(RunVhdxIn(folder.Path(), GetParam().arguments));
    if (std::getenv("VHDX_PARSER_WRITE_EXPECTED") != nullptr) {
        std::ofstream(ExpectedFile(GetParam().name), std::ios::binary) << transcript;
        FAIL() << "wrote " << GetParam().name;
    }
    EXPECT_EQ(transcript, FileText(ExpectedFile(GetParam().name)));
}

using CArguments = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(
    Tool, ExpectedOutput,
    testing::Values(
        CCase{"help", CArguments{"--help"}}, CCase{"help_info", CArguments{"info", "--help"}},
        CCase{"help_map", CArguments{"map", "--help"}},
        CCase{"help_read", CArguments{"read", "--help"}},
        CCase{"help_locate", CArguments{"locate", "--help"}},
        CCase{"help_changes", CArguments{"changes", "--help"}},
        CCase{"help_bitmap", CArguments{"bitmap", "--help"}},
        CCase{"help_save", CArguments{"save", "--help"}},
        CCase{"help_chain", CArguments{"chain", "--help"}},
        CCase{"help_diff", CArguments{"diff", "--help"}},
        CCase{"help_export", CArguments{"export", "--help"}},
        CCase{"help_check", CArguments{"check", "--help"}},
        CCase{"help_serve", CArguments{"serve", "--help"}},
        CCase{"info_dynamic", CArguments{"info", "dynamic.vhdx"}},
        CCase{"info_dynamic_json", CArguments{"info", "--json", "dynamic.vhdx"}},
        CCase{"info_no_blocks", CArguments{"info", "dynamic.vhdx", "--no-blocks"}},
        CCase{"info_no_blocks_json", CArguments{"info", "dynamic.vhdx", "--no-blocks", "--json"}},
        CCase{"info_fixed", CArguments{"info", "fixed.vhdx"}},
        CCase{"info_differencing", CArguments{"info", "checkpoint.avhdx"}},
        CCase{"info_differencing_json", CArguments{"info", "checkpoint.avhdx", "--json"}},
        CCase{"info_not_a_disk", CArguments{"info", "text.vhdx"}},
        CCase{"map_dynamic", CArguments{"map", "dynamic.vhdx"}},
        CCase{"map_dynamic_json", CArguments{"map", "dynamic.vhdx", "--json"}},
        CCase{"map_differencing", CArguments{"map", "checkpoint.avhdx"}},
        CCase{"locate_dynamic",
              CArguments{"locate", "dynamic.vhdx", "--offset", "1536K", "--length", "2M"}},
        CCase{"locate_dynamic_json", CArguments{"locate", "dynamic.vhdx", "--offset", "1536K",
                                                "--length", "2M", "--json"}},
        CCase{"chain_checkpoints", CArguments{"chain", "vm"}},
        CCase{"chain_checkpoints_json", CArguments{"chain", "vm", "--json"}},
        CCase{"chain_fork", CArguments{"chain", "fork"}},
        CCase{"chain_fork_json", CArguments{"chain", "fork", "--json"}},
        CCase{"diff_checkpoints", CArguments{"diff", "vm"}},
        CCase{"diff_checkpoints_json", CArguments{"diff", "vm", "--json"}},
        CCase{"diff_range", CArguments{"diff", "vm", "--offset", "5123K", "--length", "2000"}},
        CCase{"diff_since", CArguments{"diff", "vm", "--base", "first.avhdx"}},
        CCase{"diff_fork", CArguments{"diff", "fork"}},
        CCase{"diff_fork_disk", CArguments{"diff", "fork", "--disk", "other.avhdx"}},
        CCase{"diff_library", CArguments{"diff", "vm", "--library"}},
        CCase{"diff_library_json", CArguments{"diff", "vm", "--library", "--json"}},
        CCase{"diff_library_range",
              CArguments{"diff", "vm", "--library", "--offset", "6147K", "--length", "2000"}},
        CCase{"diff_library_range_json", CArguments{"diff", "vm", "--library", "--offset", "6147K",
                                                    "--length", "2000", "--json"}},
        CCase{"read_json",
              CArguments{"read", "vm/second.avhdx", "--offset", "5M", "--length", "1M", "--json"}},
        CCase{"read_file_only_json", CArguments{"read", "vm/second.avhdx", "--file-only",
                                                "--offset", "5M", "--length", "1M", "--json"}},
        CCase{"changes_checkpoint",
              CArguments{"changes", "vm/first.avhdx", "--ranges", "ranges.txt"}},
        CCase{"changes_checkpoint_json",
              CArguments{"changes", "vm/first.avhdx", "--ranges", "ranges.txt", "--json"}},
        CCase{"changes_model", CArguments{"changes", "vm/first.avhdx", "--ranges", "ranges.txt",
                                          "--model", "first.xml"}},
        CCase{"map_model", CArguments{"map", "vm/first.avhdx", "--model", "first.xml"}},
        CCase{"locate_model", CArguments{"locate", "vm/first.avhdx", "--model", "first.xml",
                                         "--offset", "1536K", "--length", "1M"}},
        CCase{"bitmap_position",
              CArguments{"bitmap", "vm/first.avhdx", "--chunk", "0", "--position"}},
        CCase{"trace_dynamic", CArguments{"map", "dynamic.vhdx", "--trace", "1"}}),
    [](const testing::TestParamInfo<CCase>& instance) { return instance.param.name; });

}  // namespace
}  // namespace NTest
