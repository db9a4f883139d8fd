#ifndef VHDX_PARSER_BLOCKS_BAT_WALK_H
#define VHDX_PARSER_BLOCKS_BAT_WALK_H

#include <cstdint>
#include <vector>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/bat_table.h"
#include "vhdx_parser/blocks/chunk_blocks.h"

namespace NVHDX {

/// Turns the entries of a block allocation table into chunks.
class CBATWalk {
public:
    /// `ratio` is not 0.
    CBATWalk(const CBATTable& table, std::uint32_t ratio, bool hasParent);

    /// Walks the table once. False when an entry has a state that its place does not allow.
    bool Run();

    std::vector<CBlockChunk>& Chunks() { return m_chunks; }

    /// The largest position of a block with data, in MiB, and the disk-wide index of the first
    /// block that has it.
    std::uint64_t LargestOffset() const { return m_largestOffset; }
    std::uint64_t LargestOffsetIndex() const { return m_largestOffsetIndex; }

private:
    bool TracePayloadEntries(const CBATTable& entries) const;
    void NoteLargestOffset(const CPayloadSummary& summary);
    bool CloseChunk(CBlockChunk& chunk);

    CBATTable m_table;
    std::uint32_t m_ratio;
    bool m_hasParent;
    unsigned m_allowedStateBits;  ///< bit n is set when a payload entry may have state bits n

    std::uint32_t m_entry = 0;         ///< index of the next entry
    std::uint32_t m_payloadBlock = 0;  ///< disk-wide index of the next payload block
    std::uint64_t m_largestOffset = 0;
    std::uint64_t m_largestOffsetIndex = 0;
    std::vector<CBlockChunk> m_chunks;
};

}  // namespace NVHDX

#endif
