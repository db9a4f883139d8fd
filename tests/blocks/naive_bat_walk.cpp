#include "tests/blocks/naive_bat_walk.h"

#include <array>
#include <string>

#include "tests/blocks/bat_trace.h"

namespace NTest {
namespace {

/// By the number of the state.
constexpr std::array<const char*, 7> stateNames = {
    "", "NotPresent", "Undefined", "Zero", "Unmapped", "FullyPresent", "PartiallyPresent"};

std::optional<int> StateOf(std::uint64_t stateBits, bool hasParent) {
    switch (stateBits) {
        case 0:
            return 1;
        case 1:
            return 2;
        case 2:
            return 3;
        case 3:
            return 4;
        case 6:
            return 5;
        case 7:
            return hasParent ? std::optional<int>(6) : std::nullopt;
        default:
            return std::nullopt;
    }
}

}  // namespace

CNaiveWalk NaiveWalk(const std::vector<std::uint64_t>& words, std::uint64_t ratio, bool hasParent) {
    CNaiveWalk walk;
    CNaiveChunk chunk;
    std::uint64_t payloadIndex = 0;
    for (std::size_t step = 0; step <= words.size(); ++step) {
        if (chunk.blocks.size() == ratio || step == words.size()) {
            if (hasParent && step == words.size()) {
                break;
            }
            if (!hasParent) {
                chunk.noSectorBitmap = true;
            } else if (words[step] % 8 == 6) {
                chunk.hasSectorBitmapBlock = true;
                chunk.sectorBitmapOffset = words[step] >> 20;
                chunk.sectorBitmapState = 2;
            } else if (words[step] % 8 != 0) {
                return walk;
            }
            walk.chunks.push_back(chunk);
            chunk = CNaiveChunk();
            continue;
        }
        const std::optional<int> state = StateOf(words[step] % 8, hasParent);
        if (!state) {
            return walk;
        }
        const std::uint64_t offset = words[step] >> 20;
        walk.lines.push_back(
            PayloadBlockLine(payloadIndex, offset, stateNames[static_cast<std::size_t>(*state)]));
        const bool hasData = *state == 2 || *state == 5 || *state == 6;
        if (hasData && offset > walk.largestOffset) {
            walk.largestOffset = offset;
            walk.largestOffsetIndex = payloadIndex;
        }
        const std::uint64_t position = chunk.blocks.size();
        chunk.blocks.push_back({offset, *state, hasData ? std::optional(position) : std::nullopt});
        ++payloadIndex;
    }
    walk.success = true;
    return walk;
}

std::vector<CNaiveChunk> Described(const std::vector<NVHDX::CBlockChunk>& chunks) {
    std::vector<CNaiveChunk> described;
    for (const NVHDX::CBlockChunk& chunk : chunks) {
        CNaiveChunk& copy = described.emplace_back();
        for (std::uint64_t i = 0; i < chunk.getCount(); ++i) {
            const NVHDX::CPayloadBlock& block = chunk.getPayloadBlocks().at(i);
            copy.blocks.push_back({block.offset, block.state, std::nullopt});
            if (const NVHDX::CPayloadBlock* const found = chunk.GetPayloadBlock(i)) {
                copy.blocks.back().found =
                    static_cast<std::uint64_t>(found - chunk.getPayloadBlocks().data());
            }
        }
        copy.noSectorBitmap = !chunk.IsSectorBitmapPresent();
        if (const auto& block = chunk.getSectorBitmatBlock()) {
            copy.hasSectorBitmapBlock = true;
            copy.sectorBitmapOffset = block->offset;
            copy.sectorBitmapState = block->state;
        }
    }
    return described;
}

}  // namespace NTest
