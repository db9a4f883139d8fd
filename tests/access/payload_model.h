#ifndef VHDX_PARSER_TESTS_ACCESS_PAYLOAD_MODEL_H
#define VHDX_PARSER_TESTS_ACCESS_PAYLOAD_MODEL_H

/// Block models made by hand, and buffers, for requests of payload data.

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <utility>

#include <vhdx_parser/payload_data.h>

#include "tests/support/bytes.h"

namespace NTest {

using CBuffer = NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64>;

/// A buffer of exactly these bytes.
inline CBuffer BufferOf(const CBytes& bytes) {
    CBuffer buffer;
    buffer.Reserve(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer.data);
    return buffer;
}

inline CBytes First(const CBuffer& buffer, std::uint64_t count) {
    return CBytes(buffer.data, buffer.data + count);
}

struct CModelBlock {
    NVHDX::CPayloadBlock::EState state;
    std::uint64_t offsetMB;
};

inline CModelBlock Present(std::uint64_t offsetMB) {
    return {NVHDX::CPayloadBlock::FullyPresent, offsetMB};
}
inline CModelBlock Absent() {
    return {NVHDX::CPayloadBlock::NotPresent, 0};
}

inline NVHDX::CBlocks Model(std::uint32_t ratio, std::initializer_list<CModelBlock> list) {
    NVHDX::CBlocks blocks;
    blocks.ratio = ratio;
    for (const CModelBlock& block : list) {
        if (blocks.chunks.empty() || blocks.chunks.back().getCount() == ratio) {
            blocks.chunks.emplace_back().Init(ratio);
        }
        blocks.chunks.back().InitPayloadBlock(block.state, block.offsetMB);
    }
    return blocks;
}

inline NVHDX::CFileParameters BlockSize(std::uint32_t bytes) {
    NVHDX::CFileParameters params;
    params.payloadblksz = bytes;
    return params;
}

}  // namespace NTest

#endif
