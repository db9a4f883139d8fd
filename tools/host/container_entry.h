#ifndef VHDX_HOST_CONTAINER_ENTRY_H
#define VHDX_HOST_CONTAINER_ENTRY_H

/// Opens containers for hosts that nobody waits for longer than the file is worth.

#include <string>

#include <vhdx_parser/accessor.h>

#include "host/replay_stream.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// What is said of a file of which `ClaimsTooManyRegions` is true.
inline constexpr const char* TooManyRegions =
    "the region table claims more entries than the 2047 that it has room for";

/// How a reason ends that lies in the log: what lets the file be opened all the same, as the
/// command calls it.
inline constexpr const char* AsItStandsHint = " (--no-replay shows the file as it stands)";

/// The opening of a disk file, for everybody who reads one: false, with the one reason that there
/// is for each file in `error`, when it cannot be opened, when its log cannot be replayed or nobody
/// knows whether there is one, and when it is no container. A stream that shows the file as it
/// stands asks nothing of headers' checksums and of the log.
[[nodiscard]] bool OpenContainer(NVHDX::CAccessor& accessor, CReplayStream& stream,
                                 std::string& error);

/// Whether the file begins as every disk file does.
[[nodiscard]] bool HasIdentifier(CByteStream& stream);

/// Whether the region table claims more entries than it has room for. The library follows the count
/// to the end of the file: for hours, where a sparse file says that it is large. Leaves the stream
/// at its start, ready to be read.
[[nodiscard]] bool ClaimsTooManyRegions(CByteStream& stream);

/// `CAccessor::Entry` from the start of the stream, for a file that does not claim too many
/// regions. For those who look into files that cannot be opened.
[[nodiscard]] bool EnterContainer(NVHDX::CAccessor& accessor, CByteStream& stream);

}  // namespace NVHDXHost

#endif
