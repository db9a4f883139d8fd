#ifndef VHDX_HOST_METADATA_CHECK_H
#define VHDX_HOST_METADATA_CHECK_H

#include <optional>

#include "host/check_finding.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// The numbers that give the block allocation table its form, once they are plausible.
struct CCheckedGeometry {
    std::uint64_t blockSize = 0;  ///< bytes
    std::uint64_t sectorSize = 0;
    std::uint64_t virtualSize = 0;
    bool hasParent = false;

    /// Payload blocks for each sector bitmap.
    [[nodiscard]] std::uint64_t ChunkRatio() const { return sectorSize * 8388608 / blockSize; }
    [[nodiscard]] std::uint64_t BlockCount() const {
        return (virtualSize + blockSize - 1) / blockSize;
    }
    [[nodiscard]] std::uint64_t ChunkCount() const {
        return (BlockCount() + ChunkRatio() - 1) / ChunkRatio();
    }
    /// Entries of the table: without a parent it ends with the last block.
    [[nodiscard]] std::uint64_t EntryCount() const {
        return hasParent ? ChunkCount() * (ChunkRatio() + 1) : BlockCount() + ChunkCount() - 1;
    }
};

/// Checks the metadata table, that the required items are there, and that their values are
/// plausible. None when the block allocation table cannot be understood without them.
[[nodiscard]] std::optional<CCheckedGeometry> CheckMetadata(CByteStream& stream,
                                                            const CFilePlace& region,
                                                            const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
