#ifndef VHDX_DISK_TABLE_RUN_JOINER_H
#define VHDX_DISK_TABLE_RUN_JOINER_H

#include <cstdint>
#include <functional>
#include <span>

#include <vhdx_disk/block_table.h>

namespace NVHDXDisk {

/// Joins the payload entries of a table, from its start to its end, to runs.
class CRunJoiner {
public:
    using CReport = std::function<void(const CBlockRun&)>;

    /// Whether blocks of state Undefined, which read as zeros, are told apart by their places.
    enum EUndefined { hasPlaces, readsAsZeros };

    CRunJoiner(std::uint32_t blockSize, EUndefined undefined, CReport report)
        : m_blockSize(blockSize), m_undefined(undefined), m_report(std::move(report)) {}

    /// The words of the next blocks. Reports the runs that end among them.
    void Add(std::span<const std::uint64_t> words);

    /// Reports the last run.
    void Finish();

private:
    std::size_t Continue(std::span<const std::uint64_t> words);
    void Begin(std::uint64_t word);

    const std::uint32_t m_blockSize;
    const EUndefined m_undefined;
    const CReport m_report;
    std::uint64_t m_next = 0;   ///< index of the next block
    std::uint64_t m_begin = 0;  ///< of the run; that of the next block while there is no run
    std::uint64_t m_first = 0;  ///< word of the run's first block
    /// The next block joins when the bits of `m_mask` are these; they grow from block to block.
    std::uint64_t m_expected = ~std::uint64_t{0};
    std::uint64_t m_mask = 0;
    std::uint64_t m_stride = 0;
};

}  // namespace NVHDXDisk

#endif
