#ifndef VHDX_DISK_TABLE_TABLE_SCAN_H
#define VHDX_DISK_TABLE_TABLE_SCAN_H

#include <cstdint>
#include <functional>
#include <span>

#include <vhdx_disk/block_table.h>

#include "vhdx_disk/table/block_summary.h"
#include "vhdx_disk/table/table_entries.h"

namespace NVHDXDisk {

/// Takes in a whole table, and says what it adds up to and whether the first library would load it.
class CTableScan {
public:
    /// Is handed the words of the blocks that the disk has.
    using CReport = std::function<void(std::span<const std::uint64_t>)>;

    explicit CTableScan(const CGeometry& geometry);

    void Add(const CTablePiece& piece, const CReport& report);

    /// Whether every entry has a state that its place allows.
    [[nodiscard]] bool IsValid() const;

    /// As `CAccessor::LoadBlocks` gives them.
    [[nodiscard]] NVHDX::CFileParameters Parameters() const;
    [[nodiscard]] const CBlockSummary& Summary() const { return m_summary; }

private:
    const CGeometry m_geometry;
    std::uint64_t m_blocksLeft;
    CBlockSummary m_summary;
    bool m_badBitmap = false;
};

}  // namespace NVHDXDisk

#endif
