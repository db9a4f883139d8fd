#ifndef VHDX_PARSER_BLOCKS_SECTOR_BITMAP_STATE_H
#define VHDX_PARSER_BLOCKS_SECTOR_BITMAP_STATE_H

/// Whether a chunk's sector bitmap is in the file.

#include <cstdint>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// The state of a sector bitmap block whose bitmap is in the file.
constexpr std::int32_t SectorBitmapPresent = 2;

inline bool HasPresentSectorBitmap(const CBlockChunk& chunk) {
    const CSectorBitmapBlock* const block = chunk.getSectorBitmatBlock().get();
    return block != nullptr && block->state == SectorBitmapPresent;
}

}  // namespace NVHDX

#endif
