#ifndef VHDX_PARSER_BLOCKS_BAT_ENTRY_H
#define VHDX_PARSER_BLOCKS_BAT_ENTRY_H

/// One entry of the block allocation table: 8 bytes, little-endian.

#include <cstdint>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/foundation/little_endian.h"

namespace NVHDX {

/// What state bits tell of the block of a payload entry.
struct CStateMeaning {
    CPayloadBlock::EState state;
    std::uint32_t stateBit;  ///< the one bit of the number 1 << (state bits)
    std::uint64_t dataMask;  ///< all ones when the block has data in the file, else 0
};

/// Looked up instead of decided: the states of a real table would lead a branch astray at every
/// other entry. Bits 4 and 5 mean nothing, and their entry is refused.
inline constexpr CStateMeaning StateMeanings[8] = {
    {CPayloadBlock::NotPresent, 1U << 0, 0},
    {CPayloadBlock::Undefined, 1U << 1, ~std::uint64_t{0}},
    {CPayloadBlock::Zero, 1U << 2, 0},
    {CPayloadBlock::Unmapped, 1U << 3, 0},
    {CPayloadBlock::Undefined, 1U << 4, 0},
    {CPayloadBlock::Undefined, 1U << 5, 0},
    {CPayloadBlock::FullyPresent, 1U << 6, ~std::uint64_t{0}},
    {CPayloadBlock::PartiallyPresent, 1U << 7, ~std::uint64_t{0}},
};

/// The numbers that the state of a payload entry may have, one bit for each: 0 to 3 and 6, and with
/// a parent 7.
inline constexpr unsigned PayloadStateBitsWithoutParent = 0b0100'1111;
inline constexpr unsigned PayloadStateBitsWithParent = 0b1100'1111;

/// The number of a state in a payload entry; for a state that is none one that means nothing.
constexpr unsigned StateBitsOf(CPayloadBlock::EState state) {
    for (unsigned bits = 0; bits < 8; ++bits) {
        if ((PayloadStateBitsWithParent >> bits & 1) != 0 && StateMeanings[bits].state == state) {
            return bits;
        }
    }
    return 4;
}

/// A word of the table: bits 0 to 2 the state, 3 to 19 reserved, 20 to 63 the file offset in MiB.
class CBATEntry {
public:
    static constexpr std::uint64_t StateMask = 7;
    static constexpr std::uint64_t OffsetMask = ~std::uint64_t{0} << 20;

    explicit CBATEntry(const unsigned char* bytes)
        : m_word(LoadLittleEndian<std::uint64_t>(bytes)) {}
    explicit constexpr CBATEntry(std::uint64_t word) : m_word(word) {}

    /// The payload entry of a block of the model.
    static constexpr CBATEntry Of(const CPayloadBlock& block) {
        return CBATEntry(block.offset << 20 | StateBitsOf(block.state));
    }

    constexpr std::uint64_t Word() const { return m_word; }
    constexpr std::uint64_t FileOffsetMB() const { return m_word >> 20; }
    constexpr std::uint64_t ReservedBits() const {
        return (m_word & ~(StateMask | OffsetMask)) >> 3;
    }
    constexpr unsigned StateBits() const { return static_cast<unsigned>(m_word & StateMask); }

    constexpr const CStateMeaning& StateMeaning() const { return StateMeanings[StateBits()]; }
    /// Of a payload entry whose state bits mean something.
    constexpr CPayloadBlock::EState PayloadState() const { return StateMeaning().state; }
    /// Of a payload entry: the block has data in the file.
    constexpr bool HasData() const { return StateMeaning().dataMask != 0; }

    /// Of a payload entry; 0 for a block without data, so that it is never the furthest one.
    constexpr std::uint64_t DataOffset() const { return FileOffsetMB() & StateMeaning().dataMask; }

    constexpr operator CPayloadBlock() const { return {FileOffsetMB(), PayloadState()}; }

    constexpr bool IsSectorBitmapNotPresent() const { return StateBits() == 0; }
    constexpr bool IsSectorBitmapPresent() const { return StateBits() == 6; }

private:
    std::uint64_t m_word;
};

}  // namespace NVHDX

#endif
