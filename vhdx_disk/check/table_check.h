#ifndef VHDX_DISK_CHECK_TABLE_CHECK_H
#define VHDX_DISK_CHECK_TABLE_CHECK_H

#include <vector>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// Where the block allocation table lies, and what else has its place in the file.
struct CTablePlace {
    CFilePlace region;
    std::vector<CFilePlace> taken;  ///< places that no block may have
};

/// Checks every entry of the table. Neighbours with the same trouble share a finding. Takes 64 KiB
/// of the table at a time, and one bit of memory for each MiB of the file, at most 16 MiB.
void CheckTable(const CSourcePointer& source, const CTablePlace& place, const CGeometry& geometry,
                const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
