#ifndef VHDX_DISK_TABLE_BLOCK_INDEX_H
#define VHDX_DISK_TABLE_BLOCK_INDEX_H

#include <cstdint>
#include <optional>
#include <vector>

#include <vhdx_disk/block_table.h>

#include "vhdx_disk/table/table_entries.h"

namespace NVHDXDisk {

/// A run of blocks of which the file says something.
struct CIndexRun : CBlockRun {
    bool isInFile = true;  ///< false: the blocks claim places that are not in the file
};

/// A block allocation table boiled down to what it says: its size follows the data in the file, not
/// the size of the disk. Blocks of which the file says nothing (NotPresent) are in no run: they are
/// the parent's, and read as zeros where there is no parent. Immutable; any number of threads.
class CBlockIndex {
public:
    CBlockIndex() = default;

    /// Reads a table. `fileSize` decides which places are in the file; of the disk's last block
    /// only what belongs to the disk need be there. False, with the reason in `failure`, for a
    /// table that the first library would not load.
    [[nodiscard]] bool Load(const ITableEntries& entries, const CGeometry& geometry,
                            const IByteSource& file, CFailure& failure);

    /// All runs, by ascending block.
    [[nodiscard]] const std::vector<CIndexRun>& Runs() const { return m_runs; }

    /// The run that holds the block, or the next one behind it; null when there is none.
    [[nodiscard]] const CIndexRun* RunFrom(std::uint64_t block) const;

    /// The position of the chunk's sector bitmap in the file, in bytes.
    [[nodiscard]] std::optional<std::uint64_t> SectorBitmap(std::uint64_t chunk) const;

private:
    void AddRun(CBlockRun run, const CGeometry& geometry, std::uint64_t fileSize);

    std::vector<CIndexRun> m_runs;
    std::vector<std::optional<std::uint64_t>> m_sectorBitmaps;
};

}  // namespace NVHDXDisk

#endif
