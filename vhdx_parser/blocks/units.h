#ifndef VHDX_PARSER_BLOCKS_UNITS_H
#define VHDX_PARSER_BLOCKS_UNITS_H

/// The units of the block model, and how one becomes another.

#include <cstdint>

namespace NVHDX {

inline constexpr std::uint64_t Mebibyte = 1048576;

/// A chunk covers this many logical sectors: one bit of a 1 MiB sector bitmap for each.
constexpr std::uint64_t SectorsPerChunk = std::uint64_t{1} << 23;

/// A position in MiB, as the BAT keeps it, as a position in bytes. A position too large for 64 bits
/// wraps, and reading there fails.
constexpr std::uint64_t BytesFromMebibytes(std::uint64_t mebibytes) {
    return mebibytes * Mebibyte;
}

}  // namespace NVHDX

#endif
