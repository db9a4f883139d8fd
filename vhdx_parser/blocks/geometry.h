#ifndef VHDX_PARSER_BLOCKS_GEOMETRY_H
#define VHDX_PARSER_BLOCKS_GEOMETRY_H

/// How many entries a block allocation table has, and what a disk's geometry may be.
///
/// `ratio` payload entries are followed by one sector bitmap entry, and so on. A differencing disk
/// has a whole group for every chunk; any other disk ends its table with its last payload entry.

#include <bit>
#include <cstdint>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/units.h"

namespace NVHDX {

/// Bytes of one entry.
constexpr std::uint32_t BATEntrySize = 8;

/// What the format allows; nothing here asks whether a geometry is allowed.
inline constexpr std::uint64_t SmallestBlock = Mebibyte;
inline constexpr std::uint64_t LargestBlock = 256 * Mebibyte;
inline constexpr std::uint64_t LargestDisk = 64 * Mebibyte * Mebibyte;

/// A power of two within the limits.
constexpr bool IsBlockSize(std::uint64_t size) {
    return std::has_single_bit(size) && size >= SmallestBlock && size <= LargestBlock;
}

constexpr bool IsSectorSize(std::uint64_t size) {
    return size == 512 || size == 4096;
}

constexpr bool IsDiskSize(std::uint64_t size) {
    return size != 0 && size <= LargestDisk;
}

/// `divisor` is not 0.
constexpr std::uint64_t DivideRoundingUp(std::uint64_t dividend, std::uint64_t divisor) {
    return dividend / divisor + (dividend % divisor != 0 ? 1 : 0);
}

/// Payload blocks per chunk. 0 for a geometry that no chunk fits, a block size of 0 among them.
constexpr std::uint32_t ChunkRatio(std::uint16_t logicalSectorSize,
                                   std::uint32_t payloadBlockSize) {
    if (payloadBlockSize == 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(logicalSectorSize * SectorsPerChunk / payloadBlockSize);
}

/// The counts as they are traced: 32-bit numbers. That of the blocks is cut to 32 bits before the
/// others come from it, deliberately: a disk of 2^32 blocks or more has the table of what is left.
struct CBATCounts {
    std::uint32_t dataBlocks;
    std::uint32_t sectorBitmapBlocks;
    /// The entries before they are cut to 32 bits.
    std::uint64_t entries;
};

/// Under a ratio that is not 0.
constexpr CBATCounts CountBAT(const CFileParameters& params, std::uint32_t ratio) {
    const auto dataBlocks =
        static_cast<std::uint32_t>(DivideRoundingUp(params.virtdisksz, params.payloadblksz));
    const auto sectorBitmapBlocks = static_cast<std::uint32_t>(DivideRoundingUp(dataBlocks, ratio));
    // A disk of size 0 makes the subtraction wrap in 32 bits, and its table is then too short.
    const std::uint64_t entries =
        params.bDifferencing
            ? (std::uint64_t{ratio} + 1) * sectorBitmapBlocks
            : std::uint64_t{static_cast<std::uint32_t>(dataBlocks - 1) / ratio} + dataBlocks;
    return {dataBlocks, sectorBitmapBlocks, entries};
}

}  // namespace NVHDX

#endif
