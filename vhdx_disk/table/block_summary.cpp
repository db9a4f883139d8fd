#include "vhdx_disk/table/block_summary.h"

#include <algorithm>

#include "vhdx_parser/blocks/bat_entry.h"

namespace NVHDXDisk {

namespace {

/// As many blocks as a counter of 8 bits can count.
constexpr std::size_t fewBlocks = 255;

using NVHDX::CBATEntry;

/// 1 in the byte of the entry's state.
std::uint64_t OneOf(std::uint64_t word) {
    return std::uint64_t{1} << (8 * CBATEntry(word).StateBits());
}

/// Without an end in between, so that the compiler compares several at once.
bool AreEqual(std::span<const std::uint64_t> words) {
    std::uint64_t differences = 0;
    for (const std::uint64_t word : words) {
        differences |= word ^ words.front();
    }
    return differences == 0;
}

/// In MiB; 0 for a block without data, which is never the furthest one.
std::uint64_t DataPlace(std::uint64_t word) {
    return CBATEntry(word).DataOffset();
}

}  // namespace

void CBlockSummary::AddAndCount(std::span<const std::uint64_t> words, CCounts& counts) {
    while (!words.empty()) {
        const std::size_t count = std::min(words.size(), fewBlocks);
        AddFew(words.first(count), counts);
        words = words.subspan(count);
    }
}

/// Counts all eight states at once, in one byte each of a single number. Among equal words, as the
/// empty stretches of a table have them, the first one stands for all.
void CBlockSummary::AddFew(std::span<const std::uint64_t> words, CCounts& counts) {
    const bool equal = AreEqual(words);
    std::uint64_t packed = equal ? OneOf(words.front()) * words.size() : 0;
    std::uint64_t furthest = equal ? DataPlace(words.front()) : 0;
    for (const std::uint64_t word : equal ? words.first(0) : words) {
        packed += OneOf(word);
        furthest = std::max(furthest, DataPlace(word));
    }
    for (std::size_t number = 0; number < counts.size(); ++number) {
        counts[number] += packed >> (8 * number) & 0xFF;
    }
    if (furthest > m_largestOffset) {
        const auto first = std::find_if(words.begin(), words.end(), [furthest](std::uint64_t word) {
            return DataPlace(word) == furthest;
        });
        m_largestOffset = furthest;
        m_largestOffsetIndex = m_added + static_cast<std::uint64_t>(first - words.begin());
    }
    m_added += words.size();
}

std::uint64_t CBlockSummary::Count(NVHDX::CPayloadBlock::EState state) const {
    return m_counts[NVHDX::StateBitsOf(state)];
}

bool CBlockSummary::HasAny(unsigned stateNumbers) const {
    for (std::size_t number = 0; number < m_counts.size(); ++number) {
        if ((stateNumbers >> number & 1) != 0 && (m_counts[number] | m_pastEnd[number]) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace NVHDXDisk
