#ifndef VHDX_HOST_LOG_ENTRY_H
#define VHDX_HOST_LOG_ENTRY_H

#include <cstdint>
#include <optional>

#include <vhdx_parser/guid.h>

#include "host/log_overlay.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// Where the log of a file lies, and the identifier that its entries must carry.
struct CLogArea {
    std::uint64_t offset = 0;  ///< bytes from the start of the file
    std::uint32_t length = 0;  ///< bytes; a multiple of the sector size
    _GUID guid = {};
};

/// What the header of a log entry says. Positions in the log count from its start, in bytes.
struct CLogEntry {
    std::uint32_t position = 0;
    std::uint32_t length = 0;
    std::uint32_t tail = 0;  ///< position of the oldest entry that was pending with this one
    std::uint64_t sequenceNumber = 0;
    std::uint32_t descriptorCount = 0;
    std::uint64_t flushedFileOffset = 0;  ///< the file was at least this long, safely on disk
    std::uint64_t lastFileOffset = 0;     ///< the file must be at least this long
};

/// Reads the log entry that starts at `position` and goes on at the start of the log where it
/// reaches the end. None when there is no valid entry: signatures, identifier, sequence numbers,
/// lengths, positions and the checksum over the whole entry must all be right.
///
/// With `target` the entry's writes go there; what a refused entry has written is unspecified.
/// Reads sector by sector and stops at the first one that does not belong to the entry, so that
/// trying every sector of a hostile log takes time in proportion to its length.
[[nodiscard]] std::optional<CLogEntry> ReadLogEntry(CByteStream& stream, const CLogArea& area,
                                                    std::uint32_t position,
                                                    CLogOverlay* target = nullptr);

}  // namespace NVHDXHost

#endif
