#ifndef VHDX_DISK_CHECK_REGION_CHECK_H
#define VHDX_DISK_CHECK_REGION_CHECK_H

#include <optional>
#include <vector>

#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// Where the parts of a container lie, as far as its headers and region tables tell.
struct CCheckedRegions {
    std::optional<CFilePlace> bat;       ///< when at least its start lies in the file
    std::optional<CFilePlace> metadata;  ///< likewise
    std::vector<CFilePlace> places;      ///< all, the header area and the log among them
};

/// Checks both region tables and the places of the regions and of the log.
[[nodiscard]] CCheckedRegions CheckRegions(const IByteSource& source, const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
