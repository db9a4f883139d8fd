#include <array>
#include <charconv>
#include <string>

#include "vhdx_parser/persist/block_map_tree.h"

namespace NVHDX {

namespace {

using boost::property_tree::ptree;

constexpr std::uint64_t NoSectorBitmapOffset = 0xFFFFFFFFFFFFFFFF;
constexpr std::int32_t NoSectorBitmapState = -1;

// Children are made where they belong and filled there: handing a finished subtree to its parent
// would copy it.
ptree& AddChild(ptree& parent, const char* name) {
    return parent.push_back(ptree::value_type(name, ptree()))->second;
}

// Plain decimal digits under every locale: the document must be readable everywhere.
template <class TNumber>
void PutNumber(ptree& parent, const char* name, TNumber number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    AddChild(parent, name).data().assign(digits.data(), end);
}

void PutFlag(ptree& parent, const char* name, bool flag) {
    AddChild(parent, name).data() = flag ? "true" : "false";
}

void PutParameters(ptree& fileparams, const CFileParameters& params) {
    PutNumber(fileparams, "payloadblksz", params.payloadblksz);
    PutNumber(fileparams, "logsectsz", params.logsectsz);
    PutNumber(fileparams, "virtdisksz", params.virtdisksz);
    PutNumber(fileparams, "maxFileOffset", params.maxFileOffset);
    PutNumber(fileparams, "lastPayloadBlockIndex", params.lastPayloadBlockIndex);
    PutFlag(fileparams, "requestNewBlockOffset", params.requestNewBlockOffset);
    PutFlag(fileparams, "bDifferencing", params.bDifferencing);
}

void PutPayloadBlock(ptree& payloadBlock, const CPayloadBlock& block) {
    PutNumber(payloadBlock, "state", static_cast<std::int32_t>(block.state));
    PutNumber(payloadBlock, "offset", block.offset);
}

void PutChunk(ptree& chunkTree, const CBlockChunk& chunk) {
    ptree& payloadBlocks = AddChild(chunkTree, "payloadBlocks");
    for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
        PutPayloadBlock(AddChild(payloadBlocks, "payloadBlock"), block);
    }
    const CSectorBitmapBlock* const sectorBitmap = chunk.getSectorBitmatBlock().get();
    PutNumber(chunkTree, "sectorBitmapOffset",
              sectorBitmap != nullptr ? sectorBitmap->offset : NoSectorBitmapOffset);
    PutNumber(chunkTree, "sectorBitmapState",
              sectorBitmap != nullptr ? sectorBitmap->state : NoSectorBitmapState);
    PutFlag(chunkTree, "noSectorBitmap", !chunk.IsSectorBitmapPresent());
}

}  // namespace

ptree WriteBlockMap(const CBlocks& blocks, const CFileParameters& params) {
    ptree document;
    ptree& metadata = AddChild(document, "metadata");
    PutParameters(AddChild(metadata, "fileparams"), params);
    ptree& blocksTree = AddChild(metadata, "blocks");
    PutNumber(blocksTree, "ratio", blocks.ratio);
    ptree& chunks = AddChild(blocksTree, "chunks");
    for (const CBlockChunk& chunk : blocks.chunks) {
        PutChunk(AddChild(chunks, "chunk"), chunk);
    }
    return document;
}

}  // namespace NVHDX
