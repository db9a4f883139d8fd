#include <array>
#include <map>
#include <memory>
#include <stdexcept>

#include <vhdx_parser/vhdx_parser.h>

#include "fuzz/input.h"
#include "fuzz/memory_file.h"
#include "fuzz/target.h"

// Makes a block model from the input and sends it requests in both directions.

namespace {

using namespace NVHDX;

CPayloadBlock::EState State(NFuzz::CInput& input) {
    return static_cast<CPayloadBlock::EState>(input.Number(1) % 8);
}

/// One block or bitmap lies in the file, one half in it.
constexpr std::uint64_t fileSize = 3 * NTest::MiB / 2;

/// Offsets mostly in the file, in MiB.
std::uint64_t Offset(NFuzz::CInput& input) {
    const std::uint64_t number = input.Number(1);
    return number < 250 ? number % 3 : ~std::uint64_t{0} - number;
}

CBlockChunk Chunk(NFuzz::CInput& input, std::uint64_t ratio) {
    CBlockChunk chunk;
    const std::uint64_t shape = input.Number(1);
    chunk.Init(static_cast<std::uint32_t>(ratio));
    std::vector<CPayloadBlock> list;
    for (std::uint64_t i = input.Number(1) % 8; i > 0; --i) {
        list.push_back({Offset(input), State(input)});
    }
    if ((shape & 1) != 0) {
        chunk.AddAllPayloadBlocks(list);
    } else {
        for (const CPayloadBlock& block : list) {
            chunk.InitPayloadBlock(block.state, block.offset);
        }
    }
    if ((shape & 2) != 0) {
        auto bitmap = std::make_unique<CSectorBitmapBlock>();
        *bitmap = {Offset(input), (shape & 4) != 0 ? 2 : 0};
        chunk.Set(bitmap);
    }
    if ((shape & 8) != 0) {
        chunk.SetNoSectorBitmap();
    }
    return chunk;
}

template <class TRequest>
void Ask(NFuzz::CMemoryStream& stream, TRequest request) {
    stream.clear();
    try {
        request();
    } catch (const std::out_of_range&) {
        // The answer for a block that no chunk can hold.
    }
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    NFuzz::CInput input(data, size);
    CBlocks blocks;
    CFileParameters params;
    params.payloadblksz = static_cast<std::uint32_t>(input.Number(2));
    params.lastPayloadBlockIndex = input.Number(1);
    blocks.ratio = input.Number(1) % 9;
    for (std::uint64_t i = input.Number(1) % 5; i > 0; --i) {
        blocks.chunks.push_back(Chunk(input, blocks.ratio));
    }
    // Kept, because fresh memory of their size would cost more than the requests.
    static NFuzz::CMemoryFile file{NTest::CBytes(fileSize)};
    static const auto area = std::make_unique<CSectorBitmapArea>();
    file.Restore();
    NFuzz::CMemoryStream stream(file);
    CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
    while (!input.IsEmpty()) {
        const std::uint64_t kind = input.Number(1);
        const std::uint64_t offset = input.Number((kind & 128) != 0 ? 8 : 2);
        const std::uint64_t count = input.Number(2);
        const bool read = (kind & 64) != 0;
        const auto chunk = static_cast<std::uint32_t>(offset);
        Ask(stream, [&] {
            switch (kind % 5) {
                case 0:
                    (void)RequestPayloadData(stream, blocks, offset, count, params, buffer, read);
                    break;
                case 1:
                    (void)RequestPayloadRealOffset(blocks, offset, count, params);
                    break;
                case 2:
                    (void)RequestPayloadRealOffsets(blocks, offset, count, params);
                    break;
                case 3:
                    (void)RequestSectorBitmapData(stream, blocks, chunk, *area, read);
                    break;
                default:
                    IterateOverBlocks(blocks, {{offset, count}, {count, offset % 100000}}, params,
                                      [](auto&&...) {});
            }
        });
    }
}
