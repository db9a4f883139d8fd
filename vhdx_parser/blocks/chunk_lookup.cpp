#include "vhdx_parser/blocks/chunk_lookup.h"

#include <stdexcept>
#include <string>

namespace NVHDX {

void RaiseInvalidVectorSubscript() {
    throw std::out_of_range("invalid vector subscript");
}

std::pair<std::uint64_t, std::uint64_t> LookupChunk(const CBlocks& blocks,
                                                    std::uint64_t payloadBlockIndex) {
    if (blocks.ratio == 0) {
        RaiseInvalidVectorSubscript();
    }
    const std::uint64_t chunkIndex = payloadBlockIndex / blocks.ratio;
    if (chunkIndex >= blocks.chunks.size()) {
        // Composed and dropped, deliberately: the caller gets the pair, and its checked access to
        // the chunks is what raises.
        const std::out_of_range dropped("Chunk index is overflow \"" + std::to_string(chunkIndex) +
                                        "\". Size is \"" + std::to_string(blocks.chunks.size()) +
                                        "\"");
    }
    return {chunkIndex, payloadBlockIndex % blocks.ratio};
}

const CBlockChunk& CheckedChunk(const CBlocks& blocks, std::uint64_t chunkIndex) {
    if (chunkIndex >= blocks.chunks.size()) {
        RaiseInvalidVectorSubscript();
    }
    return blocks.chunks[static_cast<std::size_t>(chunkIndex)];
}

const CPayloadBlock* FindPayloadBlock(const CBlocks& blocks, std::uint64_t payloadBlockIndex) {
    const auto [chunkIndex, position] = LookupChunk(blocks, payloadBlockIndex);
    return CheckedChunk(blocks, chunkIndex).GetPayloadBlock(position);
}

std::uint64_t PayloadBlockIndex(std::uint64_t diskOffset, const CFileParameters& params) {
    if (params.payloadblksz == 0) {
        RaiseInvalidVectorSubscript();
    }
    return diskOffset / params.payloadblksz;
}

}  // namespace NVHDX
