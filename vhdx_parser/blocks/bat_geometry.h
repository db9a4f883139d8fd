#ifndef VHDX_PARSER_BLOCKS_BAT_GEOMETRY_H
#define VHDX_PARSER_BLOCKS_BAT_GEOMETRY_H

/// The size of a block allocation table, with the lines that tell how it comes about.

#include <cstdint>
#include <optional>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/geometry.h"

namespace NVHDX {

/// Traces the ratio. It appears twice when a table is loaded, deliberately: once by itself and once
/// with the counts.
void TraceChunkRatio(std::uint32_t ratio);

/// The size of the whole table in bytes. Traces the ratio and the counts. Nothing for a ratio of 0
/// (then without a trace) and for a table whose size does not fit 32 bits.
std::optional<std::uint32_t> TableSize(const CFileParameters& params);

}  // namespace NVHDX

#endif
