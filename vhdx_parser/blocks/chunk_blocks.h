#ifndef VHDX_PARSER_BLOCKS_CHUNK_BLOCKS_H
#define VHDX_PARSER_BLOCKS_CHUNK_BLOCKS_H

/// The blocks of a chunk for the library's own loops: filled and looked up many at a time.

#include <algorithm>
#include <cstdint>
#include <span>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/bat_table.h"
#include "vhdx_parser/blocks/block_state.h"

namespace NVHDX {

/// What a run of payload entries holds.
struct CPayloadSummary {
    unsigned stateBits = 0;           ///< bit n is set when an entry has state bits n
    std::uint64_t largestOffset = 0;  ///< of the blocks with data, in MiB
    std::uint32_t largest = 0;        ///< the first entry that has it
};

struct CChunkBlocks {
    /// Fills an empty chunk with the blocks of many entries at once, with the result of one
    /// `InitPayloadBlock` after the other. Entries whose state means nothing become some block: the
    /// summary tells of them.
    static CPayloadSummary Fill(CBlockChunk& chunk, const CBATTable& entries);

    /// `CBlockChunk::GetPayloadBlock`.
    static const CPayloadBlock* Find(const CBlockChunk& chunk, std::uint64_t position) {
        if (position >= chunk.m_count || position >= chunk.m_payloadBlocks.size()) {
            return nullptr;
        }
        if (position < chunk.m_zeroSlots) {
            return &chunk.m_payloadBlocks[0];
        }
        const CPayloadBlock& block = chunk.m_payloadBlocks[static_cast<std::size_t>(position)];
        return position < chunk.m_unconditionalSlots || IsIndexed(block.state) ? &block : nullptr;
    }

    /// The blocks of the positions [first, end), where each is found exactly when its state has
    /// data as in every chunk that was filled block by block; empty in any other chunk.
    static std::span<const CPayloadBlock> FoundByState(const CBlockChunk& chunk,
                                                       std::uint64_t first, std::uint64_t end) {
        end = std::min<std::uint64_t>(end, chunk.m_payloadBlocks.size());
        if (chunk.m_zeroSlots != 0 || chunk.m_unconditionalSlots != 0 ||
            chunk.m_count != chunk.m_payloadBlocks.size() || first >= end) {
            return {};
        }
        return std::span(chunk.m_payloadBlocks)
            .subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(end - first));
    }
};

}  // namespace NVHDX

#endif
