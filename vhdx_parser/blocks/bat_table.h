#ifndef VHDX_PARSER_BLOCKS_BAT_TABLE_H
#define VHDX_PARSER_BLOCKS_BAT_TABLE_H

/// A run of entries of the block allocation table, as it was read.

#include <cstddef>
#include <cstdint>

#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDX {

class CBATTable {
public:
    /// `bytes` holds `count` entries of 8 bytes and outlives the view.
    CBATTable(const unsigned char* bytes, std::uint32_t count) : m_bytes(bytes), m_count(count) {}

    std::uint32_t Count() const { return m_count; }

    CBATEntry operator[](std::uint32_t index) const {
        return CBATEntry(m_bytes + std::size_t{index} * BATEntrySize);
    }

    CBATTable Part(std::uint32_t first, std::uint32_t count) const {
        return {m_bytes + std::size_t{first} * BATEntrySize, count};
    }

private:
    const unsigned char* m_bytes;
    std::uint32_t m_count;
};

}  // namespace NVHDX

#endif
