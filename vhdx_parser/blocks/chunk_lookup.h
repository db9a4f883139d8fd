#ifndef VHDX_PARSER_BLOCKS_CHUNK_LOOKUP_H
#define VHDX_PARSER_BLOCKS_CHUNK_LOOKUP_H

/// From a payload block's index to its chunk and its place there.

#include <cstdint>
#include <utility>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// Raises `std::out_of_range` with the library's own text, "invalid vector subscript".
[[noreturn]] void RaiseInvalidVectorSubscript();

/// (chunk index, position in the chunk) of a disk-wide payload block index. The chunk need not
/// exist: the access to it is what is checked. A ratio of 0 raises like a chunk that does not
/// exist.
std::pair<std::uint64_t, std::uint64_t> LookupChunk(const CBlocks& blocks,
                                                    std::uint64_t payloadBlockIndex);

/// The chunk of that index; raises when the model does not have it.
const CBlockChunk& CheckedChunk(const CBlocks& blocks, std::uint64_t chunkIndex);

/// The block of that disk-wide index, or null when it has no data in the file; raises when the
/// model does not have its chunk.
const CPayloadBlock* FindPayloadBlock(const CBlocks& blocks, std::uint64_t payloadBlockIndex);

/// The payload block that holds a byte of the virtual disk; raises for a block size of 0, under
/// which no chunk can hold it.
std::uint64_t PayloadBlockIndex(std::uint64_t diskOffset, const CFileParameters& params);

}  // namespace NVHDX

#endif
