#include <vhdx_parser/sector_bitmap.h>

#include "vhdx_parser/blocks/sector_bitmap_state.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

// The two blanks in the first text are meant.
bool TransferSectorBitmap(std::basic_ios<unsigned char>& stream, CSectorBitmapArea& area,
                          std::uint64_t position, std::uint64_t size, bool read) {
    NDebugTrace::Trace(NDebugTrace::levelDetail, "Request sector bitmap data with offset \"",
                       position, "\",  size \"", size, "\"");
    const bool transferred = NStreamPortion::Transfer(stream, position, area.data(), size, read);
    if (!NStreamPortion::IsGood(stream)) {
        NDebugTrace::Trace(NDebugTrace::levelFailure,
                           "File is in failed state after request data with size \"", size, "\"");
        return false;
    }
    return transferred;
}

// Whether the chunk is marked as one without sector bitmap does not matter here.
bool TransferPresentBitmap(std::basic_ios<unsigned char>& stream, const CBlockChunk& chunk,
                           CSectorBitmapArea& area, bool read) {
    if (!HasPresentSectorBitmap(chunk)) {
        return false;
    }
    const std::uint64_t position = BytesFromMebibytes(chunk.getSectorBitmatBlock()->offset);
    return TransferSectorBitmap(stream, area, position, area.size(), read);
}

}  // namespace

bool CBlockChunk::LoadSectorBitmap(std::basic_ios<unsigned char>& stream,
                                   CSectorBitmapArea& area) const {
    return TransferPresentBitmap(stream, *this, area, true);
}

bool CBlockChunk::SaveSectorBitmap(std::basic_ios<unsigned char>& stream,
                                   CSectorBitmapArea& area) const {
    return TransferPresentBitmap(stream, *this, area, false);
}

bool RequestSectorBitmapData(std::basic_ios<unsigned char>& stream, const CBlocks& blocks,
                             std::uint32_t chunkIndex, CSectorBitmapArea& area, bool read) {
    if (chunkIndex >= blocks.chunks.size()) {
        return false;
    }
    const CBlockChunk& chunk = blocks.chunks[chunkIndex];
    if (!chunk.IsSectorBitmapPresent()) {
        NDebugTrace::Trace(NDebugTrace::levelDetail, "Requested sector bitmap. No present");
        return true;
    }
    if (TransferPresentBitmap(stream, chunk, area, read)) {
        return true;
    }
    NDebugTrace::Trace(NDebugTrace::levelFailure, "Requested sector bitmap. ",
                       read ? "Failed to load data" : "Failed to save data");
    return false;
}

// A chunk without bitmap is no error above and false here, on purpose: this is how callers learn
// whether a bitmap exists.
bool RequestSectorBitmapRealOffset(const CBlocks& blocks, std::uint32_t chunkIndex,
                                   std::uint64_t& realOffset) {
    if (chunkIndex >= blocks.chunks.size()) {
        return false;
    }
    const CBlockChunk& chunk = blocks.chunks[chunkIndex];
    const CSectorBitmapBlock* const block = chunk.getSectorBitmatBlock().get();
    if (!chunk.IsSectorBitmapPresent() || block == nullptr) {
        return false;
    }
    realOffset = BytesFromMebibytes(block->offset);
    return true;
}

}  // namespace NVHDX
