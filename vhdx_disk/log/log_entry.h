#ifndef VHDX_DISK_LOG_LOG_ENTRY_H
#define VHDX_DISK_LOG_LOG_ENTRY_H

#include <cstdint>
#include <optional>

#include <vhdx_disk/source.h>
#include <vhdx_parser/guid.h>

#include "vhdx_disk/log/log_overlay.h"

namespace NVHDXDisk {

/// Where the log of a file lies, and the identifier that its entries must carry.
struct CLogArea {
    std::uint64_t offset = 0;  ///< position in the file, in bytes
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

/// The largest position that anything in a file can have: streams count in 63 bits.
inline constexpr std::uint64_t LargestPosition = ~std::uint64_t{0} >> 1;

/// Reads the log entry that starts at `position` and goes on at the start of the log where it
/// reaches the end. None when there is no valid entry: signatures, identifier, sequence numbers,
/// lengths, positions and the checksum over the whole entry must all be right. None also, with the
/// reason in `refusal`, when the source refuses bytes: then nobody knows what is there.
///
/// With `target` the entry's writes go there; what a refused entry has written is unspecified.
/// Reads sector by sector and stops at the first one that does not belong to the entry, so that
/// trying every sector of a hostile log takes time in proportion to its length.
[[nodiscard]] std::optional<CLogEntry> ReadLogEntry(const IByteSource& source, const CLogArea& area,
                                                    std::uint32_t position, CFailure& refusal,
                                                    CLogOverlay* target = nullptr);

}  // namespace NVHDXDisk

#endif
