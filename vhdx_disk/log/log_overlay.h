#ifndef VHDX_DISK_LOG_LOG_OVERLAY_H
#define VHDX_DISK_LOG_LOG_OVERLAY_H

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

/// The unit of the log: entries, descriptors' pages and data sectors all have this size.
inline constexpr std::uint32_t LogSectorSize = NVHDX::NFormat::VHDX_LOG_ENTRY_HEADER::SectorSize;

using CLogPage = std::array<unsigned char, LogSectorSize>;

/// What the entries of a log write into the file, kept in memory beside it.
///
/// Later writes win. Pages cost their size, ranges of zeros a few words each, however long they
/// are. Built by one thread; afterwards any number of threads may read it.
class CLogOverlay {
public:
    /// A run of overlaid bytes [begin, end) of the file; `bytes` are those of `begin`, null: zeros.
    struct CRun {
        std::uint64_t begin;
        std::uint64_t end;
        const unsigned char* bytes;
    };

    /// `position` is a multiple of the page size.
    void WritePage(std::uint64_t position, const CLogPage& page);
    /// Both are multiples of the page size, and their sum does not overflow.
    void WriteZeros(std::uint64_t position, std::uint64_t length);

    /// Says that the file is at least this long; what it lacks are zeros.
    void ExtendFile(std::uint64_t size);

    /// The run that holds `position`, cut to begin there, or else the next one behind it.
    [[nodiscard]] std::optional<CRun> RunFrom(std::uint64_t position) const;

    /// The size that the writes and extensions give the file; the file itself may be longer.
    [[nodiscard]] std::uint64_t FileSize() const { return m_fileSize; }
    [[nodiscard]] bool IsEmpty() const { return m_fileSize == 0; }

private:
    void ErasePages(std::uint64_t begin, std::uint64_t end);

    /// A page wins over the zeros around it: zeros that are written later remove it.
    std::map<std::uint64_t, std::unique_ptr<CLogPage>> m_pages;
    std::map<std::uint64_t, std::uint64_t> m_zeros;  ///< begin to end; apart from one another
    std::uint64_t m_fileSize = 0;
};

}  // namespace NVHDXDisk

#endif
