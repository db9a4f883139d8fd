#include "vhdx_parser/blocks/chunk_blocks.h"

#include <algorithm>

namespace NVHDX {

void CChunkBlocks::Fill(CBlockChunk& chunk, const CBATTable& entries) {
    chunk.m_payloadBlocks.assign(entries.begin(), entries.end());
    chunk.m_count = entries.Count();
}

CPayloadSummary Summarize(const CBATTable& entries) {
    CPayloadSummary summary;
    for (const CBATEntry entry : entries) {
        summary.stateBits |= entry.StateMeaning().stateBit;
        summary.largestOffset = std::max(summary.largestOffset, entry.DataOffset());
    }
    return summary;
}

}  // namespace NVHDX
