#ifndef VHDX_DISK_READ_EXTENT_READER_H
#define VHDX_DISK_READ_EXTENT_READER_H

#include <span>
#include <vector>

#include <vhdx_disk/reader.h>

#include "vhdx_disk/chain/disk_parts.h"
#include "vhdx_disk/read/nearby_reads.h"

namespace NVHDXDisk {

/// Reads the bytes of extents that were resolved. One thread at a time.
class CExtentReader {
public:
    /// The disk outlives the reader.
    explicit CExtentReader(const CDisk& disk) : m_chain(CDiskParts::Of(disk).chain) {}

    /// Fills `bytes`, of which the first is that of the first extent, with those of extents that
    /// follow one another.
    [[nodiscard]] bool Read(std::span<const CExtent> extents, std::span<unsigned char> bytes,
                            CFailure& failure);

private:
    const std::vector<CChainFile>& m_chain;
    CNearbyReads m_reads;
};

}  // namespace NVHDXDisk

#endif
