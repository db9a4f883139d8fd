#ifndef VHDX_PARSER_BLOCKS_BLOCK_WALK_H
#define VHDX_PARSER_BLOCKS_BLOCK_WALK_H

/// Payload blocks one after the other, for ranges that go on from block to block.

#include <algorithm>
#include <cstdint>
#include <span>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/chunk_blocks.h"
#include "vhdx_parser/blocks/chunk_lookup.h"

namespace NVHDX {

/// Stands at one payload block. Looks its chunk up once, where the range enters it; what it finds
/// is what `FindPayloadBlock` finds for the same index.
class CBlockWalk {
public:
    /// Keeps the bits of the index that `indexMask` has, as every lookup of the range does.
    CBlockWalk(const CBlocks& blocks, std::uint64_t payloadBlockIndex,
               std::uint64_t indexMask = ~std::uint64_t{0})
        : m_blocks(blocks), m_indexMask(indexMask), m_index(payloadBlockIndex & indexMask) {
        EnterChunk();
    }

    std::uint64_t Index() const { return m_index; }

    /// Null when the block has no data in the file.
    const CPayloadBlock* Block() const { return CChunkBlocks::Find(*m_chunk, m_position); }

    /// Raises when the model does not have the next block's chunk.
    void Next() { Skip(1); }

    /// This block and those after it in the chunk, up to where the index starts again at 0, where
    /// each is found exactly when its state has data; empty where that is not so.
    std::span<const CPayloadBlock> RestOfChunk() const {
        const std::uint64_t behind =
            std::min(m_blocks.ratio - m_position - 1, m_indexMask - m_index);
        return CChunkBlocks::FoundByState(*m_chunk, m_position, m_position + behind + 1);
    }

    /// Goes on by `count` blocks, at most to the end of `RestOfChunk`. Raises as `Next` does.
    void Skip(std::uint64_t count) {
        m_index = (m_index + count) & m_indexMask;
        m_position += count;
        if (m_position == m_blocks.ratio || m_index == 0) {
            EnterChunk();
        }
    }

private:
    void EnterChunk() {
        const auto [chunkIndex, position] = LookupChunk(m_blocks, m_index);
        m_chunk = &CheckedChunk(m_blocks, chunkIndex);
        m_position = position;
    }

    const CBlocks& m_blocks;
    const CBlockChunk* m_chunk = nullptr;
    std::uint64_t m_indexMask;
    std::uint64_t m_index;
    std::uint64_t m_position = 0;
};

}  // namespace NVHDX

#endif
