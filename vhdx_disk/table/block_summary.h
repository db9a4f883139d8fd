#ifndef VHDX_DISK_TABLE_BLOCK_SUMMARY_H
#define VHDX_DISK_TABLE_BLOCK_SUMMARY_H

#include <array>
#include <cstdint>
#include <span>

#include <vhdx_parser/block_model.h>

namespace NVHDXDisk {

/// What the blocks of a disk add up to.
class CBlockSummary {
public:
    /// Adds the next blocks of the disk.
    void Add(std::span<const std::uint64_t> words) { AddAndCount(words, m_counts); }
    /// Adds blocks behind the end of the disk, which the table of a differencing disk has: they do
    /// not count, though one of them may lie furthest in the file.
    void AddPastEnd(std::span<const std::uint64_t> words) { AddAndCount(words, m_pastEnd); }

    /// Blocks in a state.
    std::uint64_t Count(NVHDX::CPayloadBlock::EState state) const;
    /// Whether a block has one of these numbers for its state, one bit for each number.
    bool HasAny(unsigned stateNumbers) const;

    /// The furthest block with data: its place in MiB, 0 without one, and the disk-wide index of
    /// the first block that has it.
    std::uint64_t LargestOffset() const { return m_largestOffset; }
    std::uint64_t LargestOffsetIndex() const { return m_largestOffsetIndex; }

private:
    using CCounts = std::array<std::uint64_t, 8>;  // by the state's number in the table

    void AddAndCount(std::span<const std::uint64_t> words, CCounts& counts);
    void AddFew(std::span<const std::uint64_t> words, CCounts& counts);

    CCounts m_counts = {};
    CCounts m_pastEnd = {};
    std::uint64_t m_added = 0;
    std::uint64_t m_largestOffset = 0;
    std::uint64_t m_largestOffsetIndex = 0;
};

}  // namespace NVHDXDisk

#endif
