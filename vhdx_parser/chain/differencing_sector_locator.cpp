#include "vhdx_parser/chain/differencing_sector_locator.h"

#include <algorithm>

#include "vhdx_parser/blocks/chunk_blocks.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

namespace {

// More sectors than any sector number reaches.
constexpr std::uint64_t WithoutEnd = std::uint64_t{1} << 33;
constexpr std::uint64_t WrapOfPositions = std::uint64_t{1} << 32;

}  // namespace

CSectorLocator::CSectorLocator(const CBlocks& blocks, const CFileParameters& params,
                               std::uint64_t chunkIndex)
    : m_blockSize(params.payloadblksz), m_sectorSize(params.logsectsz) {
    if (chunkIndex < blocks.chunks.size()) {
        m_chunk = &blocks.chunks[static_cast<std::size_t>(chunkIndex)];
    }
}

void CSectorLocator::MoveTo(std::uint64_t sector) {
    m_stretch = {sector, WithoutEnd, false, nullptr, 0};
    if (m_chunk == nullptr || m_blockSize == 0) {
        return;
    }
    const auto byteInChunk = static_cast<std::uint32_t>(sector * m_sectorSize);
    const std::uint32_t position = byteInChunk / m_blockSize;
    const std::uint32_t byteInBlock = byteInChunk - position * m_blockSize;
    // The stretch ends with the block, or before that where the position wraps.
    m_stretch.end = sector + SectorsUpTo(std::min<std::uint64_t>(m_blockSize - byteInBlock,
                                                                 WrapOfPositions - byteInChunk));
    LookUpBlock(position, byteInBlock);
}

// The number of sectors that begin within so many bytes.
std::uint64_t CSectorLocator::SectorsUpTo(std::uint64_t bytes) const {
    if (m_sectorSize == 0) {
        return WithoutEnd;
    }
    return (bytes - 1) / m_sectorSize + 1;
}

void CSectorLocator::LookUpBlock(std::uint64_t position, std::uint64_t byteInBlock) {
    const CPayloadBlock* const block = CChunkBlocks::Find(*m_chunk, position);
    if (block == nullptr) {
        return;
    }
    m_stretch.offset = BytesFromMebibytes(block->offset) + byteInBlock;
    m_stretch.isPresent = true;
    if (block->state == CPayloadBlock::PartiallyPresent) {
        const CSectorBitmap* const bitmap = m_chunk->getSectorBitmap().get();
        m_stretch.isPresent = bitmap != nullptr;
        m_stretch.bits = bitmap != nullptr ? &bitmap->bits : nullptr;
    }
}

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
