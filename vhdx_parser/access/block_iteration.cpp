#include <vhdx_parser/block_iteration.h>

#include "vhdx_parser/access/changed_chunks.h"
#include "vhdx_parser/blocks/chunk_lookup.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

using CItemCallback = std::function<void(EIterationBlockDataType, std::uint64_t,
                                         std::pair<std::uint64_t, std::uint64_t>)>;

constexpr std::uint64_t SectorBitmapSize = CSectorBitmapArea().size();

/// Adjusts ranges that end in the block with the largest file offset, where the file may end inside
/// the block: the first is widened to the block's end, later ones are cut back to its start, so
/// that the tail is not delivered twice.
class CLastBlockRule {
public:
    explicit CLastBlockRule(const CFileParameters& params) : m_params(params) {}

    /// False when nothing of the range is left to deliver.
    bool Apply(std::uint64_t endBlock, std::uint64_t end, std::uint64_t& length) {
        if (endBlock != m_params.lastPayloadBlockIndex) {
            return true;
        }
        NDebugTrace::Trace(NDebugTrace::levelInformation,
                           "Last Payload block is detected in RCT ranges. Index is \"", endBlock,
                           "\"");
        const std::uint64_t inBlock = end % m_params.payloadblksz;
        if (m_extended) {
            return Shrink(inBlock, length);
        }
        Extend(m_params.payloadblksz - inBlock, length);
        return true;
    }

private:
    // A range that ends exactly at the block's start grows by the whole block, deliberately.
    void Extend(std::uint64_t missing, std::uint64_t& length) {
        length += missing;
        NDebugTrace::Trace(
            NDebugTrace::levelInformation,
            "Alignment is added. The area in last Payload block extended. Size is \"", missing,
            "\"");
        m_extended = true;
    }

    static bool Shrink(std::uint64_t inBlock, std::uint64_t& length) {
        if (inBlock > length) {
            return false;
        }
        length -= inBlock;
        NDebugTrace::Trace(NDebugTrace::levelInformation,
                           "The area for last Payload block shrinked. Size is \"", inBlock, "\"");
        return true;
    }

    const CFileParameters& m_params;
    bool m_extended = false;
};

// Block numbers are 32 bits wide, deliberately: those of a larger disk start again at 0.
std::uint64_t BlockNumber(std::uint64_t diskOffset, const CFileParameters& params) {
    return static_cast<std::uint32_t>(PayloadBlockIndex(diskOffset, params));
}

CChangedChunks CollectChunks(const CBlocks& blocks,
                             const std::map<std::uint64_t, std::uint64_t>& ranges,
                             const CFileParameters& params) {
    CChangedChunks chunks;
    chunks.Reserve(ranges.size());
    CLastBlockRule lastBlockRule(params);
    for (const auto& [offset, range] : ranges) {
        const std::uint64_t end = offset + range;
        const std::uint64_t endBlock = BlockNumber(end, params);
        const std::uint64_t endChunk = LookupChunk(blocks, endBlock).first;
        const std::uint64_t startChunk = LookupChunk(blocks, BlockNumber(offset, params)).first;
        std::uint64_t length = range;
        if (lastBlockRule.Apply(endBlock, end, length)) {
            chunks.Add({offset, length}, startChunk, endChunk);
        }
    }
    chunks.Sort();
    return chunks;
}

// Returns the number for the next range.
std::uint64_t ReportRanges(CChangedChunks& chunks, std::uint64_t chunkIndex, std::uint64_t number,
                           const CItemCallback& callback) {
    for (auto part = chunks.TakeRanges(chunkIndex); !part.empty();
         part = chunks.TakeRanges(chunkIndex)) {
        for (const CChangedChunks::CRange& range : part) {
            callback(typePayloadRange, number, range);
            ++number;
        }
    }
    return number;
}

// The bitmap block's state is not looked at, deliberately.
void ReportSectorBitmap(const CBlockChunk& chunk, std::uint64_t chunkIndex,
                        const CItemCallback& callback) {
    const CSectorBitmapBlock* const bitmap = chunk.getSectorBitmatBlock().get();
    if (chunk.IsSectorBitmapPresent() && bitmap != nullptr) {
        callback(typeSectorBitmap, chunkIndex,
                 {BytesFromMebibytes(bitmap->offset), SectorBitmapSize});
    }
}

void ReportChunksEnd(const CBlocks& blocks, std::uint64_t chunkIndex,
                     const CItemCallback& callback) {
    if (chunkIndex < blocks.chunks.size()) {
        ReportSectorBitmap(blocks.chunks[static_cast<std::size_t>(chunkIndex)], chunkIndex,
                           callback);
        return;
    }
    NDebugTrace::Trace(NDebugTrace::levelInformation,
                       "Idx is bigger then chunks vector size. Idx is \"", chunkIndex,
                       "\", vector size is \"", blocks.chunks.size(), "\"");
}

// A chunk past the model's end without ranges shows in a trace line only. Without a writer such
// chunks are stepped over, since a single range can reach into billions of them.
std::uint64_t ChunkAfter(std::uint64_t chunkIndex, const CBlocks& blocks, CChangedChunks& chunks) {
    const std::uint64_t next = chunkIndex + 1;
    const bool onlyRangesShow = next >= blocks.chunks.size() && NDebugTrace::g_pwriter == nullptr;
    return onlyRangesShow ? chunks.NextStartChunk() : chunks.NextChunk(next);
}

}  // namespace

void IterateOverBlocks(const CBlocks& blocks, std::map<std::uint64_t, std::uint64_t> ranges,
                       const CFileParameters& params, CItemCallback callback) {
    NDebugTrace::Trace(NDebugTrace::levelInformation, "Iterate over blocks");
    CChangedChunks chunks = CollectChunks(blocks, ranges, params);
    std::uint64_t number = 0;
    std::uint64_t chunk = chunks.NextChunk(0);
    while (chunk != CChangedChunks::NoChunk) {
        number = ReportRanges(chunks, chunk, number, callback);
        ReportChunksEnd(blocks, chunk, callback);
        chunk = ChunkAfter(chunk, blocks, chunks);
    }
    NDebugTrace::Trace(NDebugTrace::levelInformation, "Iterate over blocks - done");
}

}  // namespace NVHDX
