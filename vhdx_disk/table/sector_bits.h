#ifndef VHDX_DISK_TABLE_SECTOR_BITS_H
#define VHDX_DISK_TABLE_SECTOR_BITS_H

/// Sector bitmaps as the disk format has them: the bit of the first sector is the lowest bit of the
/// first byte.

#include <cstdint>
#include <span>

namespace NVHDXDisk {

/// Whether the file holds the sector.
[[nodiscard]] inline bool IsSectorPresent(std::span<const unsigned char> bitmap,
                                          std::uint64_t sector) {
    return (bitmap[static_cast<std::size_t>(sector / 8)] >> (sector % 8) & 1) != 0;
}

/// The end of the run of equal bits that begins with `sector`, at most `end`, which lies in the
/// bitmap. Takes 64 bits at a time.
[[nodiscard]] std::uint64_t EndOfRun(std::span<const unsigned char> bitmap, std::uint64_t sector,
                                     std::uint64_t end);

}  // namespace NVHDXDisk

#endif
