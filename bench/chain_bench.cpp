#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

using CSource = NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>;
using CCircuit = NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>;

std::string DiskName(std::uint64_t number, bool isBase) {
    std::string name = std::to_string(number);
    name.append(isBase ? ".vhdx" : ".avhdx");
    return name;
}

/// A folder of `count` disks in chains of `length`, the parents before their children.
std::filesystem::path MakeChains(std::uint64_t count, std::uint64_t length) {
    const std::filesystem::path folder =
        BenchFolder() / ("chains" + std::to_string(count) + "of" + std::to_string(length));
    if (!std::filesystem::create_directories(folder)) {
        return folder;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        NTest::CImageBuilder builder;
        const bool isBase = i % length == 0;
        if (!isBase) {
            const std::string parent = DiskName(i - 1, (i - 1) % length == 0);
            std::u16string path = u".\\";
            path.append(parent.begin(), parent.end());
            builder.Differencing().ParentLocator({{u"relative_path", path}});
        }
        builder.Build().WriteTo(folder / DiskName(i, isBase));
    }
    return folder;
}

void LinkOurs(benchmark::State& state, std::uint64_t count, std::uint64_t length) {
    const std::string folder = MakeChains(count, length).string();
    for (auto _ : state) {
        std::vector<CSource> sources;
        if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, folder)) {
            state.SkipWithError("DoIt failed");
        }
        benchmark::DoNotOptimize(sources.data());
    }
}

/// Without the closing of the files: the C library searches its list of open files for each, so
/// that closing many in the order in which they were opened takes their number squared.
void LinkWithoutClosing(benchmark::State& state, std::uint64_t count, std::uint64_t length) {
    const std::string folder = MakeChains(count, length).string();
    for (auto _ : state) {
        std::vector<CSource> sources;
        if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, folder)) {
            state.SkipWithError("DoIt failed");
        }
        state.PauseTiming();
        sources.clear();
        state.ResumeTiming();
    }
}

/// Opens every file, reads its container and its parent locator, and keeps it open to the end.
void LinkBaseline(benchmark::State& state, std::uint64_t count, std::uint64_t length) {
    const std::filesystem::path folder = MakeChains(count, length);
    for (auto _ : state) {
        std::vector<std::unique_ptr<NVHDX::CFileObject<char>>> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            auto& file = *files.emplace_back(std::make_unique<NVHDX::CFileObject<char>>());
            NByteStream::Imbue(file.stream);
            file.stream.open(entry.path(), std::ios::in | std::ios::binary);
            NVHDX::NMetadata::CParent parent;
            if (!file.accessor.Entry(file.stream) || !file.accessor.Retrieve(parent, file.stream)) {
                state.SkipWithError("opening failed");
            }
        }
        benchmark::DoNotOptimize(files.data());
    }
}

constexpr std::uint64_t ChunkCount = 64;
constexpr std::uint64_t ChunkSize = 4 * NTest::GiB;
constexpr std::uint64_t SectorBitmapSize = NTest::MiB;

/// A base and two differencing disks with a sector bitmap in every chunk.
std::filesystem::path MakeBitmapChain(std::uint64_t chunkCount) {
    const std::filesystem::path folder = BenchFolder() / ("bitmaps" + std::to_string(chunkCount));
    if (!std::filesystem::create_directories(folder)) {
        return folder;
    }
    for (std::uint64_t i = 0; i < 4; ++i) {
        NTest::CImageBuilder builder;
        builder.BlockSize(32 * NTest::MiB).VirtualSize(chunkCount * ChunkSize);
        if (i > 0) {
            const std::string parent = DiskName(i - 1, i == 1);
            std::u16string path = u".\\";
            path.append(parent.begin(), parent.end());
            builder.Differencing().ParentLocator({{u"relative_path", path}});
            for (std::uint64_t chunk = 0; chunk < chunkCount; ++chunk) {
                builder.AllocateSectorBitmap(chunk, NTest::CBytes(SectorBitmapSize, 0x11));
            }
        }
        builder.Build().WriteTo(folder / DiskName(i, i == 0));
    }
    return folder;
}

std::vector<CSource> OpenBitmapChain(std::uint64_t chunkCount) {
    std::vector<CSource> sources;
    if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, MakeBitmapChain(chunkCount).string())) {
        sources.resize(1);
    }
    return sources;
}

void PrepareOurs(benchmark::State& state, std::uint64_t chunkCount) {
    std::vector<CSource> sources = OpenBitmapChain(chunkCount);
    for (auto _ : state) {
        CCircuit circuit;
        if (!NVHDX::NDifferencingVirtualMerge::Prepare(circuit, sources[0])) {
            state.SkipWithError("Prepare failed");
        }
        benchmark::DoNotOptimize(circuit.differencing.data());
    }
}

/// The same bytes into memory of their own.
void PrepareBaseline(benchmark::State& state) {
    std::vector<CSource> sources = OpenBitmapChain(ChunkCount);
    CCircuit circuit;
    if (!NVHDX::NDifferencingVirtualMerge::Prepare(circuit, sources[0])) {
        state.SkipWithError("Prepare failed");
    }
    const std::filesystem::path folder = MakeBitmapChain(ChunkCount);
    std::vector<std::unique_ptr<CDescriptor>> descriptors;
    for (std::uint64_t i = 3; i > 0; --i) {
        descriptors.push_back(std::make_unique<CDescriptor>(folder / DiskName(i, false)));
    }
    for (auto _ : state) {
        std::vector<std::unique_ptr<unsigned char[]>> bitmaps;
        for (std::size_t i = 0; i < descriptors.size(); ++i) {
            for (const NVHDX::CBlockChunk& chunk : circuit.differencing[i].blocks.chunks) {
                auto& bitmap = bitmaps.emplace_back(new unsigned char[SectorBitmapSize]);
                descriptors[i]->Read(bitmap.get(), SectorBitmapSize,
                                     chunk.getSectorBitmatBlock()->offset * NTest::MiB);
            }
        }
        benchmark::DoNotOptimize(bitmaps.data());
    }
}

void AddLinking(const std::string& setting, std::uint64_t count, std::uint64_t length) {
    AddPair(
        "DoIt", setting, 1.2, [=](benchmark::State& state) { LinkOurs(state, count, length); },
        [=](benchmark::State& state) { LinkBaseline(state, count, length); });
}

const CRegistration registration([] {
    AddPair(
        "Prepare", "3 files, 64 bitmaps each", 1.3,
        [](benchmark::State& state) { PrepareOurs(state, ChunkCount); }, PrepareBaseline);
    AddLinking("1,000 files in chains of 10", 1000, 10);
    AddLinking("one chain of 1,000 files", 1000, 1000);
    AddGrowth("Prepare, 3 files (bitmaps of each)", 16, 128, [](std::uint64_t size) {
        return [size](benchmark::State& state) { PrepareOurs(state, size); };
    });
    AddGrowth("DoIt, chains of 10 (files)", 1000, 8000, [](std::uint64_t size) {
        return [size](benchmark::State& state) { LinkWithoutClosing(state, size, 10); };
    });
    AddGrowth("DoIt, one chain (files)", 1000, 8000, [](std::uint64_t size) {
        return [size](benchmark::State& state) { LinkWithoutClosing(state, size, size); };
    });
});

}  // namespace

}  // namespace NBench
