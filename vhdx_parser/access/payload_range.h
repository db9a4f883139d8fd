#ifndef VHDX_PARSER_ACCESS_PAYLOAD_RANGE_H
#define VHDX_PARSER_ACCESS_PAYLOAD_RANGE_H

/// A range of the virtual disk, piece by piece: a piece is the part that lies in one payload block.

#include <cstdint>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// Traces that the block of that disk-wide index has no data in the file.
void TraceNoPayloadBlock(std::uint64_t payloadBlockIndex);

/// The length of the piece that starts at `position` of its block, in bytes, of `remaining` bytes.
/// Written so that no sum can wrap.
constexpr std::uint64_t PieceLength(std::uint64_t position, std::uint64_t remaining,
                                    const CFileParameters& params) {
    const std::uint64_t blockRest = params.payloadblksz - position;
    return remaining < blockRest ? remaining : blockRest;
}

}  // namespace NVHDX

#endif
