#ifndef VHDX_PARSER_TOOLS_VHDX_BLOCK_RUNS_H
#define VHDX_PARSER_TOOLS_VHDX_BLOCK_RUNS_H

#include <cstdint>
#include <functional>
#include <span>

#include "tools/vhdx/disk.h"

namespace NTool {

/// Neighbouring blocks of one state whose data also follow one another in the file.
struct CBlockRun {
    std::uint64_t start = 0;   ///< bytes from the start of the virtual disk
    std::uint64_t length = 0;  ///< bytes
    NVHDX::CPayloadBlock::EState state = NVHDX::CPayloadBlock::NotPresent;
    std::uint64_t fileOffset = 0;  ///< bytes; meaningful when `HasData()`

    bool HasData() const;
};

bool HasData(NVHDX::CPayloadBlock::EState state);

/// False when no block that the range [offset, offset + length) touches has data in the file.
bool HasData(const CModel& model, std::uint64_t offset, std::uint64_t length);

/// Joins the blocks of a disk, from its start to its end, to runs. The last run ends with the disk,
/// not with its last block; blocks past the disk's end belong to no run.
class CBlockRuns {
public:
    using CReport = std::function<void(const CBlockRun&)>;

    CBlockRuns(std::uint64_t blockSize, std::uint64_t virtualSize, CReport report);

    /// The words (`CBlockWord`) of the next blocks. Reports the runs that end among them.
    void Add(std::span<const std::uint64_t> words);

    /// Reports the last run.
    void Finish();

private:
    std::size_t Continue(std::span<const std::uint64_t> words);
    void Begin(std::uint64_t word);

    std::uint64_t m_blockSize;
    std::uint64_t m_virtualSize;
    CReport m_report;
    std::uint64_t m_blocksLeft;
    std::uint64_t m_start = 0;     ///< of the next block, in bytes
    std::uint64_t m_runStart = 0;  ///< of the run; that of the next block while there is no run
    std::uint64_t m_first = 0;     ///< word of the run's first block
    /// The next block joins when the bits of `m_mask` are these; they grow from block to block.
    std::uint64_t m_expected = ~std::uint64_t{0};
    std::uint64_t m_mask = 0;
    std::uint64_t m_stride = 0;
};

}  // namespace NTool

#endif
