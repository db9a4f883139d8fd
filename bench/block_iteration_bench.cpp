#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include <vhdx_parser/vhdx_parser.h>

#include "bench/support/pairs.h"

namespace NBench {

namespace {

using CRanges = std::map<std::uint64_t, std::uint64_t>;
using CRange = std::pair<std::uint64_t, std::uint64_t>;
using CCallback = std::function<void(NVHDX::EIterationBlockDataType, std::uint64_t, CRange)>;

constexpr std::uint64_t MiB = 1ULL << 20;
constexpr std::uint64_t RangeCount = 1ULL << 20;

/// One range of 64 KiB in every block.
CRanges MakeRanges(std::uint64_t count) {
    CRanges ranges;
    for (std::uint64_t i = 0; i < count; ++i) {
        ranges.emplace_hint(ranges.end(), i * MiB, 65536);
    }
    return ranges;
}

NVHDX::CBlocks MakeModel(std::uint64_t rangeCount) {
    NVHDX::CBlocks blocks;
    blocks.ratio = 4096;
    for (std::uint64_t i = 0; i <= rangeCount / blocks.ratio; ++i) {
        blocks.chunks.emplace_back();
        auto bitmap = std::make_unique<NVHDX::CSectorBitmapBlock>();
        *bitmap = {i, 2};
        blocks.chunks.back().Set(bitmap);
    }
    return blocks;
}

CCallback Summing(std::uint64_t& sum) {
    return [&sum](NVHDX::EIterationBlockDataType, std::uint64_t number, CRange range) {
        sum += number + range.first + range.second;
    };
}

void IterateOurs(benchmark::State& state, std::uint64_t rangeCount) {
    const CRanges ranges = MakeRanges(rangeCount);
    const NVHDX::CBlocks blocks = MakeModel(rangeCount);
    NVHDX::CFileParameters params;
    params.payloadblksz = MiB;
    params.lastPayloadBlockIndex = rangeCount - 1;
    std::uint64_t sum = 0;
    for (auto _ : state) {
        NVHDX::IterateOverBlocks(blocks, ranges, params, Summing(sum));
    }
    benchmark::DoNotOptimize(sum);
}

/// Takes its map and its callback by value, as `IterateOverBlocks` does.
[[gnu::noinline]] void Walk(CRanges ranges, CCallback callback) {
    std::uint64_t number = 0;
    for (const CRange range : ranges) {
        callback(NVHDX::typePayloadRange, number, range);
        ++number;
    }
}

void IterateBaseline(benchmark::State& state) {
    const CRanges ranges = MakeRanges(RangeCount);
    std::uint64_t sum = 0;
    for (auto _ : state) {
        Walk(ranges, Summing(sum));
    }
    benchmark::DoNotOptimize(sum);
}

const CRegistration registration([] {
    AddPair(
        "IterateOverBlocks", "1 Mi ranges", 2,
        [](benchmark::State& state) { IterateOurs(state, RangeCount); }, IterateBaseline);
    AddGrowth("IterateOverBlocks (ranges)", 1 << 18, 1 << 22, [](std::uint64_t size) {
        return [size](benchmark::State& state) { IterateOurs(state, size); };
    });
});

}  // namespace

}  // namespace NBench
