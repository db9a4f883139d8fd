#ifndef VHDX_DISK_CHECK_METADATA_CHECK_H
#define VHDX_DISK_CHECK_METADATA_CHECK_H

#include <optional>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// Checks the metadata table, that the items are there that every disk has, and that their values
/// are plausible. None when the block allocation table cannot be understood without them.
[[nodiscard]] std::optional<CGeometry> CheckMetadata(const IByteSource& source,
                                                     const CFilePlace& region,
                                                     const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
