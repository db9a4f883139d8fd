#include "vhdx_parser/blocks/chunk_blocks.h"

#include <algorithm>
#include <vector>

namespace NVHDX {

namespace {

/// As many blocks as are made and then filled while they are in the processor's nearest cache.
constexpr std::uint32_t BlocksPerStep = 512;

CPayloadSummary FillRange(CPayloadBlock* blocks, const CBATTable& entries, std::uint32_t first,
                          std::uint32_t end, CPayloadSummary summary) {
    for (std::uint32_t i = first; i < end; ++i) {
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

}  // namespace

CPayloadSummary CChunkBlocks::Fill(CBlockChunk& chunk, const CBATTable& entries) {
    std::vector<CPayloadBlock>& blocks = chunk.m_payloadBlocks;
    blocks.reserve(entries.Count());
    CPayloadSummary summary;
    for (std::uint32_t first = 0; first < entries.Count();) {
        const std::uint32_t end = first + std::min(BlocksPerStep, entries.Count() - first);
        blocks.resize(end);
        summary = FillRange(blocks.data(), entries, first, end, summary);
        first = end;
    }
    chunk.m_count = entries.Count();
    return summary;
}

}  // namespace NVHDX
