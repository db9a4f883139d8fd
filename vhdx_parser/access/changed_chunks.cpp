#include "vhdx_parser/access/changed_chunks.h"

#include <algorithm>

namespace NVHDX {

void CChangedChunks::Add(CRange range, std::uint64_t startChunk, std::uint64_t endChunk) {
    if (m_groups.empty() || m_groups.back().chunk != startChunk) {
        m_groups.push_back({startChunk, m_ranges.size(), 0});
    }
    ++m_groups.back().count;
    m_ranges.push_back(range);
    if (startChunk < endChunk) {
        Cover(startChunk + 1, endChunk);
    }
}

void CChangedChunks::Cover(std::uint64_t first, std::uint64_t last) {
    // Ranges come in ascending order, so a new stretch mostly continues the one before it.
    if (!m_covered.empty() && m_covered.back().first <= first &&
        first <= m_covered.back().last + 1) {
        m_covered.back().last = std::max(m_covered.back().last, last);
    } else {
        m_covered.push_back({first, last});
    }
}

void CChangedChunks::Sort() {
    // Chunk numbers come from block numbers of 32 bits, which start again at 0 on a disk that is
    // larger; only then is there anything to sort.
    std::ranges::stable_sort(m_groups, {}, &CGroup::chunk);
    std::ranges::sort(m_covered, {}, &CCovered::first);
}

std::uint64_t CChangedChunks::NextChunk(std::uint64_t chunk) {
    while (m_nextCovered < m_covered.size() && m_covered[m_nextCovered].last < chunk) {
        ++m_nextCovered;
    }
    const std::uint64_t nextStart = NextStartChunk();
    if (m_nextCovered == m_covered.size()) {
        return nextStart;
    }
    return std::min(nextStart, std::max(m_covered[m_nextCovered].first, chunk));
}

std::uint64_t CChangedChunks::NextStartChunk() const {
    return m_nextGroup < m_groups.size() ? m_groups[m_nextGroup].chunk : NoChunk;
}

std::span<const CChangedChunks::CRange> CChangedChunks::TakeRanges(std::uint64_t chunk) {
    if (m_nextGroup == m_groups.size() || m_groups[m_nextGroup].chunk != chunk) {
        return {};
    }
    const CGroup& group = m_groups[m_nextGroup++];
    return std::span(m_ranges).subspan(group.first, group.count);
}

}  // namespace NVHDX
