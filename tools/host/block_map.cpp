#include "host/block_map.h"

#include <algorithm>

namespace NVHDXHost {

namespace {

using NVHDX::CBlockChunk;
using NVHDX::CPayloadBlock;
using NVHDX::CSectorBitmapBlock;

constexpr std::uint64_t Mebibyte = 1048576;
constexpr std::int32_t SectorBitmapPresent = 2;

/// A place in the file behind its first MiB, which is never a block's. None when there is none.
std::optional<std::uint64_t> PlaceInFile(std::uint64_t mebibytes, std::uint64_t length,
                                         std::uint64_t fileSize) {
    if (mebibytes == 0 || mebibytes > fileSize / Mebibyte ||
        length > fileSize - mebibytes * Mebibyte) {
        return std::nullopt;
    }
    return mebibytes * Mebibyte;
}

/// What the state says by itself; of data its place has to be looked at, too.
EBlockContent ContentOf(CPayloadBlock::EState state) {
    switch (state) {
        case CPayloadBlock::FullyPresent:
            return EBlockContent::present;
        case CPayloadBlock::PartiallyPresent:
            return EBlockContent::partial;
        case CPayloadBlock::Undefined:
            return EBlockContent::undefined;
        case CPayloadBlock::Unmapped:
            return EBlockContent::unmapped;
        default:
            return EBlockContent::zero;
    }
}

bool HasPlace(EBlockContent content) {
    return content == EBlockContent::present || content == EBlockContent::partial;
}

CBlockRun RunOf(std::uint64_t index, const CPayloadBlock& block, std::uint64_t length,
                std::uint64_t fileSize) {
    const EBlockContent content = ContentOf(block.state);
    if (!HasPlace(content)) {
        return {index, 1, content, 0};
    }
    const auto position = PlaceInFile(block.offset, length, fileSize);
    return position ? CBlockRun{index, 1, content, *position}
                    : CBlockRun{index, 1, EBlockContent::unreadable, 0};
}

bool Continues(const CBlockRun& run, const CBlockRun& block, std::uint64_t blockSize) {
    return run.content == block.content && run.firstBlock + run.count == block.firstBlock &&
           (!HasPlace(run.content) || run.position + run.count * blockSize == block.position);
}

std::optional<std::uint64_t> SectorBitmapOf(const CBlockChunk& chunk, std::uint64_t fileSize) {
    const CSectorBitmapBlock* const block = chunk.getSectorBitmatBlock().get();
    if (block == nullptr || block->state != SectorBitmapPresent) {
        return std::nullopt;
    }
    return PlaceInFile(block->offset, Mebibyte, fileSize);
}

}  // namespace

CBlockMap::CBlockMap(const NVHDX::CBlocks& blocks, const NVHDX::CFileParameters& parameters,
                     std::uint64_t fileSize) {
    const std::uint64_t blockSize = parameters.payloadblksz;
    std::uint64_t index = 0;
    for (const CBlockChunk& chunk : blocks.chunks) {
        m_sectorBitmaps.push_back(SectorBitmapOf(chunk, fileSize));
        for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
            const std::uint64_t start = index * blockSize;
            if (start >= parameters.virtdisksz) {
                break;
            }
            if (block.state != CPayloadBlock::NotPresent) {
                const std::uint64_t length = std::min(blockSize, parameters.virtdisksz - start);
                Add(RunOf(index, block, length, fileSize), blockSize);
            }
            ++index;
        }
    }
}

void CBlockMap::Add(const CBlockRun& block, std::uint64_t blockSize) {
    if (!m_runs.empty() && Continues(m_runs.back(), block, blockSize)) {
        ++m_runs.back().count;
    } else {
        m_runs.push_back(block);
    }
}

const CBlockRun* CBlockMap::RunFrom(std::uint64_t block) const {
    const auto found = std::partition_point(
        m_runs.begin(), m_runs.end(),
        [block](const CBlockRun& run) { return run.firstBlock + run.count <= block; });
    return found == m_runs.end() ? nullptr : &*found;
}

std::optional<std::uint64_t> CBlockMap::SectorBitmap(std::uint64_t chunk) const {
    return chunk < m_sectorBitmaps.size() ? m_sectorBitmaps[static_cast<std::size_t>(chunk)]
                                          : std::nullopt;
}

}  // namespace NVHDXHost
