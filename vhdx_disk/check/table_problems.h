#ifndef VHDX_DISK_CHECK_TABLE_PROBLEMS_H
#define VHDX_DISK_CHECK_TABLE_PROBLEMS_H

#include <array>

#include <cstdint>

#include "vhdx_disk/check/checked_entry.h"

namespace NVHDXDisk {

/// Joins neighbouring entries of the table that have the same trouble to one finding, and only
/// counts what goes beyond a thousand findings of a kind: a table can have 67 million entries.
class CTableProblems {
public:
    explicit CTableProblems(const CFindingSink& findings) : m_findings(findings) {}

    /// Entries come in the order of the table; the kind is one of a block or of a sector bitmap.
    void Add(EFinding kind, const CCheckedEntry& entry);
    /// Hands on what is left; nothing is added any more.
    void Finish();

private:
    static constexpr std::uint64_t MostFindings = 1000;
    static constexpr std::size_t KindCount = 12;

    struct CRun {
        std::uint64_t count = 0;
        std::uint64_t first = 0;     ///< block or chunk
        std::uint64_t position = 0;  ///< of the first entry in the file
        std::uint64_t findings = 0;
        std::uint64_t untold = 0;  ///< entries beyond the last finding
    };

    void Report(std::size_t row);

    const CFindingSink& m_findings;
    std::array<CRun, KindCount> m_runs;
};

}  // namespace NVHDXDisk

#endif
