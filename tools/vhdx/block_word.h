#ifndef VHDX_PARSER_TOOLS_VHDX_BLOCK_WORD_H
#define VHDX_PARSER_TOOLS_VHDX_BLOCK_WORD_H

#include <cstdint>

#include <vhdx_parser/block_model.h>

namespace NTool {

/// A payload block in 64 bits, as the block allocation table spells it: the state's number there in
/// bits 0 to 2, reserved bits, and from bit 20 on the place in the file in MiB. Half of what the
/// model's record takes, and no decoding for those who go over many of them.
struct CBlockWord {
    static constexpr std::uint64_t stateMask = 7;
    static constexpr std::uint64_t placeMask = ~std::uint64_t{0} << 20;
    /// The numbers of the states whose blocks have data in the file, one bit for each.
    static constexpr unsigned dataStates = 0b1100'0010;
    /// Numbers that no payload block may have, one bit for each.
    static constexpr unsigned meaninglessStates = 0b0011'0000;

    /// Under a number that means something: 0 to 3 are the states 1 to 4, 6 and 7 are 5 and 6.
    static NVHDX::CPayloadBlock::EState State(std::uint64_t word) {
        const auto number = static_cast<unsigned>(word & stateMask);
        return static_cast<NVHDX::CPayloadBlock::EState>(number < 4 ? number + 1 : number - 1);
    }
    static constexpr bool HasData(std::uint64_t word) {
        return (dataStates >> (word & stateMask) & 1) != 0;
    }
    /// In bytes.
    static std::uint64_t FileOffset(std::uint64_t word) { return word & placeMask; }

    /// The word of a block of the model.
    static std::uint64_t Of(const NVHDX::CPayloadBlock& block) {
        const auto state = static_cast<std::uint64_t>(block.state);
        return block.offset << 20 | (state < 5 ? state - 1 : state + 1);
    }
};

}  // namespace NTool

#endif
