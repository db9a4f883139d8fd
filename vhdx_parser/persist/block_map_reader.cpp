#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vhdx_parser/persist/block_map_tree.h"
#include "vhdx_parser/persist/xml_value.h"

namespace NVHDX {

namespace {

using boost::property_tree::ptree;

CFileParameters ReadParameters(const ptree& fileparams) {
    CFileParameters params;
    params.payloadblksz = ReadOptional<std::uint32_t>(fileparams, "payloadblksz", 0xFFFFFFFF);
    params.logsectsz = ReadOptional<std::uint16_t>(fileparams, "logsectsz", 0xFFFF);
    constexpr std::uint64_t unread = 0xFFFFFFFFFFFFFFFF;
    params.virtdisksz = ReadOptional<std::uint64_t>(fileparams, "virtdisksz", unread);
    params.maxFileOffset = ReadOptional<std::uint64_t>(fileparams, "maxFileOffset", unread);
    params.lastPayloadBlockIndex =
        ReadOptional<std::uint64_t>(fileparams, "lastPayloadBlockIndex", unread);
    params.requestNewBlockOffset = ReadOptional<bool>(fileparams, "requestNewBlockOffset", false);
    // Written under another key, deliberately: a saved disk always comes back as one without
    // parent.
    params.bDifferencing = ReadOptional<bool>(fileparams, "bbDifferencing", false);
    return params;
}

// Offsets are read as signed 32-bit numbers, deliberately: one that does not fit becomes 0, and a
// negative one keeps its sign in 64 bits.
std::uint64_t ReadOffset(const ptree& parent, const std::string& name) {
    return static_cast<std::uint64_t>(std::int64_t{ReadOptional<std::int32_t>(parent, name, 0)});
}

void ReadPayloadBlocks(const ptree& payloadBlocks, CBlockChunk& chunk) {
    const std::string state = "state";
    const std::string offset = "offset";
    for (const auto& [name, payloadBlock] : payloadBlocks) {
        if (name == "payloadBlock") {
            chunk.InitPayloadBlock(static_cast<CPayloadBlock::EState>(
                                       ReadOptional<std::int32_t>(payloadBlock, state, 0)),
                                   ReadOffset(payloadBlock, offset));
        }
    }
}

void ReadSectorBitmap(const ptree& chunkTree, CBlockChunk& chunk) {
    if (ReadRequired<bool>(chunkTree, "noSectorBitmap")) {
        chunk.SetNoSectorBitmap();
        return;
    }
    auto block = std::make_unique<CSectorBitmapBlock>();
    block->offset = ReadOffset(chunkTree, "sectorBitmapOffset");
    block->state = ReadOptional<std::int32_t>(chunkTree, "sectorBitmapState", 0);
    chunk.Set(block);
}

// The chunk is not given `ratio` slots beforehand: the index grows with the blocks that the
// document has, whatever ratio it claims.
CBlockChunk ReadChunk(const ptree& chunkTree) {
    CBlockChunk chunk;
    ReadPayloadBlocks(chunkTree.get_child("payloadBlocks"), chunk);
    ReadSectorBitmap(chunkTree, chunk);
    return chunk;
}

std::vector<CBlockChunk> ReadChunks(const ptree& chunksTree) {
    std::vector<CBlockChunk> chunks;
    for (const auto& [name, chunkTree] : chunksTree) {
        if (name == "chunk") {
            chunks.push_back(ReadChunk(chunkTree));
        }
    }
    return chunks;
}

}  // namespace

void ReadBlockMap(const ptree& document, CBlocks& blocks, CFileParameters& params) {
    const CFileParameters readParams = ReadParameters(document.get_child("metadata.fileparams"));
    const std::int64_t ratio = ReadRequired<std::int32_t>(document, "metadata.blocks.ratio");
    std::vector<CBlockChunk> chunks = ReadChunks(document.get_child("metadata.blocks.chunks"));
    blocks.chunks = std::move(chunks);
    blocks.ratio = static_cast<std::uint64_t>(ratio);
    params = readParams;
}

}  // namespace NVHDX
