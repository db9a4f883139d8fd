#ifndef VHDX_PARSER_TESTS_BLOCKS_NAIVE_BAT_WALK_H
#define VHDX_PARSER_TESTS_BLOCKS_NAIVE_BAT_WALK_H

/// The walk over a block allocation table, entry by entry, with nothing done to make it fast.

#include <cstdint>
#include <optional>
#include <vector>

#include <vhdx_parser/block_model.h>

#include "tests/support/trace_capture.h"

namespace NTest {

struct CNaiveBlock {
    std::uint64_t offset;
    int state;
    /// Which block `GetPayloadBlock` finds at this position.
    std::optional<std::uint64_t> found;

    friend bool operator==(const CNaiveBlock&, const CNaiveBlock&) = default;
};

struct CNaiveChunk {
    std::vector<CNaiveBlock> blocks;
    bool hasSectorBitmapBlock = false;
    std::uint64_t sectorBitmapOffset = 0;
    int sectorBitmapState = 0;
    bool noSectorBitmap = false;

    friend bool operator==(const CNaiveChunk&, const CNaiveChunk&) = default;
};

struct CNaiveWalk {
    bool success = false;
    std::vector<CNaiveChunk> chunks;
    std::uint64_t largestOffset = 0;
    std::uint64_t largestOffsetIndex = 0;
    std::vector<CTraceLine> lines;
};

/// Steps 0 to `words.size()`, the last of which has no entry.
CNaiveWalk NaiveWalk(const std::vector<std::uint64_t>& words, std::uint64_t ratio, bool hasParent);

/// The library's chunks in the same form.
std::vector<CNaiveChunk> Described(const std::vector<NVHDX::CBlockChunk>& chunks);

}  // namespace NTest

#endif
