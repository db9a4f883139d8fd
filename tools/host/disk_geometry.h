#ifndef VHDX_HOST_DISK_GEOMETRY_H
#define VHDX_HOST_DISK_GEOMETRY_H

#include <cstdint>
#include <string>

#include <vhdx_parser/accessor.h>

#include "host/stream_read.h"

namespace NVHDXHost {

/// What the disk file itself says of its blocks, whatever the block allocation table says.
struct CGeometry {
    std::uint32_t blockSize = 0;
    std::uint16_t sectorSize = 0;
    std::uint64_t virtualSize = 0;
    std::uint64_t ratio = 0;  ///< payload blocks in a chunk
    bool hasParent = false;
};

/// Reads the geometry of an opened container, before anything makes room for the table that it
/// asks for. False, with the reason in `error`, when a part of it cannot be read or no disk can
/// have it.
[[nodiscard]] bool ReadGeometry(const NVHDX::CAccessor& accessor, CByteStream& stream,
                                CGeometry& geometry, std::string& error);

/// What is said of a disk whose geometry is one, and whose table cannot be loaded.
inline constexpr const char* NoBlockTable =
    "the block allocation table is too short, cannot be read or has an impossible entry";

}  // namespace NVHDXHost

#endif
