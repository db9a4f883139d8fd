#include "vhdx_parser/blocks/chunk_blocks.h"

namespace NVHDX {

CPayloadSummary CChunkBlocks::Fill(CBlockChunk& chunk, const CBATTable& entries) {
    chunk.m_payloadBlocks.resize(entries.Count());
    chunk.m_count = entries.Count();
    CPayloadBlock* const blocks = chunk.m_payloadBlocks.data();
    CPayloadSummary summary;
    for (std::uint32_t i = 0; i < entries.Count(); ++i) {
        const CBATEntry entry = entries[i];
        blocks[i] = entry;
        summary.stateBits |= entry.StateMeaning().stateBit;
        // Only a strictly larger position takes the place of the one noted: the first wins a tie.
        const bool isLarger = entry.DataOffset() > summary.largestOffset;
        summary.largestOffset = isLarger ? entry.DataOffset() : summary.largestOffset;
        summary.largest = isLarger ? i : summary.largest;
    }
    return summary;
}

}  // namespace NVHDX
