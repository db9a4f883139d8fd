#include "vhdx_parser/blocks/bat_geometry.h"

#include <limits>

#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;

namespace {

constexpr std::uint64_t DivideRoundingUp(std::uint64_t dividend, std::uint64_t divisor) {
    return dividend / divisor + (dividend % divisor != 0 ? 1 : 0);
}

/// The counts as they are traced: 32-bit numbers. That of the blocks is cut to 32 bits before the
/// others come from it, deliberately: a disk of 2^32 blocks or more has the table of what is left.
struct CCounts {
    std::uint32_t dataBlocks;
    std::uint32_t sectorBitmapBlocks;
    /// The entries before they are cut to 32 bits.
    std::uint64_t entries;
};

CCounts Count(const CFileParameters& params, std::uint32_t ratio) {
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

}  // namespace

std::uint32_t ChunkRatio(std::uint16_t logicalSectorSize, std::uint32_t payloadBlockSize) {
    if (payloadBlockSize == 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(logicalSectorSize * SectorsPerChunk / payloadBlockSize);
}

void TraceChunkRatio(std::uint32_t ratio) {
    Trace(NDebugTrace::levelInformation, "INFO. ", "Chunk radio is \"", ratio, "\"");
}

std::optional<std::uint32_t> TableSize(const CFileParameters& params) {
    const std::uint32_t ratio = ChunkRatio(params.logsectsz, params.payloadblksz);
    if (ratio == 0) {
        return std::nullopt;
    }
    const CCounts counts = Count(params, ratio);
    TraceChunkRatio(ratio);
    Trace(NDebugTrace::levelInformation, "INFO. ", "Data blocks count is \"", counts.dataBlocks,
          "\"");
    Trace(NDebugTrace::levelInformation, "INFO. ", "Sector bitmap blocks count is \"",
          counts.sectorBitmapBlocks, "\"");
    Trace(NDebugTrace::levelInformation, "BAT. ", "Entries counts is \"",
          static_cast<std::uint32_t>(counts.entries), "\"");
    if (counts.entries > std::numeric_limits<std::uint32_t>::max() / BATEntrySize) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(counts.entries * BATEntrySize);
}

}  // namespace NVHDX
