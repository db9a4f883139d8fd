#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/bat_problems.h"

namespace NTest {
namespace {

using NVHDXHost::CBatEntry;
using NVHDXHost::CBatProblems;
using NVHDXHost::CCheckFinding;

struct CProblem {
    CBatProblems::EKind kind;
    const char* line;
};

class BatProblem : public testing::TestWithParam<CProblem> {};

TEST_P(BatProblem, SaysWhatIsWrongWhere) {
    std::string line;
    const NVHDXHost::CFindingCallback report = [&](const CCheckFinding& finding) {
        line += finding.kind + " at " + finding.where + ": " + finding.text;
    };
    const NVHDXHost::CFindingSink sink("disk.vhdx", report);
    CBatProblems problems(sink);
    problems.Add(GetParam().kind, CBatEntry{false, 5, 40, 0});
    problems.Finish();
    EXPECT_EQ(line, GetParam().line);
}

const CProblem problems[] = {
    {CBatProblems::blockState,
     "block-state at block 5, entry at offset 40: the state is none that a block can have (4 or "
     "5)"},
    {CBatProblems::partialWithoutParent,
     "block-partial-without-parent at block 5, entry at offset 40: the block is partially present, "
     "and the disk has no parent for the rest"},
    {CBatProblems::blockPastDisk,
     "block-past-disk at block 5, entry at offset 40: the entry is in use, and the virtual disk "
     "ends before the block"},
    {CBatProblems::blockInHeader,
     "block-in-header at block 5, entry at offset 40: the block claims the first MiB of the file, "
     "where the headers lie"},
    {CBatProblems::blockPastEnd,
     "block-past-end at block 5, entry at offset 40: the block's data lies past the end of the "
     "file: it is lost, or the file was cut off"},
    {CBatProblems::blockReserved,
     "block-reserved at block 5, entry at offset 40: the reserved bits 3 to 19 of the entry are "
     "not "
     "0"},
    {CBatProblems::bitmapState,
     "bitmap-state at chunk 5, entry at offset 40: the state is none that a sector bitmap can "
     "have"},
    {CBatProblems::bitmapWithoutParent,
     "bitmap-without-parent at chunk 5, entry at offset 40: there is a sector bitmap, and the disk "
     "has no parent"},
    {CBatProblems::bitmapMissing,
     "bitmap-missing at chunk 5, entry at offset 40: the chunk has partially present blocks and no "
     "sector bitmap: nobody knows which of their sectors count"},
    {CBatProblems::bitmapInHeader,
     "bitmap-in-header at chunk 5, entry at offset 40: the sector bitmap claims the first MiB of "
     "the file, where the headers lie"},
    {CBatProblems::bitmapPastEnd,
     "bitmap-past-end at chunk 5, entry at offset 40: the sector bitmap lies past the end of the "
     "file: it is lost, or the file was cut off"},
    {CBatProblems::bitmapReserved,
     "bitmap-reserved at chunk 5, entry at offset 40: the reserved bits 3 to 19 of the entry are "
     "not 0"},
};

INSTANTIATE_TEST_SUITE_P(BatProblems, BatProblem, testing::ValuesIn(problems));

}  // namespace
}  // namespace NTest
