#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/chain/differencing_model.h"
#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"

namespace NTest {
namespace {

using CBuffer = NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64>;

/// The library calls the writer on every thread and without a lock: this one counts.
class CCountingWriter final : public NDebugTrace::IWriter {
public:
    CCountingWriter() { NDebugTrace::g_pwriter = this; }
    ~CCountingWriter() { NDebugTrace::g_pwriter = nullptr; }
    CCountingWriter(const CCountingWriter&) = delete;
    CCountingWriter& operator=(const CCountingWriter&) = delete;

    void WriteNarrow(const std::string&, std::uint32_t) override { ++lines; }
    void WriteWide(const std::wstring&, std::uint32_t) override { ++lines; }

    std::atomic<std::uint64_t> lines = 0;
};

/// Everything that a reader asks of the shared model, on a stream of its own.
bool AskEverything(const CSparseImage& image, const NVHDX::CAccessor& accessor,
                   const NVHDX::CBlocks& blocks, const NVHDX::CFileParameters& params) {
    CSparseImage own = image;
    CInputStream stream(own);
    CBuffer buffer;
    const auto area = std::make_unique<NVHDX::CSectorBitmapArea>();
    std::uint64_t position = 0;
    int items = 0;
    IterateOverBlocks(blocks, {{0, 512}}, params, [&](auto&&...) { ++items; });
    return RequestPayloadData(stream, blocks, 0, 4096, params, buffer, true) &&
           accessor.RequestBATData(stream, buffer, params, true) &&
           RequestPayloadRealOffset(blocks, 5, 1, params) != 5 &&
           RequestPayloadRealOffsets(blocks, 0, 16 * MiB, params).size() == 16 &&
           RequestSectorBitmapData(stream, blocks, 0, *area, true) &&
           RequestSectorBitmapRealOffset(blocks, 0, position) && items == 2;
}

TEST(SharedModel, IsReadByManyThreadsWithAWriterInstalled) {
    const CSparseImage image = CImageBuilder()
                                   .SectorSize(2)
                                   .Differencing()
                                   .AllocateSectorBitmap(0, CBytes{1})
                                   .AllocateData(0, 1)
                                   .Build();
    CSparseImage copy = image;
    CInputStream stream(copy);
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    ASSERT_TRUE(accessor.Entry(stream) && accessor.LoadBlocks(blocks, params, stream));

    CCountingWriter writer;
    std::atomic<int> succeeded = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                succeeded += AskEverything(image, accessor, blocks, params) ? 1 : 0;
            }
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(succeeded, 40);
    EXPECT_GT(writer.lines, 40u);
}

/// What one reader hears of a shared chain: the runs, and who holds each sector of the first block.
std::vector<std::uint64_t> AskChain(
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>& circuit) {
    std::vector<std::uint64_t> heard;
    (void)EnumerateDifferences(circuit, [&](auto base, auto&, auto offset, auto length) {
        heard.insert(heard.end(), {base, offset, length});
        return true;
    });
    std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<char>> records;
    GetDifferential(records, 4 * MiB, 64 * KiB, circuit);
    for (const auto& record : records) {
        heard.push_back(record.offset);
    }
    return heard;
}

TEST(SharedChain, IsReadByManyThreads) {
    using NVHDX::CPayloadBlock;
    NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char> circuit;
    circuit.base = MakeFile<char>("base", MiB, 512, {{{4, CPayloadBlock::FullyPresent}}});
    circuit.differencing.push_back(
        MakeFile<char>("child", MiB, 512, {{{7, CPayloadBlock::PartiallyPresent}}}));
    circuit.differencing[0].blocks.chunks[0].SetSectorBitmap(MakeBitmap({0, 1, 5, 100}));
    IndexBase(circuit);
    const std::vector<std::uint64_t> expected = AskChain(circuit);
    ASSERT_EQ(expected.size(), 3 * 3 + 128u);

    std::atomic<int> succeeded = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                succeeded += AskChain(circuit) == expected ? 1 : 0;
            }
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(succeeded, 40);
}

}  // namespace
}  // namespace NTest
