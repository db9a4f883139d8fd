#ifndef VHDX_HOST_CURRENT_HEADER_H
#define VHDX_HOST_CURRENT_HEADER_H

#include <cstdint>
#include <optional>

#include <vhdx_parser/guid.h>

#include "host/stream_read.h"

namespace NVHDXHost {

/// What the current header of a container says.
struct CCurrentHeader {
    std::uint64_t sequenceNumber = 0;
    _GUID fileWriteGuid = {};
    _GUID dataWriteGuid = {};  ///< what children of this disk keep as their parent linkage
    _GUID logGuid = {};        ///< null: there is no log to replay
    std::uint16_t logVersion = 0;
    std::uint16_t version = 0;
    std::uint32_t logLength = 0;  ///< bytes
    std::uint64_t logOffset = 0;  ///< bytes from the start of the file
};

/// The header with the greatest sequence number among those of the two copies whose signature and
/// checksum are right; of equal ones the first. None when no copy is valid.
[[nodiscard]] std::optional<CCurrentHeader> ReadCurrentHeader(CByteStream& stream);

}  // namespace NVHDXHost

#endif
