#include <random>
#include <vector>

#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

constexpr std::uint64_t BlockCount = 256;
constexpr std::uint64_t DiskSize = BlockCount * NTest::MiB;

/// Ranges of `length` bytes that walk over the disk.
class CWalk {
public:
    explicit CWalk(std::uint64_t length) : m_length(length) {}

    std::uint64_t Next() {
        const std::uint64_t offset = m_next;
        m_next = m_next + 2 * m_length <= DiskSize ? m_next + m_length : 0;
        return offset;
    }

private:
    std::uint64_t m_length;
    std::uint64_t m_next = 0;
};

class CRandomPages {
public:
    std::uint64_t Next() { return m_random() % (DiskSize / 4096) * 4096; }

private:
    std::mt19937_64 m_random{7};
};

template <class TPlaces>
void MoveOurs(benchmark::State& state, TPlaces places, std::uint64_t length, bool read,
              bool unbuffered) {
    CBenchDisk disk(MakeDataDisk(BlockCount), unbuffered);
    disk.Load();
    CByteBuffer buffer;
    buffer.Reserve(length);
    for (auto _ : state) {
        if (!NVHDX::RequestPayloadData(disk.stream, disk.blocks, places.Next(), length, disk.params,
                                       buffer, read)) {
            state.SkipWithError("the transfer failed");
        }
        benchmark::DoNotOptimize(buffer.data);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * length));
}

/// The same places by positioned reads or writes, block by block.
template <class TPlaces>
void MoveBaseline(benchmark::State& state, TPlaces places, std::uint64_t length, bool read) {
    CBenchDisk disk(MakeDataDisk(BlockCount));
    disk.Load();
    const CDescriptor descriptor(disk.path);
    std::vector<std::uint64_t> positions;
    for (const NVHDX::CPayloadBlock& block : disk.blocks.chunks[0].getPayloadBlocks()) {
        positions.push_back(block.offset * NTest::MiB);
    }
    CByteBuffer buffer;
    buffer.Reserve(length);
    for (auto _ : state) {
        const std::uint64_t offset = places.Next();
        for (std::uint64_t done = 0; done < length;) {
            const std::uint64_t inBlock = (offset + done) % NTest::MiB;
            const std::uint64_t count = std::min(length - done, NTest::MiB - inBlock);
            const std::uint64_t position = positions[(offset + done) / NTest::MiB] + inBlock;
            if (read) {
                descriptor.Read(buffer.data + done, count, position);
            } else {
                descriptor.Write(buffer.data + done, count, position);
            }
            done += count;
        }
        benchmark::DoNotOptimize(buffer.data);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * length));
}

template <class TPlaces>
void Add(const std::string& operation, const std::string& setting, double target, TPlaces places,
         std::uint64_t length, bool read, bool unbuffered) {
    AddPair(
        operation, setting, target,
        [=](benchmark::State& state) { MoveOurs(state, places, length, read, unbuffered); },
        [=](benchmark::State& state) { MoveBaseline(state, places, length, read); });
}

const CRegistration registration([] {
    for (const std::uint64_t length : {NTest::MiB, 64 * NTest::MiB}) {
        Add("RequestPayloadData, read", Binary(length) + "B", 1.05, CWalk(length), length, true,
            false);
    }
    Add("RequestPayloadData, read", "4 KiB at random places, unbuffered stream", 2, CRandomPages(),
        4096, true, true);
    Add("RequestPayloadData, write", "1 MiB", 1.1, CWalk(NTest::MiB), NTest::MiB, false, false);
    AddGrowth("RequestPayloadData, read (bytes)", NTest::MiB, 64 * NTest::MiB,
              [](std::uint64_t size) {
                  return [size](benchmark::State& state) {
                      MoveOurs(state, CWalk(size), size, true, false);
                  };
              });
});

}  // namespace

}  // namespace NBench
