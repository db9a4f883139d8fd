#include "vhdx_parser/blocks/bat_walk.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "vhdx_parser/blocks/block_state.h"
#include "vhdx_parser/blocks/sector_bitmap_state.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

void TracePayloadBlock(std::uint32_t index, const CBATEntry& entry) {
    NDebugTrace::Trace(NDebugTrace::levelInformation, "Payload block. ", "Index is \"", index,
                       "\"; Offset is \"", entry.FileOffsetMB(), "\" MB; State is \"",
                       NameOf(entry.PayloadState()), "\"");
}

}  // namespace

CBATWalk::CBATWalk(const CBATTable& table, std::uint32_t ratio, bool hasParent)
    : m_table(table),
      m_ratio(ratio),
      m_hasParent(hasParent),
      m_allowedStateBits(hasParent ? PayloadStateBitsWithParent : PayloadStateBitsWithoutParent) {
    m_chunks.reserve(table.Count() / (std::size_t{ratio} + 1) + 1);
}

bool CBATWalk::Run() {
    // Every turn but the last consumes at least the sector bitmap entry, so the walk ends.
    while (true) {
        const CBATTable entries =
            m_table.Part(m_entry, std::min(m_ratio, m_table.Count() - m_entry));
        if (NDebugTrace::g_pwriter != nullptr && !TracePayloadEntries(entries)) {
            return false;
        }
        CBlockChunk chunk;
        const CPayloadSummary summary = CChunkBlocks::Fill(chunk, entries);
        if ((summary.stateBits & ~m_allowedStateBits) != 0) {
            return false;
        }
        NoteLargestOffset(summary);
        m_entry += entries.Count();
        m_payloadBlock += entries.Count();

        const bool isEnd = m_entry == m_table.Count();
        if (isEnd && m_hasParent) {
            // The last group ended with its sector bitmap entry, which closed the last chunk.
            return true;
        }
        if (!CloseChunk(chunk)) {
            return false;
        }
        if (isEnd) {
            return true;
        }
        ++m_entry;
    }
}

/// Traces the entries up to the first one whose state is not allowed.
bool CBATWalk::TracePayloadEntries(const CBATTable& entries) const {
    for (std::uint32_t i = 0; i < entries.Count(); ++i) {
        if ((m_allowedStateBits >> entries[i].StateBits() & 1) == 0) {
            return false;
        }
        TracePayloadBlock(m_payloadBlock + i, entries[i]);
    }
    return true;
}

/// Only a strictly larger position replaces the one noted, so that the first block wins a tie.
void CBATWalk::NoteLargestOffset(const CPayloadSummary& summary) {
    if (summary.largestOffset > m_largestOffset) {
        m_largestOffset = summary.largestOffset;
        m_largestOffsetIndex = m_payloadBlock + summary.largest;
    }
}

/// Without a parent the sector bitmap entry says nothing, and behind the last group there is none.
bool CBATWalk::CloseChunk(CBlockChunk& chunk) {
    if (!m_hasParent) {
        chunk.SetNoSectorBitmap();
    } else {
        const CBATEntry entry = m_table[m_entry];
        if (entry.IsSectorBitmapPresent()) {
            auto sectorBitmapBlock = std::make_unique<CSectorBitmapBlock>();
            sectorBitmapBlock->offset = entry.FileOffsetMB();
            sectorBitmapBlock->state = SectorBitmapPresent;
            chunk.Set(sectorBitmapBlock);
        } else if (!entry.IsSectorBitmapNotPresent()) {
            return false;
        }
    }
    m_chunks.push_back(std::move(chunk));
    return true;
}

}  // namespace NVHDX
