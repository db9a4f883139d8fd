#ifndef VHDX_PARSER_TOOLS_VHDX_BLOCK_TABLE_H
#define VHDX_PARSER_TOOLS_VHDX_BLOCK_TABLE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "tools/vhdx/block_summary.h"
#include "tools/vhdx/disk.h"

namespace NTool {

/// The blocks of a disk one after the other, for those who look at each of them once. The block
/// allocation table passes by in pieces, so that memory does not grow with the disk, and what is
/// accepted and said of it is what the library's loading accepts and says.
class CBlockTable {
public:
    using CReport = std::function<void(std::span<const std::uint64_t>)>;

    /// Goes over the table once, and hands it over meanwhile as `ForEach` does. Throws `CFailure`
    /// when it cannot be loaded, which may be found out at its end only.
    explicit CBlockTable(CDisk& disk, const CReport& report = Ignore);

    /// The number of blocks that the disk has.
    std::uint64_t BlockCount() const { return m_blockCount; }
    /// In bytes; what the geometry's records say.
    std::uint64_t BlockSize() const { return m_params.payloadblksz; }
    std::uint64_t VirtualSize() const { return m_params.virtdisksz; }
    /// The end of the furthest data in the file, in bytes.
    std::uint64_t MaxFileOffset() const { return m_params.maxFileOffset; }
    /// The block that has it.
    std::uint64_t LastPayloadBlockIndex() const { return m_params.lastPayloadBlockIndex; }
    const CBlockSummary& Summary() const { return m_summary; }

    /// Hands over the words (`CBlockWord`) of all blocks of the disk, many at a time. Goes over the
    /// table once more.
    void ForEach(const CReport& report);

private:
    static void Ignore(std::span<const std::uint64_t>) {}
    void Load(const CReport& report);
    void LoadModel(const CReport& report);
    void CheckStates(bool badBitmap) const;
    void Pass(const CReport& payload, const CReport& sectorBitmaps);

    CDisk& m_disk;
    NVHDX::CFileParameters m_params;
    std::uint64_t m_ratio = 0;
    std::uint64_t m_blockCount = 0;
    CBlockSummary m_summary;
    std::optional<CModel> m_model;  ///< where it takes the place of the table
};

}  // namespace NTool

#endif
