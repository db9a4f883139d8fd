#include <cstdio>
#include <cstring>
#include <memory>

#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

/// What any program has to do with a table: read it, and store 24 bytes for each entry.
struct CPlainEntry {
    std::uint64_t offset;
    std::uint64_t state;
    std::uint64_t index;
};

void LoadOurs(benchmark::State& state, std::uint64_t entryCount) {
    CBenchDisk disk(MakeTableDisk(entryCount));
    for (auto _ : state) {
        NVHDX::CBlocks blocks;
        NVHDX::CFileParameters params;
        if (!disk.accessor.LoadBlocks(blocks, params, disk.stream)) {
            state.SkipWithError("LoadBlocks failed");
        }
        benchmark::DoNotOptimize(blocks.chunks.data());
    }
}

void LoadBaseline(benchmark::State& state, std::uint64_t entryCount) {
    CBenchDisk disk(MakeTableDisk(entryCount));
    const CDescriptor descriptor(disk.path);
    const auto position = static_cast<std::uint64_t>(disk.accessor.RequestBATOffset());
    for (auto _ : state) {
        const std::unique_ptr<unsigned char[]> table(new unsigned char[entryCount * 8]);
        descriptor.Read(table.get(), entryCount * 8, position);
        std::vector<CPlainEntry> entries;
        entries.reserve(entryCount);
        CPlainEntry* const reserved = entries.data();
        for (std::uint64_t i = 0; i < entryCount; ++i) {
            std::uint64_t word = 0;
            std::memcpy(&word, table.get() + i * 8, sizeof(word));
            reserved[i] = {word >> 20, word & 7, i};
        }
        benchmark::DoNotOptimize(reserved);
        benchmark::ClobberMemory();
    }
}

class CCountingWriter final : public NDebugTrace::IWriter {
public:
    CCountingWriter() { NDebugTrace::g_pwriter = this; }
    ~CCountingWriter() { NDebugTrace::g_pwriter = nullptr; }

    void WriteNarrow(const std::string&, std::uint32_t) override { ++m_lines; }
    void WriteWide(const std::wstring&, std::uint32_t) override { ++m_lines; }
    std::uint64_t Lines() const { return m_lines; }

private:
    std::uint64_t m_lines = 0;
};

void TraceOurs(benchmark::State& state, std::uint64_t entryCount) {
    CBenchDisk disk(MakeTableDisk(entryCount));
    const CCountingWriter writer;
    for (auto _ : state) {
        disk.Load();
    }
    benchmark::DoNotOptimize(writer.Lines());
}

void TraceBaseline(benchmark::State& state, std::uint64_t entryCount) {
    CBenchDisk disk(MakeTableDisk(entryCount));
    disk.Load();
    std::uint64_t lines = 0;
    for (auto _ : state) {
        std::uint64_t index = 0;
        for (const NVHDX::CBlockChunk& chunk : disk.blocks.chunks) {
            for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
                char line[160];
                std::snprintf(line, sizeof(line),
                              "Payload block. Index is \"%llu\"; Offset is \"%llu\" MB; State is "
                              "\"%s\"",
                              static_cast<unsigned long long>(index),
                              static_cast<unsigned long long>(block.offset),
                              block.state == NVHDX::CPayloadBlock::Zero ? "Zero" : "FullyPresent");
                benchmark::DoNotOptimize(line);
                ++index;
                ++lines;
            }
        }
    }
    benchmark::DoNotOptimize(lines);
}

const CRegistration registration([] {
    for (const std::uint64_t count : {1ULL << 16, 1ULL << 20, 1ULL << 24}) {
        AddPair(
            "LoadBlocks, no writer", Binary(count) + " entries", 1.5,
            [count](benchmark::State& state) { LoadOurs(state, count); },
            [count](benchmark::State& state) { LoadBaseline(state, count); });
    }
    const std::uint64_t count = 1ULL << 20;
    AddPair(
        "LoadBlocks, counting writer", Binary(count) + " entries", 3,
        [count](benchmark::State& state) { TraceOurs(state, count); },
        [count](benchmark::State& state) { TraceBaseline(state, count); });
    AddGrowth("LoadBlocks, no writer (entries)", 1 << 22, 1 << 25, [](std::uint64_t size) {
        return [size](benchmark::State& state) { LoadOurs(state, size); };
    });
    AddGrowth("LoadBlocks, counting writer (entries)", 1 << 15, 1 << 20, [](std::uint64_t size) {
        return [size](benchmark::State& state) { TraceOurs(state, size); };
    });
});

}  // namespace

}  // namespace NBench
