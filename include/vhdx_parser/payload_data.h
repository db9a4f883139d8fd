#ifndef VHDX_PARSER_PAYLOAD_DATA_H
#define VHDX_PARSER_PAYLOAD_DATA_H

/// The data behind a range of the virtual disk, and where in the file it lies.
///
/// The functions look at one file: of a differencing disk they answer what this file holds. A block
/// index whose chunk the model does not have ends in `std::out_of_range`, "invalid vector
/// subscript". The model and the parameters are only read.

#include <cstdint>
#include <ios>
#include <utility>
#include <vector>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/dynamic_alloc_buffer.h>

namespace NVHDX {

/// Moves the bytes [`offset`, `offset` + `count`) of the virtual disk between file and `buffer`.
///
/// `read` true: the first `count` bytes of `buffer` become the range's bytes, zeros where the file
/// holds no data; the buffer grows to `count` when it is smaller. `read` false: the first `count`
/// bytes of `buffer` are written to the range's places in the file; blocks without data are
/// skipped. A buffer of fewer bytes than that is refused, with nothing written and without a line
/// of level 3, unless the range touches no block with data: then no buffer is looked at. `stream`
/// must be an input or output stream to match. False after a trace line at level 3 when the stream
/// fails or a block has a state without data; pieces that were moved before stay moved.
[[nodiscard]] VHDX_PARSER_API bool RequestPayloadData(
    std::basic_ios<unsigned char>& stream, const CBlocks& blocks, std::uint64_t offset,
    std::uint64_t count, const CFileParameters& params,
    CDynamicAllocBuffer<unsigned char, std::uint64_t>& buffer, bool read);

/// The file position of the virtual disk's byte `offset`; `offset` itself when its block has no
/// data in the file (deliberately: the result does not tell the two apart). `count` is not used.
[[nodiscard]] VHDX_PARSER_API std::uint64_t RequestPayloadRealOffset(const CBlocks& blocks,
                                                                     std::uint64_t offset,
                                                                     std::uint64_t count,
                                                                     const CFileParameters& params);

/// One pair (file position, length) in bytes for each payload block that the range [`offset`,
/// `offset` + `count`) touches, in range order; the position is -1 where the file holds no data.
[[nodiscard]] VHDX_PARSER_API std::vector<std::pair<std::int64_t, std::uint64_t>>
RequestPayloadRealOffsets(const CBlocks& blocks, std::uint64_t offset, std::uint64_t count,
                          const CFileParameters& params);

}  // namespace NVHDX

#endif
