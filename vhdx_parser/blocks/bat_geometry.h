#ifndef VHDX_PARSER_BLOCKS_BAT_GEOMETRY_H
#define VHDX_PARSER_BLOCKS_BAT_GEOMETRY_H

/// How many entries a block allocation table has.
///
/// `ratio` payload entries are followed by one sector bitmap entry, and so on. A differencing disk
/// has a whole group for every chunk; any other disk ends its table with its last payload entry.

#include <cstdint>
#include <optional>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// Bytes of one entry.
constexpr std::uint32_t BATEntrySize = 8;

/// Payload blocks per chunk. 0 for a geometry that no chunk fits, a block size of 0 among them.
std::uint32_t ChunkRatio(std::uint16_t logicalSectorSize, std::uint32_t payloadBlockSize);

/// Traces the ratio. It appears twice when a table is loaded, deliberately: once by itself and once
/// with the counts.
void TraceChunkRatio(std::uint32_t ratio);

/// The size of the whole table in bytes. Traces the ratio and the counts. Nothing for a ratio of 0
/// (then without a trace) and for a table whose size does not fit 32 bits.
std::optional<std::uint32_t> TableSize(const CFileParameters& params);

}  // namespace NVHDX

#endif
