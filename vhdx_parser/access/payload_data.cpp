#include <vhdx_parser/payload_data.h>

#include <cstdint>
#include <cstring>

#include "vhdx_parser/access/payload_range.h"
#include "vhdx_parser/blocks/block_state.h"
#include "vhdx_parser/blocks/block_walk.h"
#include "vhdx_parser/blocks/chunk_lookup.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;

namespace {

using CBuffer = CDynamicAllocBuffer<unsigned char, std::uint64_t>;

/// The part of a request that lies in one payload block.
struct CPiece {
    std::uint64_t index;         ///< disk-wide payload block index
    const CPayloadBlock* block;  ///< null when the file holds no data for it
    std::uint64_t filePosition;  ///< bytes; where a block without data would start at 0
    std::uint64_t length;        ///< bytes
};

CPiece LocatePiece(const CBlockWalk& walk, const CFileParameters& params, std::uint64_t position,
                   std::uint64_t remaining) {
    const CPayloadBlock* const block = walk.Block();
    if (block == nullptr) {
        TraceNoPayloadBlock(walk.Index());
    }
    const std::uint64_t dataStart = block != nullptr ? BytesFromMebibytes(block->offset) : 0;
    return {walk.Index(), block, dataStart + position, PieceLength(position, remaining, params)};
}

bool TransferAndCheckStream(std::basic_ios<unsigned char>& stream, const CPiece& piece,
                            unsigned char* bytes, bool read) {
    const bool isMoved =
        NStreamPortion::Transfer(stream, piece.filePosition, bytes, piece.length, read);
    if (!NStreamPortion::IsGood(stream)) {
        Trace(NDebugTrace::levelFailure, "File is in failed state after request data with size \"",
              piece.length, "\"");
        return false;
    }
    return isMoved;
}

/// A request on its way: the bytes of the buffer from `done` on are those of the piece at hand.
struct CRequest {
    std::basic_ios<unsigned char>& stream;
    CBuffer& buffer;
    std::uint64_t count;
    bool read;
    std::uint64_t done = 0;

    std::uint64_t Remaining() const { return count - done; }
    /// Only where there are bytes to move.
    unsigned char* Bytes() const { return buffer.data + done; }
};

bool MovePresentPiece(const CRequest& request, const CPiece& piece) {
    Trace(NDebugTrace::levelInformation, "Request payload. Block is detected. Index is \"",
          piece.index, "\"");
    if (!IsIndexed(piece.block->state)) {
        Trace(NDebugTrace::levelFailure, "Undefined payload data is not implemented");
        return false;
    }
    Trace(NDebugTrace::levelInformation, "Request data. ", "Payload block stat is \"",
          static_cast<std::int32_t>(piece.block->state), "\"");
    // Only here, because writing where nothing is present needs no buffer at all.
    if (request.buffer.size < request.count) {
        return false;
    }
    if (!TransferAndCheckStream(request.stream, piece, request.Bytes(), request.read)) {
        Trace(NDebugTrace::levelFailure, "Requested data. ", "Failed to process with offset \"",
              piece.filePosition, "\"");
        return false;
    }
    return true;
}

/// Reading gives zeros; writing leaves them out.
void MoveAbsentPiece(const CRequest& request, const CPiece& piece) {
    Trace(NDebugTrace::levelInformation, "Request Zero data. Block is NOT detected. Index is \"",
          piece.index, "\"");
    if (request.read) {
        std::memset(request.Bytes(), 0, static_cast<std::size_t>(piece.length));
    }
}

bool MovePiece(const CRequest& request, const CPiece& piece) {
    Trace(NDebugTrace::levelInformation, "Request data. ", "Offset \"", piece.filePosition,
          "\". Area size \"", request.Remaining(), "\". Count \"", piece.length, "\"");
    if (piece.block != nullptr) {
        return MovePresentPiece(request, piece);
    }
    MoveAbsentPiece(request, piece);
    return true;
}

}  // namespace

bool RequestPayloadData(std::basic_ios<unsigned char>& stream, const CBlocks& blocks,
                        std::uint64_t offset, std::uint64_t count, const CFileParameters& params,
                        CBuffer& buffer, bool read) {
    const std::uint64_t index = PayloadBlockIndex(offset, params);
    Trace(NDebugTrace::levelInformation, "Get payload data for disk offset \"", offset, "\"");
    if (read) {
        buffer.Reserve(count);
    }
    CRequest request{stream, buffer, count, read};
    CBlockWalk walk(blocks, index);
    std::uint64_t position = offset % params.payloadblksz;
    // Each turn moves a piece of at least one byte or the last one; a range past the chunks raises.
    while (true) {
        const CPiece piece = LocatePiece(walk, params, position, request.Remaining());
        if (!MovePiece(request, piece)) {
            return false;
        }
        request.done += piece.length;
        if (request.done >= count) {
            return true;
        }
        walk.Next();
        position = 0;
    }
}

}  // namespace NVHDX
