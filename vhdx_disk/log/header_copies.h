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

/// What is said of a file of which nobody knows whether it has a log.
inline constexpr const char* NoValidHeader = "neither header of the file is valid";

struct CHeaderCopy {
    std::uint64_t position = 0;
    CFailure refusal;       ///< why the system does not give its bytes; of kind `none` if it does
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
    std::array<CHeaderCopy, 2> copies;
    std::optional<CCurrentHeader> header;  ///< none when no copy is valid
};

[[nodiscard]] CHeadedFile WithHeader(CSourcePointer source);

/// The copy whose bytes the system does not give, where it is one that the file can be read
/// without: the other one is valid, and the sector is bad rather than the file gone. Null when
/// there is none.
[[nodiscard]] const CHeaderCopy* LostCopy(const CHeadedFile& file);

/// Whether the source is as it was when its current header was `header`, by what the system says
/// and by the header. False, with the reason in `failure`, when it is not or nobody can tell: a
/// copy that could not be read (`lost` says why) and can be now, or the other way round, is no
/// change.
[[nodiscard]] bool CheckUnchanged(const IByteSource& source,
                                  const std::optional<CCurrentHeader>& header, const CFailure& lost,
                                  CFailure& failure);

/// Why the header that counts is not known because the system refused bytes of it; of kind `none`
/// when that is not so.
[[nodiscard]] CFailure WhyHeaderRefused(const std::array<CHeaderCopy, 2>& copies);

}  // namespace NVHDXDisk

#endif
