#ifndef VHDX_DISK_TABLE_REGION_PLACE_H
#define VHDX_DISK_TABLE_REGION_PLACE_H

#include <cstdint>
#include <optional>

#include <vhdx_disk/source.h>
#include <vhdx_parser/accessor.h>

namespace NVHDXDisk {

/// Where a region lies in the file, in bytes.
struct CRegionPlace {
    std::uint64_t begin = 0;
    std::uint32_t length = 0;
};

/// The first region of this type in the first copy of the region table, which is the one that the
/// first library goes by. None when there is none or the table cannot be read; where the source
/// refuses its bytes `cause` says so.
[[nodiscard]] std::optional<CRegionPlace> FindRegionPlace(const IByteSource& source,
                                                          NVHDX::CAccessor::CRegion::EType type,
                                                          CFailure& cause);

}  // namespace NVHDXDisk

#endif
