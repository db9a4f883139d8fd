#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

bool OpenAndRetrieve(std::basic_istream<unsigned char>& stream) {
    NVHDX::CAccessor accessor;
    NVHDX::NMetadata::CFileParameters parameters;
    NVHDX::NMetadata::CVirtualDiskSize size;
    NVHDX::NMetadata::CPage83Data page83;
    NVHDX::NMetadata::CLogicalSectorSize logical;
    NVHDX::NMetadata::CPhysicalSectorSize physical;
    NVHDX::NMetadata::CParent parent;
    return accessor.Entry(stream) && accessor.Retrieve(parameters, stream) &&
           accessor.Retrieve(size, stream) && accessor.Retrieve(page83, stream) &&
           accessor.Retrieve(logical, stream) && accessor.Retrieve(physical, stream) &&
           accessor.Retrieve(parent, stream);
}

void OpenOurs(benchmark::State& state) {
    CBenchDisk disk(MakeDataDisk(4), true);
    for (auto _ : state) {
        disk.stream.seekg(0);
        if (!OpenAndRetrieve(disk.stream)) {
            state.SkipWithError("opening failed");
        }
    }
}

/// The reads that opening makes, at the places of the disk's own layout.
void OpenBaseline(benchmark::State& state) {
    const CDescriptor descriptor(MakeDataDisk(4));
    unsigned char bytes[4096];
    for (auto _ : state) {
        descriptor.Read(bytes, 520, 0);
        descriptor.Read(bytes, 4096, 65536);
        descriptor.Read(bytes, 4096, 131072);
        descriptor.Read(bytes, 16, 196608);
        for (std::uint64_t entry = 0; entry < 2; ++entry) {
            descriptor.Read(bytes, 32, 196624 + 32 * entry);
        }
        const std::uint64_t metadata = 2 * NTest::MiB;
        for (std::uint64_t entry = 0; entry < 6; ++entry) {
            descriptor.Read(bytes, 32, metadata + 32 * entry);
        }
        for (const std::size_t size : {8, 8, 16, 4, 4}) {
            descriptor.Read(bytes, size, metadata + 65536);
        }
        benchmark::DoNotOptimize(bytes);
    }
}

const CRegistration registration([] {
    AddPair("Entry and every Retrieve", "small disk", 3, OpenOurs, OpenBaseline);
});

}  // namespace

}  // namespace NBench
