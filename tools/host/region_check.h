#ifndef VHDX_HOST_REGION_CHECK_H
#define VHDX_HOST_REGION_CHECK_H

#include <optional>
#include <vector>

#include "host/check_finding.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// Where the parts of a container lie, as far as its headers and region tables tell.
struct CCheckedRegions {
    std::optional<CFilePlace> bat;       ///< when at least its start lies in the file
    std::optional<CFilePlace> metadata;  ///< likewise
    std::vector<CFilePlace> places;      ///< all, the header area and the log among them
};

/// Checks both region tables and the places of the regions and of the log.
[[nodiscard]] CCheckedRegions CheckRegions(CByteStream& stream, std::uint64_t fileSize,
                                           const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
