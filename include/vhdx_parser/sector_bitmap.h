#ifndef VHDX_PARSER_SECTOR_BITMAP_H
#define VHDX_PARSER_SECTOR_BITMAP_H

/// The sector bitmap of a chunk: which of its sectors a differencing file holds itself. The bits
/// are moved as they stand; what they mean is the caller's business.

#include <cstdint>
#include <ios>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// Reads the sector bitmap of chunk `chunkIndex` into `area` (`read` true) or writes `area` over
/// it.
///
/// A chunk marked as one without sector bitmap answers true and touches neither stream nor area.
/// False after a trace line at level 3 when the bitmap is not present in the file or the stream
/// fails, and false for a chunk that the model does not have.
[[nodiscard]] VHDX_PARSER_API bool RequestSectorBitmapData(std::basic_ios<unsigned char>& stream,
                                                           const CBlocks& blocks,
                                                           std::uint32_t chunkIndex,
                                                           CSectorBitmapArea& area, bool read);

/// Stores the file position of the chunk's sector bitmap, in bytes. False, with `realOffset`
/// unchanged, when the chunk has none; so this tells whether a bitmap exists.
[[nodiscard]] VHDX_PARSER_API bool RequestSectorBitmapRealOffset(const CBlocks& blocks,
                                                                 std::uint32_t chunkIndex,
                                                                 std::uint64_t& realOffset);

}  // namespace NVHDX

#endif
