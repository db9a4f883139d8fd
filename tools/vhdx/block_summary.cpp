#include "tools/vhdx/block_summary.h"

#include <algorithm>

namespace NTool {

namespace {

/// As many blocks as a counter of 8 bits can count.
constexpr std::size_t fewBlocks = 255;

/// What a state's number adds to the counts and leaves of the place. Looked up, since the states of
/// a real table would lead a branch astray.
struct CStateEffect {
    std::uint64_t one;        ///< 1 in the byte of the state
    std::uint64_t placeMask;  ///< 0 for a block without data, which is never the furthest one
};

constexpr std::array<CStateEffect, 8> MakeEffects() {
    std::array<CStateEffect, 8> effects = {};
    for (std::size_t number = 0; number < effects.size(); ++number) {
        effects[number] = {std::uint64_t{1} << (8 * number),
                           CBlockWord::HasData(number) ? CBlockWord::placeMask : 0};
    }
    return effects;
}

constexpr std::array<CStateEffect, 8> effects = MakeEffects();

const CStateEffect& EffectOf(std::uint64_t word) {
    return effects[static_cast<std::size_t>(word & CBlockWord::stateMask)];
}

/// Without an end in between, so that the compiler compares several at once.
bool AreEqual(std::span<const std::uint64_t> words) {
    std::uint64_t differences = 0;
    for (const std::uint64_t word : words) {
        differences |= word ^ words.front();
    }
    return differences == 0;
}

std::uint64_t DataPlace(std::uint64_t word) {
    return word & EffectOf(word).placeMask;
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
    std::uint64_t packed = equal ? EffectOf(words.front()).one * words.size() : 0;
    std::uint64_t furthest = equal ? DataPlace(words.front()) : 0;
    for (const std::uint64_t word : equal ? words.first(0) : words) {
        packed += EffectOf(word).one;
        furthest = std::max(furthest, DataPlace(word));
    }
    for (std::size_t number = 0; number < counts.size(); ++number) {
        counts[number] += packed >> (8 * number) & 0xFF;
    }
    if (furthest >> 20 > m_largestOffset) {
        const auto first = std::find_if(words.begin(), words.end(), [furthest](std::uint64_t word) {
            return DataPlace(word) == furthest;
        });
        m_largestOffset = furthest >> 20;
        m_largestOffsetIndex = m_added + static_cast<std::uint64_t>(first - words.begin());
    }
    m_added += words.size();
}

std::uint64_t CBlockSummary::Count(NVHDX::CPayloadBlock::EState state) const {
    return m_counts[static_cast<std::size_t>(CBlockWord::Of({0, state}))];
}

bool CBlockSummary::HasAny(unsigned stateNumbers) const {
    for (std::size_t number = 0; number < m_counts.size(); ++number) {
        if ((stateNumbers >> number & 1) != 0 && (m_counts[number] | m_pastEnd[number]) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace NTool
