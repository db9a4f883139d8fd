#include <utility>
#include <vector>

#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

constexpr std::uint64_t BlockCount = 1ULL << 20;

/// One range over the disk's table of `entryCount` entries.
void OffsetsOurs(benchmark::State& state, std::uint64_t entryCount) {
    CBenchDisk disk(MakeTableDisk(entryCount));
    disk.Load();
    for (auto _ : state) {
        const auto pieces =
            NVHDX::RequestPayloadRealOffsets(disk.blocks, 0, disk.params.virtdisksz, disk.params);
        benchmark::DoNotOptimize(pieces.data());
    }
}

void OffsetsBaseline(benchmark::State& state) {
    CBenchDisk disk(MakeTableDisk(BlockCount));
    disk.Load();
    for (auto _ : state) {
        std::vector<std::pair<std::int64_t, std::uint64_t>> pieces;
        pieces.reserve(BlockCount);
        for (std::uint64_t i = 0; i < BlockCount; ++i) {
            pieces.emplace_back(static_cast<std::int64_t>(i << 20), NTest::MiB);
        }
        benchmark::DoNotOptimize(pieces.data());
        benchmark::ClobberMemory();
    }
}

/// Chunks of 128 blocks.
NVHDX::CBlocks ModelOf(std::size_t chunkCount) {
    NVHDX::CBlocks blocks;
    blocks.ratio = 128;
    blocks.chunks.resize(chunkCount);
    for (NVHDX::CBlockChunk& chunk : blocks.chunks) {
        for (std::uint64_t i = 0; i < blocks.ratio; ++i) {
            chunk.InitPayloadBlock(NVHDX::CPayloadBlock::FullyPresent, 1 + i);
        }
    }
    return blocks;
}

/// A range of one sector in the middle of the disk.
void SmallRange(benchmark::State& state, std::size_t chunkCount) {
    const NVHDX::CBlocks blocks = ModelOf(chunkCount);
    NVHDX::CFileParameters params;
    params.payloadblksz = static_cast<std::uint32_t>(NTest::MiB);
    const std::uint64_t offset = chunkCount * blocks.ratio / 2 * NTest::MiB;
    for (auto _ : state) {
        const auto pieces = NVHDX::RequestPayloadRealOffsets(blocks, offset, 512, params);
        benchmark::DoNotOptimize(pieces.data());
    }
}

const CRegistration registration([] {
    AddPair(
        "RequestPayloadRealOffsets", "one range over 1 Mi blocks", 2,
        [](benchmark::State& state) { OffsetsOurs(state, BlockCount); }, OffsetsBaseline);
    AddPair(
        "RequestPayloadRealOffsets", "512 bytes of 16,384 chunks, beside 1 chunk", 1.5,
        [](benchmark::State& state) { SmallRange(state, 16384); },
        [](benchmark::State& state) { SmallRange(state, 1); });
    AddGrowth("RequestPayloadRealOffsets (blocks)", 1 << 22, 1 << 25, [](std::uint64_t size) {
        return [size](benchmark::State& state) { OffsetsOurs(state, size); };
    });
});

}  // namespace

}  // namespace NBench
