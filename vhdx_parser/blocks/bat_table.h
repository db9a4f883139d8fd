#ifndef VHDX_PARSER_BLOCKS_BAT_TABLE_H
#define VHDX_PARSER_BLOCKS_BAT_TABLE_H

/// A run of entries of the block allocation table, as it was read.

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/bat_geometry.h"

namespace NVHDX {

/// Entries one after the other, each put together as it is looked at.
class CBATEntryIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = CBATEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = const CBATEntry*;
    using reference = CBATEntry;

    explicit CBATEntryIterator(const unsigned char* bytes) : m_bytes(bytes) {}

    CBATEntry operator*() const { return CBATEntry(m_bytes); }
    CBATEntryIterator& operator++() { return *this += 1; }
    CBATEntryIterator& operator--() { return *this += -1; }
    CBATEntryIterator& operator+=(std::ptrdiff_t count) {
        m_bytes += count * std::ptrdiff_t{BATEntrySize};
        return *this;
    }
    friend std::ptrdiff_t operator-(CBATEntryIterator a, CBATEntryIterator b) {
        return (a.m_bytes - b.m_bytes) / std::ptrdiff_t{BATEntrySize};
    }
    friend bool operator==(CBATEntryIterator, CBATEntryIterator) = default;

private:
    const unsigned char* m_bytes;
};

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

    CBATEntryIterator begin() const { return CBATEntryIterator(m_bytes); }
    CBATEntryIterator end() const {
        return CBATEntryIterator(m_bytes + std::size_t{m_count} * BATEntrySize);
    }

private:
    const unsigned char* m_bytes;
    std::uint32_t m_count;
};

}  // namespace NVHDX

#endif
