#ifndef VHDX_PARSER_TESTS_PERSIST_XML_FILE_HELPERS_H
#define VHDX_PARSER_TESTS_PERSIST_XML_FILE_HELPERS_H

/// Models and document files for the tests of saving and loading.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include <vhdx_parser/block_model.h>

namespace NTest {

/// Read as text, because the platform's line ends are in the document.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline void SetBitmapBlock(NVHDX::CBlockChunk& chunk, std::uint64_t offset, std::int32_t state) {
    auto block = std::make_unique<NVHDX::CSectorBitmapBlock>();
    *block = {offset, state};
    chunk.Set(block);
}

/// The whole content of a model as text, so that two models can be compared and shown.
inline std::string Describe(const NVHDX::CBlocks& blocks) {
    std::ostringstream text;
    text << "ratio " << blocks.ratio;
    for (const NVHDX::CBlockChunk& chunk : blocks.chunks) {
        text << "\nchunk of " << chunk.getCount();
        for (std::uint64_t i = 0; i < chunk.getPayloadBlocks().size(); ++i) {
            const NVHDX::CPayloadBlock& block = chunk.getPayloadBlocks()[i];
            text << " (" << block.state << " at " << block.offset
                 << (chunk.GetPayloadBlock(i) == &block ? ", indexed)" : ")");
        }
        if (chunk.getSectorBitmatBlock() != nullptr) {
            text << " bitmap " << chunk.getSectorBitmatBlock()->state << " at "
                 << chunk.getSectorBitmatBlock()->offset;
        }
        text << (chunk.IsSectorBitmapPresent() ? "" : " no bitmap");
    }
    return text.str();
}

inline std::string Describe(const NVHDX::CFileParameters& params) {
    std::ostringstream text;
    text << params.payloadblksz << ' ' << params.logsectsz << ' ' << params.virtdisksz << ' '
         << params.maxFileOffset << ' ' << params.lastPayloadBlockIndex << ' '
         << params.requestNewBlockOffset << ' ' << params.bDifferencing;
    return text.str();
}

}  // namespace NTest

#endif
