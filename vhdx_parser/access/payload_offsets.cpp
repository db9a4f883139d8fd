#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include <vhdx_parser/payload_data.h>

#include "vhdx_parser/access/payload_range.h"
#include "vhdx_parser/blocks/block_state.h"
#include "vhdx_parser/blocks/block_walk.h"
#include "vhdx_parser/blocks/chunk_lookup.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

using CPieces = std::vector<std::pair<std::int64_t, std::uint64_t>>;

/// The lookups of both operations here keep 32 bits of the block index, deliberately.
constexpr std::uint64_t IndexMask = 0xFFFFFFFF;

/// -1 where the file holds no data.
std::int64_t RealOffset(const CBlockWalk& walk, std::uint64_t position) {
    const CPayloadBlock* const block = walk.Block();
    if (block == nullptr) {
        TraceNoPayloadBlock(walk.Index());
        return -1;
    }
    return static_cast<std::int64_t>(BytesFromMebibytes(block->offset) + position);
}

/// How many pieces to make room for: as many as the range asks for, but no more than its chunks
/// have blocks, since the length of the range is only a claim.
std::size_t ExpectedPieces(const CBlocks& blocks, std::uint64_t firstBlock, std::uint64_t count,
                           const CFileParameters& params) {
    const std::uint64_t wanted = count / params.payloadblksz + 2;
    const std::uint64_t firstChunk = firstBlock / blocks.ratio;
    const std::uint64_t chunkCount =
        std::min<std::uint64_t>(wanted / blocks.ratio + 2, blocks.chunks.size() - firstChunk);
    std::uint64_t blockCount = 0;
    for (std::uint64_t i = 0; i < chunkCount && blockCount < wanted; ++i) {
        blockCount += blocks.chunks[static_cast<std::size_t>(firstChunk + i)].getCount();
    }
    return static_cast<std::size_t>(std::min(wanted, blockCount));
}

/// The pieces of whole blocks, each made as it is looked at, without a branch: the states of a real
/// table would lead one astray at every other block.
class CWholePieceIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = CPieces::value_type;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = value_type;

    CWholePieceIterator(const CPayloadBlock* block, std::uint32_t blockSize)
        : m_block(block), m_blockSize(blockSize) {}

    value_type operator*() const {
        const std::uint64_t absent = std::uint64_t{IsIndexed(m_block->state)} - 1;
        return {static_cast<std::int64_t>(BytesFromMebibytes(m_block->offset) | absent),
                m_blockSize};
    }
    CWholePieceIterator& operator++() { return *this += 1; }
    CWholePieceIterator& operator--() { return *this += -1; }
    CWholePieceIterator& operator+=(std::ptrdiff_t count) {
        m_block += count;
        return *this;
    }
    friend std::ptrdiff_t operator-(CWholePieceIterator a, CWholePieceIterator b) {
        return a.m_block - b.m_block;
    }
    friend bool operator==(CWholePieceIterator a, CWholePieceIterator b) {
        return a.m_block == b.m_block;
    }

private:
    const CPayloadBlock* m_block;
    std::uint64_t m_blockSize;
};

/// The piece at a place of the disk that starts a block, and those after it, are whole blocks, up
/// to where the place starts again at 0, and but for the last piece: that may be shorter, and is
/// not to be gone past.
std::uint64_t WholePieces(std::uint64_t place, std::uint64_t remaining, std::uint32_t blockSize) {
    if (place % blockSize != 0) {
        return 0;
    }
    constexpr std::uint64_t lastPlace = std::numeric_limits<std::uint64_t>::max();
    return std::min((remaining - 1) / blockSize, (lastPlace - place) / blockSize + 1);
}

/// Appends the next blocks of the chunk as whole pieces, at most `count` of them, and returns how
/// many. Skips the lookup of each of them: every one is found exactly when its state has data. The
/// lines of those without data are skipped as well, so with a writer it appends none.
std::uint64_t AppendWholeBlocks(CPieces& pieces, const CBlockWalk& walk, std::uint64_t count,
                                std::uint32_t blockSize) {
    if (NDebugTrace::g_pwriter != nullptr) {
        return 0;
    }
    const std::span<const CPayloadBlock> rest = walk.RestOfChunk();
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(rest.size(), count));
    pieces.insert(pieces.end(), CWholePieceIterator(rest.data(), blockSize),
                  CWholePieceIterator(rest.data() + size, blockSize));
    return size;
}

}  // namespace

std::uint64_t RequestPayloadRealOffset(const CBlocks& blocks, std::uint64_t offset,
                                       std::uint64_t /*count*/, const CFileParameters& params) {
    const std::uint64_t index = PayloadBlockIndex(offset, params) & IndexMask;
    const CPayloadBlock* const block = FindPayloadBlock(blocks, index);
    if (block == nullptr) {
        TraceNoPayloadBlock(index);
        return offset;
    }
    return BytesFromMebibytes(block->offset) + offset % params.payloadblksz;
}

std::vector<std::pair<std::int64_t, std::uint64_t>> RequestPayloadRealOffsets(
    const CBlocks& blocks, std::uint64_t offset, std::uint64_t count,
    const CFileParameters& params) {
    CBlockWalk walk(blocks, PayloadBlockIndex(offset, params), IndexMask);
    const std::uint32_t blockSize = params.payloadblksz;
    std::uint64_t done = 0;
    CPieces pieces;
    pieces.reserve(ExpectedPieces(blocks, walk.Index(), count, params));
    // Each turn takes a piece of at least one byte or the last one; a range past the chunks raises.
    // The place on the disk is a sum of 64 bits that wraps, while the blocks go on one by one.
    while (true) {
        const std::uint64_t position = (offset + done) % blockSize;
        const std::uint64_t length = PieceLength(position, count - done, params);
        pieces.emplace_back(RealOffset(walk, position), length);
        done += length;
        if (done >= count) {
            return pieces;
        }
        walk.Next();
        const std::uint64_t appended = AppendWholeBlocks(
            pieces, walk, WholePieces(offset + done, count - done, blockSize), blockSize);
        done += appended * blockSize;
        walk.Skip(appended);
    }
}

}  // namespace NVHDX
