#include "vhdx_parser/blocks/bat_geometry.h"

#include <limits>

#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;

void TraceChunkRatio(std::uint32_t ratio) {
    Trace(NDebugTrace::levelInformation, "INFO. ", "Chunk radio is \"", ratio, "\"");
}

std::optional<std::uint32_t> TableSize(const CFileParameters& params) {
    const std::uint32_t ratio = ChunkRatio(params.logsectsz, params.payloadblksz);
    if (ratio == 0) {
        return std::nullopt;
    }
    const CBATCounts counts = CountBAT(params, ratio);
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
