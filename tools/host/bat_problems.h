#ifndef VHDX_HOST_BAT_PROBLEMS_H
#define VHDX_HOST_BAT_PROBLEMS_H

#include <array>

#include "host/bat_entries.h"

namespace NVHDXHost {

/// Joins neighbouring entries of the table that have the same trouble to one finding, and only
/// counts what goes beyond a thousand findings of a kind: a table can have 67 million entries.
class CBatProblems {
public:
    enum EKind {
        blockState,
        partialWithoutParent,
        blockPastDisk,
        blockInHeader,
        blockPastEnd,
        blockReserved,
        bitmapState,
        bitmapWithoutParent,
        bitmapMissing,
        bitmapInHeader,
        bitmapPastEnd,
        bitmapReserved,
        kindCount
    };

    explicit CBatProblems(const CFindingSink& findings) : m_findings(findings) {}

    /// Entries come in the order of the table.
    void Add(EKind kind, const CBatEntry& entry);
    /// Hands on what is left; nothing is added any more.
    void Finish();

private:
    static constexpr std::uint64_t MostFindings = 1000;

    struct CRun {
        std::uint64_t count = 0;
        std::uint64_t first = 0;     ///< block or chunk
        std::uint64_t position = 0;  ///< of the first entry in the file
        std::uint64_t findings = 0;
        std::uint64_t untold = 0;  ///< entries beyond the last finding
    };

    void Report(std::size_t kind);

    const CFindingSink& m_findings;
    std::array<CRun, kindCount> m_runs;
};

}  // namespace NVHDXHost

#endif
