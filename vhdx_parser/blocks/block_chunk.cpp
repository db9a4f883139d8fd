#include <utility>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/chunk_blocks.h"

namespace NVHDX {

const std::uint64_t CBlockChunk::m_payloadblkcollidxAbsent = 0xFFFFFFFFFFFFFFFF;

CBlockChunk::CBlockChunk() = default;

// The loaded sector bitmap is not carried over, deliberately.
CBlockChunk::CBlockChunk(CBlockChunk&& other) noexcept
    : m_count(std::exchange(other.m_count, 0)),
      m_zeroSlots(std::exchange(other.m_zeroSlots, 0)),
      m_unconditionalSlots(std::exchange(other.m_unconditionalSlots, 0)),
      m_payloadBlocks(std::move(other.m_payloadBlocks)),
      m_sectorBitmapBlock(std::move(other.m_sectorBitmapBlock)),
      m_noSectorBitmap(std::exchange(other.m_noSectorBitmap, false)) {}

void CBlockChunk::operator=(CBlockChunk&& other) noexcept {
    m_count = std::exchange(other.m_count, 0);
    m_zeroSlots = std::exchange(other.m_zeroSlots, 0);
    m_unconditionalSlots = std::exchange(other.m_unconditionalSlots, 0);
    m_payloadBlocks = std::move(other.m_payloadBlocks);
    m_sectorBitmapBlock = std::move(other.m_sectorBitmapBlock);
    m_noSectorBitmap = std::exchange(other.m_noSectorBitmap, false);
}

CBlockChunk::~CBlockChunk() = default;

// All slots are 0 now: those of the blocks that are there name block 0. How many slots there are
// makes no difference, since only the slots of blocks are ever read, and none is stored.
void CBlockChunk::Init(std::uint32_t /*slots*/) {
    m_zeroSlots = m_count;
    m_unconditionalSlots = 0;
}

void CBlockChunk::InitPayloadBlock(CPayloadBlock::EState state, std::uint64_t offset) {
    m_payloadBlocks.push_back({offset, state});
    ++m_count;
}

void CBlockChunk::AddAllPayloadBlocks(std::vector<CPayloadBlock>& payloadBlocks) {
    m_payloadBlocks = std::move(payloadBlocks);
    payloadBlocks.clear();
    m_count = m_payloadBlocks.size();
    m_zeroSlots = 0;
    m_unconditionalSlots = m_count;
}

void CBlockChunk::Set(std::unique_ptr<CSectorBitmapBlock>& sectorBitmapBlock) {
    m_sectorBitmapBlock = std::move(sectorBitmapBlock);
}

void CBlockChunk::SetNoSectorBitmap() {
    m_noSectorBitmap = true;
}

bool CBlockChunk::IsSectorBitmapPresent() const {
    return !m_noSectorBitmap;
}

const std::unique_ptr<CSectorBitmapBlock>& CBlockChunk::getSectorBitmatBlock() const {
    return m_sectorBitmapBlock;
}

const std::vector<CPayloadBlock>& CBlockChunk::getPayloadBlocks() const {
    return m_payloadBlocks;
}

std::uint64_t CBlockChunk::getCount() const {
    return m_count;
}

const CPayloadBlock* CBlockChunk::GetPayloadBlock(std::uint64_t position) const {
    return CChunkBlocks::Find(*this, position);
}

}  // namespace NVHDX
