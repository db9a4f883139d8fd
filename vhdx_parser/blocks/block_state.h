#ifndef VHDX_PARSER_BLOCKS_BLOCK_STATE_H
#define VHDX_PARSER_BLOCKS_BLOCK_STATE_H

/// The states of payload blocks: their names, and which of them have data in the file.

#include <cstdint>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

/// Whether a block in this state has data in the file. "Undefined" counts, on purpose, and "Zero"
/// does not.
constexpr bool IsIndexed(CPayloadBlock::EState state) {
    // One bit for each indexed state. Numbers that are no state, as a document may hold, have none.
    constexpr std::uint32_t indexed = 1U << CPayloadBlock::Undefined |
                                      1U << CPayloadBlock::FullyPresent |
                                      1U << CPayloadBlock::PartiallyPresent;
    const auto number = static_cast<std::uint32_t>(state);
    return ((indexed >> (number & 31)) & static_cast<std::uint32_t>(number < 32)) != 0;
}

/// The name of a state as trace lines print it; empty for a number that is no state.
constexpr const char* NameOf(CPayloadBlock::EState state) {
    switch (state) {
        case CPayloadBlock::NotPresent:
            return "NotPresent";
        case CPayloadBlock::Undefined:
            return "Undefined";
        case CPayloadBlock::Zero:
            return "Zero";
        case CPayloadBlock::Unmapped:
            return "Unmapped";
        case CPayloadBlock::FullyPresent:
            return "FullyPresent";
        case CPayloadBlock::PartiallyPresent:
            return "PartiallyPresent";
    }
    return "";
}

}  // namespace NVHDX

#endif
