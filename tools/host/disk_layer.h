#ifndef VHDX_HOST_DISK_LAYER_H
#define VHDX_HOST_DISK_LAYER_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

#include "host/block_map.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

/// One file of a chain: all that reading from it needs but the open file. Immutable once loaded.
struct CDiskLayer {
    std::filesystem::path path;
    CReplayResult replay;
    std::shared_ptr<const CLogOverlay> overlay;  ///< null when no log entry was replayed
    std::uint64_t fileSize = 0;                  ///< bytes on disk, without what a replay adds
    NVHDX::CFileParameters parameters;
    CBlockMap blocks;
    _GUID diskId = {};                   ///< page 83 data; null when the file has none
    std::optional<_GUID> dataWriteGuid;  ///< none when no header is valid
    NVHDX::NMetadata::CParent locator;   ///< present exactly when the disk has a parent

    /// Bytes of the virtual disk that one sector bitmap covers.
    [[nodiscard]] std::uint64_t ChunkSize() const;
    [[nodiscard]] bool HasParent() const { return parameters.bDifferencing; }
};

/// Reads a disk file, with its log replayed or as it stands. False, with the reason in `error`,
/// when it is no disk that the format allows.
[[nodiscard]] bool LoadLayer(const std::filesystem::path& path, CReplayStream::EMode mode,
                             CDiskLayer& layer, std::string& error);

}  // namespace NVHDXHost

#endif
