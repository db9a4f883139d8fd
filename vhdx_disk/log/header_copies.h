#ifndef VHDX_DISK_LOG_HEADER_COPIES_H
#define VHDX_DISK_LOG_HEADER_COPIES_H

/// The two copies of a file's header, and which of them counts.

#include <array>
#include <cstdint>
#include <optional>

#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>

#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

struct CHeaderCopy {
    std::uint64_t position = 0;
    bool isSigned = false;  ///< it could be read and begins with "head"
    bool isValid = false;   ///< and its checksum is right
    NVHDX::NFormat::VHDX_HEADER record = {};
};

/// In the order of their positions.
[[nodiscard]] std::array<CHeaderCopy, 2> ReadHeaderCopies(const IByteSource& source);

/// The valid copy with the greatest sequence number, of equal ones the first.
[[nodiscard]] std::optional<CCurrentHeader> CurrentHeader(const std::array<CHeaderCopy, 2>& copies);

/// A file and what its current header says, which is read once for all that need it.
struct CHeadedFile {
    CSourcePointer source;
    std::optional<CCurrentHeader> header;  ///< none when no copy is valid
};

[[nodiscard]] CHeadedFile WithHeader(CSourcePointer source);

}  // namespace NVHDXDisk

#endif
