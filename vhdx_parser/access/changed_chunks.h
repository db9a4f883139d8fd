#ifndef VHDX_PARSER_ACCESS_CHANGED_CHUNKS_H
#define VHDX_PARSER_ACCESS_CHANGED_CHUNKS_H

/// The chunks that changed ranges touch, with the ranges that start in each.

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace NVHDX {

/// Collects ranges under the chunk in which each starts, and walks all touched chunks in ascending
/// order. Memory is in proportion to the ranges, however many chunks they cover.
class CChangedChunks {
public:
    using CRange = std::pair<std::uint64_t, std::uint64_t>;  ///< (virtual-disk offset, length)

    void Reserve(std::size_t rangeCount) { m_ranges.reserve(rangeCount); }

    /// Records a range that starts in `startChunk` and reaches into the chunks up to `endChunk`,
    /// that one included.
    void Add(CRange range, std::uint64_t startChunk, std::uint64_t endChunk);

    /// Brings the collected ranges into ascending order of their chunks, within a chunk in the
    /// order in which they came. Call it once, before the walk.
    void Sort();

    /// The first touched chunk at or after `chunk`; `NoChunk` when there is none. The chunks that
    /// are asked for must ascend.
    std::uint64_t NextChunk(std::uint64_t chunk);

    /// The first chunk at which ranges start that were not taken yet; `NoChunk` when there is none.
    std::uint64_t NextStartChunk() const;

    /// The ranges that start in that chunk, the answer of the last `NextChunk`; then the rest of
    /// them, call by call, until the answer is empty.
    std::span<const CRange> TakeRanges(std::uint64_t chunk);

    static constexpr std::uint64_t NoChunk = 0xFFFFFFFFFFFFFFFF;

private:
    /// Ranges that came one after another and start in one chunk.
    struct CGroup {
        std::uint64_t chunk;
        std::size_t first;
        std::size_t count;
    };

    /// Neighbouring chunks that ranges reach into.
    struct CCovered {
        std::uint64_t first;
        std::uint64_t last;
    };

    void Cover(std::uint64_t first, std::uint64_t last);

    std::vector<CRange> m_ranges;
    std::vector<CGroup> m_groups;
    std::vector<CCovered> m_covered;
    std::size_t m_nextGroup = 0;
    std::size_t m_nextCovered = 0;
};

}  // namespace NVHDX

#endif
