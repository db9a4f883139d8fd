#include "tools/vhdx/block_runs.h"

#include <algorithm>
#include <utility>

#include "tools/vhdx/block_word.h"

namespace NTool {

bool HasData(NVHDX::CPayloadBlock::EState state) {
    return state == NVHDX::CPayloadBlock::Undefined ||
           state == NVHDX::CPayloadBlock::FullyPresent ||
           state == NVHDX::CPayloadBlock::PartiallyPresent;
}

bool HasData(const CModel& model, std::uint64_t offset, std::uint64_t length) {
    const std::uint64_t blockSize = model.params.payloadblksz;
    const std::uint64_t end = offset / blockSize + BlocksOf(offset % blockSize + length, blockSize);
    for (std::uint64_t block = offset / blockSize; block < end; ++block) {
        const NVHDX::CBlockChunk& chunk = model.blocks.chunks.at(block / model.blocks.ratio);
        if (chunk.GetPayloadBlock(block % model.blocks.ratio) != nullptr) {
            return true;
        }
    }
    return false;
}

bool CBlockRun::HasData() const {
    return NTool::HasData(state);
}

CBlockRuns::CBlockRuns(std::uint64_t blockSize, std::uint64_t virtualSize, CReport report)
    : m_blockSize(blockSize),
      m_virtualSize(virtualSize),
      m_report(std::move(report)),
      m_blocksLeft(BlocksOf(virtualSize, blockSize)) {}

void CBlockRuns::Add(std::span<const std::uint64_t> words) {
    words =
        words.first(static_cast<std::size_t>(std::min<std::uint64_t>(words.size(), m_blocksLeft)));
    m_blocksLeft -= words.size();
    while (!words.empty()) {
        const std::size_t count = Continue(words);
        m_start += count * m_blockSize;
        words = words.subspan(count);
        if (!words.empty()) {
            Finish();
            Begin(words.front());
        }
    }
}

/// How many of the words go on with the run. Nothing but a comparison for each of them, since a
/// disk may have 64 Mi blocks in a single run.
std::size_t CBlockRuns::Continue(std::span<const std::uint64_t> words) {
    std::size_t count = 0;
    std::uint64_t expected = m_expected;
    while (count != words.size() && (words[count] & m_mask) == expected) {
        expected += m_stride;
        ++count;
    }
    m_expected = expected;
    return count;
}

/// Data goes on where the state is the same and the place is the next one, anything else wherever
/// the state is the same.
void CBlockRuns::Begin(std::uint64_t word) {
    const bool hasData = CBlockWord::HasData(word);
    m_mask = CBlockWord::stateMask | (hasData ? CBlockWord::placeMask : 0);
    m_stride = hasData ? m_blockSize : 0;
    m_first = word;
    m_expected = word & m_mask;
    m_runStart = m_start;
}

void CBlockRuns::Finish() {
    if (m_start != m_runStart) {
        m_report({m_runStart, std::min(m_start, m_virtualSize) - m_runStart,
                  CBlockWord::State(m_first), CBlockWord::FileOffset(m_first)});
    }
}

}  // namespace NTool
