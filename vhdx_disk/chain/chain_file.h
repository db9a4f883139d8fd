#ifndef VHDX_DISK_CHAIN_CHAIN_FILE_H
#define VHDX_DISK_CHAIN_CHAIN_FILE_H

#include <cstdint>
#include <memory>

#include <vhdx_disk/disk.h>

#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/table/block_index.h"

namespace NVHDXDisk {

/// One file of a chain: all that reading from it needs. Immutable once opened; any number of
/// threads.
struct CChainFile {
    CReplayedFile file;
    CGeometry geometry;
    CBlockIndex blocks;
    CFailure lostHeader;  ///< why one copy of the header could not be read, if it could not
    /// Bytes of the disk that one sector bitmap covers.
    [[nodiscard]] std::uint64_t ChunkSize() const { return geometry.ratio * geometry.blockSize; }
};

/// Reads the headers of a file, its metadata and its table, or takes `table` for that. False, with
/// the reason in `failure`, when it is no disk that the format allows.
[[nodiscard]] bool OpenChainFile(const CHeadedFile& headed, ELog log, const CLoadedTable& table,
                                 CChainFile& file, CDiskFile& told, CFailure& failure);

}  // namespace NVHDXDisk

#endif
