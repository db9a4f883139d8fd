#ifndef VHDX_PARSER_BLOCK_ITERATION_H
#define VHDX_PARSER_BLOCK_ITERATION_H

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// The kind of an item that a backup has to copy.
enum EIterationBlockDataType : std::int32_t {
    typePayloadRange =
        1,  ///< number: running number of the range; pair: (virtual-disk offset, length)
    typeSectorBitmap = 2  ///< number: chunk index; pair: (file position of the bitmap, 1,048,576)
};

/// Turns the ranges that change tracking reports (virtual-disk offset → length, both in bytes) into
/// the items to copy: chunk by chunk in ascending order, first the ranges that start in the chunk,
/// then the chunk's sector bitmap when the file has one.
///
/// Ranges that end in the block with the largest file offset (`lastPayloadBlockIndex`) are
/// adjusted: the first is widened to the block's end, later ones are cut back to its start or
/// dropped. Ranges past the disk's end are reported too. Nothing is read from the file. An empty
/// callback ends in `std::bad_function_call` at the first item; a block size or chunk ratio of 0 in
/// `std::out_of_range`.
VHDX_PARSER_API void IterateOverBlocks(const CBlocks& blocks,
                                       std::map<std::uint64_t, std::uint64_t> ranges,
                                       const CFileParameters& params,
                                       std::function<void(EIterationBlockDataType, std::uint64_t,
                                                          std::pair<std::uint64_t, std::uint64_t>)>
                                           callback);

}  // namespace NVHDX

#endif
