#ifndef VHDX_HOST_CONTAINER_ENTRY_H
#define VHDX_HOST_CONTAINER_ENTRY_H

/// Opens containers for hosts that nobody waits for longer than the file is worth.

#include <vhdx_parser/accessor.h>

#include "host/stream_read.h"

namespace NVHDXHost {

/// What is said of a file of which `ClaimsTooManyRegions` is true.
inline constexpr const char* TooManyRegions =
    "the region table claims more entries than the 2047 that it has room for";

/// Whether the region table claims more entries than it has room for. The library follows the count
/// to the end of the file: for hours, where a sparse file says that it is large. Leaves the stream
/// at its start, ready to be read.
[[nodiscard]] bool ClaimsTooManyRegions(CByteStream& stream);

/// `CAccessor::Entry` from the start of the stream, for a file that does not claim too many
/// regions.
[[nodiscard]] bool EnterContainer(NVHDX::CAccessor& accessor, CByteStream& stream);

}  // namespace NVHDXHost

#endif
