#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vhdx_disk/check/table_problems.h"

namespace NTest {
namespace {

using NVHDXDisk::CCheckedEntry;
using NVHDXDisk::CFinding;
using NVHDXDisk::CTableProblems;
using NVHDXDisk::EFinding;

struct CProblem {
    EFinding kind;
    const char* line;
};

class TableProblem : public testing::TestWithParam<CProblem> {};

TEST_P(TableProblem, SaysWhatIsWrongWhere) {
    std::string line;
    const NVHDXDisk::CFindingCallback report = [&](const CFinding& finding) {
        line += finding.kind + " at " + finding.place + ": " + finding.text;
    };
    const NVHDXDisk::CFindingSink sink("disk.vhdx", report);
    CTableProblems problems(sink);
    problems.Add(GetParam().kind, CCheckedEntry{false, 5, 40, NVHDX::CBATEntry(std::uint64_t{0})});
    problems.Finish();
    EXPECT_EQ(line, GetParam().line);
}

const CProblem problems[] = {
    {EFinding::blockState,
     "block-state at block 5, entry at offset 40: the state is none that a block can have (4 or "
     "5)"},
    {EFinding::blockPartialWithoutParent,
     "block-partial-without-parent at block 5, entry at offset 40: the block is partially present, "
     "and the disk has no parent for the rest"},
    {EFinding::blockPastDisk,
     "block-past-disk at block 5, entry at offset 40: the entry is in use, and the virtual disk "
     "ends before the block"},
    {EFinding::blockInHeader,
     "block-in-header at block 5, entry at offset 40: the block claims the first MiB of the file, "
     "where the headers lie"},
    {EFinding::blockPastEnd,
     "block-past-end at block 5, entry at offset 40: the block's data lies past the end of the "
     "file: it is lost, or the file was cut off"},
    {EFinding::blockReserved,
     "block-reserved at block 5, entry at offset 40: the reserved bits 3 to 19 of the entry are "
     "not "
     "0"},
    {EFinding::bitmapState,
     "bitmap-state at chunk 5, entry at offset 40: the state is none that a sector bitmap can "
     "have"},
    {EFinding::bitmapWithoutParent,
     "bitmap-without-parent at chunk 5, entry at offset 40: there is a sector bitmap, and the disk "
     "has no parent"},
    {EFinding::bitmapMissing,
     "bitmap-missing at chunk 5, entry at offset 40: the chunk has partially present blocks and no "
     "sector bitmap: nobody knows which of their sectors count"},
    {EFinding::bitmapInHeader,
     "bitmap-in-header at chunk 5, entry at offset 40: the sector bitmap claims the first MiB of "
     "the file, where the headers lie"},
    {EFinding::bitmapPastEnd,
     "bitmap-past-end at chunk 5, entry at offset 40: the sector bitmap lies past the end of the "
     "file: it is lost, or the file was cut off"},
    {EFinding::bitmapReserved,
     "bitmap-reserved at chunk 5, entry at offset 40: the reserved bits 3 to 19 of the entry are "
     "not 0"},
};

INSTANTIATE_TEST_SUITE_P(TableProblems, TableProblem, testing::ValuesIn(problems));

}  // namespace
}  // namespace NTest
