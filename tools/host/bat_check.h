#ifndef VHDX_HOST_BAT_CHECK_H
#define VHDX_HOST_BAT_CHECK_H

#include <vector>

#include "host/metadata_check.h"

namespace NVHDXHost {

/// Where the block allocation table lies, and what else has its place in the file.
struct CBatPlace {
    CFilePlace region;
    std::vector<CFilePlace> taken;  ///< places that no block may have
    std::uint64_t fileSize = 0;     ///< bytes
};

/// Checks every entry of the table. Neighbours with the same trouble share a finding. Takes 64 KiB
/// of the table at a time, and one bit of memory for each MiB of the file, at most 16 MiB.
void CheckBat(CByteStream& stream, const CBatPlace& place, const CCheckedGeometry& geometry,
              const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
