#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include "bench/support/pairs.h"
#include "tests/chain/differencing_model.h"

namespace NBench {

namespace {

using NVHDX::CPayloadBlock;
using CCircuit = NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>;
using CResult = NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<char>;
using CCallback =
    std::function<bool(std::uint64_t, std::shared_ptr<std::string>&, std::uint64_t, std::uint64_t)>;

constexpr std::uint64_t MiB = 1ULL << 20;
constexpr std::uint64_t BlockSize = 32 * MiB;
constexpr std::uint64_t BlocksPerChunk = 128;

std::vector<CPayloadBlock> ChunkOf(CPayloadBlock::EState state, std::uint64_t firstOffset) {
    std::vector<CPayloadBlock> blocks;
    for (std::uint64_t i = 0; i < BlocksPerChunk; ++i) {
        blocks.push_back({firstOffset + 32 * i, state});
    }
    return blocks;
}

/// A chunk of a base disk under one differencing file whose blocks all have that state.
CCircuit ChainOf(CPayloadBlock::EState state, std::size_t files = 1) {
    CCircuit circuit;
    circuit.base = NTest::MakeFile<char>("base.vhdx", BlockSize, 512,
                                         {ChunkOf(CPayloadBlock::FullyPresent, 32)});
    for (std::size_t i = 0; i < files; ++i) {
        circuit.differencing.push_back(
            NTest::MakeFile<char>("change.avhdx", BlockSize, 512, {ChunkOf(state, 64)}));
    }
    NTest::IndexBase(circuit);
    return circuit;
}

/// Sets every `step`-th sector, from `first` on.
void SetBitmap(CCircuit& circuit, std::size_t file, std::uint64_t first, std::uint64_t step) {
    auto bitmap = NTest::MakeBitmap({});
    for (std::uint64_t sector = first; sector < NTest::sectorsPerChunk; sector += step) {
        bitmap->bits[sector / 8] =
            static_cast<unsigned char>(bitmap->bits[sector / 8] | (0x80 >> (sector % 8)));
    }
    circuit.differencing[file].blocks.chunks[0].SetSectorBitmap(bitmap);
}

CCircuit PartialChain(std::uint64_t step) {
    CCircuit circuit = ChainOf(CPayloadBlock::PartiallyPresent);
    SetBitmap(circuit, 0, 0, step);
    return circuit;
}

/// As many chunks, in each of which the differencing file holds every other sector.
CCircuit ManyChunks(std::uint64_t count) {
    std::vector<std::vector<CPayloadBlock>> present;
    std::vector<std::vector<CPayloadBlock>> partial;
    for (std::uint64_t chunk = 0; chunk < count; ++chunk) {
        const std::uint64_t firstOffset = 32 + chunk * 32 * BlocksPerChunk;
        present.push_back(ChunkOf(CPayloadBlock::FullyPresent, firstOffset));
        partial.push_back(ChunkOf(CPayloadBlock::PartiallyPresent, firstOffset));
    }
    CCircuit circuit;
    circuit.base = NTest::MakeFile<char>("base.vhdx", BlockSize, 512, present);
    circuit.differencing.push_back(NTest::MakeFile<char>("change.avhdx", BlockSize, 512, partial));
    NTest::IndexBase(circuit);
    for (NVHDX::CBlockChunk& chunk : circuit.differencing[0].blocks.chunks) {
        auto bitmap = NTest::MakeBitmap({});
        bitmap->bits.fill(0xAA);
        chunk.SetSectorBitmap(bitmap);
    }
    return circuit;
}

CCallback Summing(std::uint64_t& sum) {
    return [&sum](std::uint64_t base, std::shared_ptr<std::string>&, std::uint64_t offset,
                  std::uint64_t length) {
        sum += base + offset + length;
        return true;
    };
}

void EnumerateOurs(benchmark::State& state, const CCircuit& circuit) {
    std::uint64_t sum = 0;
    for (auto _ : state) {
        if (!NVHDX::NDifferencingVirtualMerge::EnumerateDifferences(circuit, Summing(sum))) {
            state.SkipWithError("stopped");
        }
    }
    benchmark::DoNotOptimize(sum);
}

void SectorBySector(benchmark::State& state, const CCircuit& circuit) {
    for (auto _ : state) {
        const auto runs = NTest::EnumerateNaively(circuit);
        benchmark::DoNotOptimize(runs.data());
    }
}

/// Looks at a bitmap 64 bits at a time and calls back for each set bit, which here is a run.
void OnePass(benchmark::State& state, const CCircuit& circuit) {
    const auto bitmap = circuit.differencing[0].blocks.chunks[0].getSectorBitmap();
    std::shared_ptr<std::string> path = circuit.differencing[0].path;
    std::uint64_t sum = 0;
    const CCallback callback = Summing(sum);
    for (auto _ : state) {
        for (std::size_t byte = 0; byte < bitmap->bits.size(); byte += 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, &bitmap->bits[byte], sizeof(word));
            while (word != 0) {
                const auto bit = static_cast<std::uint64_t>(std::countr_zero(word));
                callback(0, path, (byte * 8 + bit) * 512, 512);
                word &= word - 1;
            }
        }
    }
    benchmark::DoNotOptimize(sum);
}

void CallBackAsOften(benchmark::State& state, std::uint64_t calls, const CCircuit& circuit) {
    std::shared_ptr<std::string> path = circuit.differencing[0].path;
    std::uint64_t sum = 0;
    const CCallback callback = Summing(sum);
    for (auto _ : state) {
        for (std::uint64_t i = 0; i < calls; ++i) {
            callback(i, path, i * 512, 512);
        }
    }
    benchmark::DoNotOptimize(sum);
}

constexpr std::uint64_t RangeLength = 64 * MiB;

void GetOurs(benchmark::State& state, const CCircuit& circuit, std::uint64_t length = RangeLength) {
    for (auto _ : state) {
        std::vector<CResult> results;
        NVHDX::NDifferencingVirtualMerge::GetDifferential(results, 32 * MiB, length, circuit);
        benchmark::DoNotOptimize(results.data());
    }
}

/// Appends as many records, half of them with the path that they share.
void GetBaseline(benchmark::State& state, const CCircuit& circuit) {
    for (auto _ : state) {
        std::vector<CResult> results;
        results.reserve(RangeLength / 512);
        for (std::uint64_t i = 0; i < RangeLength / 512; ++i) {
            if (i % 2 == 0) {
                results.push_back({true, circuit.differencing[0].path, i * 512, 512});
            } else {
                results.push_back({false, nullptr, NTest::noOffset, 512});
            }
        }
        benchmark::DoNotOptimize(results.data());
    }
}

/// Three files that between them hold every other sector.
CCircuit ThreeFiles() {
    CCircuit circuit = ChainOf(CPayloadBlock::PartiallyPresent, 3);
    for (std::size_t file = 0; file < 3; ++file) {
        SetBitmap(circuit, file, 2 * file, 6);
    }
    return circuit;
}

using CShared = std::shared_ptr<const CCircuit>;

void AddEnumeration(const std::string& setting, double target, const CShared& circuit,
                    CBody baseline) {
    AddPair(
        "EnumerateDifferences", setting, target,
        [circuit](benchmark::State& state) { EnumerateOurs(state, *circuit); },
        std::move(baseline));
}

const CRegistration registration([] {
    const auto absent = std::make_shared<const CCircuit>(ChainOf(CPayloadBlock::NotPresent));
    const auto present = std::make_shared<const CCircuit>(ChainOf(CPayloadBlock::FullyPresent));
    const auto sparse = std::make_shared<const CCircuit>(PartialChain(1000));
    const auto alternating = std::make_shared<const CCircuit>(PartialChain(2));
    const auto walk = [](const CShared& circuit) {
        return [circuit](benchmark::State& state) { SectorBySector(state, *circuit); };
    };
    AddEnumeration("absent chunk, beside the walk", 0.001, absent, walk(absent));
    AddEnumeration("fully present chunk, beside the walk", 0.001, present, walk(present));
    AddEnumeration("1 run in 1,000 sectors, beside the walk", 0.01, sparse, walk(sparse));
    AddEnumeration("1 run in 1,000 sectors, beside one pass", 3, sparse,
                   [sparse](benchmark::State& state) { OnePass(state, *sparse); });
    AddEnumeration("every other sector, beside the callbacks", 4, alternating,
                   [alternating](benchmark::State& state) {
                       CallBackAsOften(state, NTest::sectorsPerChunk / 2, *alternating);
                   });

    const auto three = std::make_shared<const CCircuit>(ThreeFiles());
    AddPair(
        "GetDifferential", "64 MiB, 3 files, half the sectors present", 2,
        [three](benchmark::State& state) { GetOurs(state, *three); },
        [three](benchmark::State& state) { GetBaseline(state, *three); });
    AddGrowth("GetDifferential, 3 files (bytes)", 896 * MiB, 3584 * MiB,
              [three](std::uint64_t size) {
                  return [three, size](benchmark::State& state) { GetOurs(state, *three, size); };
              });
    AddGrowth("EnumerateDifferences, one chunk (runs)", 1 << 10, NTest::sectorsPerChunk / 2,
              [](std::uint64_t size) {
                  return [size](benchmark::State& state) {
                      EnumerateOurs(state, PartialChain(NTest::sectorsPerChunk / size));
                  };
              });
    AddGrowth("EnumerateDifferences, half the sectors (chunks)", 1, 16, [](std::uint64_t size) {
        return [size](benchmark::State& state) { EnumerateOurs(state, ManyChunks(size)); };
    });
});

}  // namespace

}  // namespace NBench
