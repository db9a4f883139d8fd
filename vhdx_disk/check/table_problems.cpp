#include "vhdx_disk/check/table_problems.h"

#include <iterator>

namespace NVHDXDisk {

namespace {

struct CDescription {
    EFinding kind;
    const char* unit;
    const char* text;
};

/// In the order of the kinds, which follow one another.
constexpr CDescription Descriptions[] = {
    {EFinding::blockState, "block", "the state is none that a block can have (4 or 5)"},
    {EFinding::blockPartialWithoutParent, "block",
     "the block is partially present, and the disk has no parent for the rest"},
    {EFinding::blockPastDisk, "block",
     "the entry is in use, and the virtual disk ends before the block"},
    {EFinding::blockInHeader, "block",
     "the block claims the first MiB of the file, where the headers lie"},
    {EFinding::blockPastEnd, "block",
     "the block's data lies past the end of the file: it is lost, or the file was cut off"},
    {EFinding::blockReserved, "block", "the reserved bits 3 to 19 of the entry are not 0"},
    {EFinding::bitmapState, "chunk", "the state is none that a sector bitmap can have"},
    {EFinding::bitmapWithoutParent, "chunk",
     "there is a sector bitmap, and the disk has no parent"},
    {EFinding::bitmapMissing, "chunk",
     "the chunk has partially present blocks and no sector bitmap: nobody knows which of their "
     "sectors count"},
    {EFinding::bitmapInHeader, "chunk",
     "the sector bitmap claims the first MiB of the file, where the headers lie"},
    {EFinding::bitmapPastEnd, "chunk",
     "the sector bitmap lies past the end of the file: it is lost, or the file was cut off"},
    {EFinding::bitmapReserved, "chunk", "the reserved bits 3 to 19 of the entry are not 0"},
};

constexpr std::size_t RowOf(EFinding kind) {
    return static_cast<std::size_t>(kind) - static_cast<std::size_t>(Descriptions[0].kind);
}

constexpr bool RowsAreInOrder() {
    for (std::size_t row = 0; row < std::size(Descriptions); ++row) {
        if (RowOf(Descriptions[row].kind) != row) {
            return false;
        }
    }
    return true;
}
static_assert(RowsAreInOrder());

}  // namespace

void CTableProblems::Add(EFinding kind, const CCheckedEntry& entry) {
    const std::size_t row = RowOf(kind);
    CRun& run = m_runs[row];
    if (run.count == 0 || run.first + run.count != entry.index) {
        Report(row);
        run.first = entry.index;
        run.position = entry.position;
    }
    ++run.count;
}

void CTableProblems::Report(std::size_t row) {
    CRun& run = m_runs[row];
    const CDescription& description = Descriptions[row];
    if (run.count != 0 && run.findings == MostFindings) {
        run.untold += run.count;
    } else if (run.count != 0) {
        ++run.findings;
        const std::string where =
            run.count == 1
                ? Sentence(description.unit, " ", run.first, ", entry at offset ", run.position)
                : Sentence(description.unit, "s ", run.first, " to ", run.first + run.count - 1,
                           ", entries from offset ", run.position);
        m_findings.Add(description.kind, where, description.text);
    }
    run.count = 0;
}

void CTableProblems::Finish() {
    static_assert(std::size(Descriptions) == KindCount);
    for (std::size_t row = 0; row < KindCount; ++row) {
        Report(row);
        if (m_runs[row].untold != 0) {
            m_findings.Add(Descriptions[row].kind, "block allocation table",
                           Sentence("the same is wrong with ", m_runs[row].untold,
                                    " more entries further on"));
        }
    }
}

}  // namespace NVHDXDisk
