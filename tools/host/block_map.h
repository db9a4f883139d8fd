#ifndef VHDX_HOST_BLOCK_MAP_H
#define VHDX_HOST_BLOCK_MAP_H

#include <cstdint>
#include <optional>
#include <vector>

#include <vhdx_parser/block_model.h>

namespace NVHDXHost {

/// What a file says of a run of its blocks. Blocks of which it says nothing (not present) are in
/// no run: they are the parent's, and read as zeros where there is no parent.
enum class EBlockContent {
    undefined,  ///< these three read as zeros, also where they own space in the file
    zero,
    unmapped,
    present,    ///< every byte is in the file
    partial,    ///< the sector bitmap says which sectors are in the file
    unreadable  ///< the block claims a place that is not in the file
};

/// Blocks one behind the other whose data, if any, also lies one behind the other in the file.
struct CBlockRun {
    std::uint64_t firstBlock = 0;
    std::uint64_t count = 0;
    EBlockContent content = EBlockContent::zero;
    std::uint64_t position = 0;  ///< of the first block's data in the file, in bytes
};

/// A block allocation table boiled down to what it says: its size follows the data in the file, not
/// the size of the disk. Immutable; any number of threads may read it.
class CBlockMap {
public:
    CBlockMap() = default;
    /// `fileSize` decides which places are in the file. Blocks past the end of the disk are left
    /// out, and so is the part of the last block that lies there.
    CBlockMap(const NVHDX::CBlocks& blocks, const NVHDX::CFileParameters& parameters,
              std::uint64_t fileSize);

    /// All runs, by ascending block.
    [[nodiscard]] const std::vector<CBlockRun>& Runs() const { return m_runs; }

    /// The run that holds the block, or the next one behind it; null when there is none.
    [[nodiscard]] const CBlockRun* RunFrom(std::uint64_t block) const;

    /// The position of the chunk's sector bitmap in the file, in bytes.
    [[nodiscard]] std::optional<std::uint64_t> SectorBitmap(std::uint64_t chunk) const;

private:
    void Add(const CBlockRun& block, std::uint64_t blockSize);

    std::vector<CBlockRun> m_runs;
    std::vector<std::optional<std::uint64_t>> m_sectorBitmaps;
};

}  // namespace NVHDXHost

#endif
