#ifndef VHDX_DISK_BLOCK_TABLE_H
#define VHDX_DISK_BLOCK_TABLE_H

/// The block allocation table of one file, read in pieces: memory does not grow with the disk.

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/block_model.h>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/source.h>

namespace NVHDXDisk {

/// What the metadata of a file say of its blocks, whatever the table says.
struct CGeometry {
    std::uint32_t blockSize = 0;          ///< bytes
    std::uint16_t logicalSectorSize = 0;  ///< bytes
    std::uint64_t virtualSize = 0;        ///< bytes
    std::uint64_t ratio = 0;              ///< payload blocks in a chunk
    bool hasParent = false;

    /// Blocks of the disk, the last one perhaps cut short.
    [[nodiscard]] std::uint64_t BlockCount() const {
        return virtualSize / blockSize + (virtualSize % blockSize == 0 ? 0 : 1);
    }
    [[nodiscard]] std::uint64_t ChunkCount() const {
        return BlockCount() / ratio + (BlockCount() % ratio == 0 ? 0 : 1);
    }
};

/// Reads the geometry of an opened container, before anything makes room for the table that it asks
/// for. False, with the reason in `failure`, when a part of it cannot be read or no disk can have
/// it: blocks are a power of two from 1 MiB to 256 MiB, sectors 512 or 4096 bytes, disks at most 64
/// TiB. `file` is for the message.
[[nodiscard]] VHDX_DISK_API bool ReadGeometry(const NVHDX::CAccessor& accessor,
                                              std::basic_istream<unsigned char>& stream,
                                              const std::filesystem::path& file,
                                              CGeometry& geometry, CFailure& failure);

/// Whether blocks of this state own space in the file; those of state Undefined read as zeros all
/// the same.
[[nodiscard]] inline bool HasData(NVHDX::CPayloadBlock::EState state) {
    return state == NVHDX::CPayloadBlock::Undefined ||
           state == NVHDX::CPayloadBlock::FullyPresent ||
           state == NVHDX::CPayloadBlock::PartiallyPresent;
}

/// Neighbouring blocks of one state whose data, if any, also lie one behind the other in the file.
struct CBlockRun {
    std::uint64_t firstBlock = 0;
    std::uint64_t count = 0;
    NVHDX::CPayloadBlock::EState state = NVHDX::CPayloadBlock::NotPresent;
    std::uint64_t position = 0;  ///< of the first block's data in the file, in bytes; see `HasData`

    [[nodiscard]] bool HasData() const { return NVHDXDisk::HasData(state); }
};

/// Returns false to end the walk.
using CBlockRunCallback = std::function<bool(const CBlockRun&)>;

/// Immutable once opened; any number of threads.
class CBlockTable {
public:
    /// Whether the runs of a table are wanted at once, which saves a second pass over most tables.
    enum ERuns : std::int32_t { runsWanted, runsNotWanted };

    /// Reads the table of an opened container once, from the source that
    /// `CReplayedStream::Replayed` names. Null, with the reason in `failure`, for what
    /// `CAccessor::LoadBlocks` refuses: a table that is too short, cannot be read or has an entry
    /// whose state its place does not allow.
    [[nodiscard]] static VHDX_DISK_API std::shared_ptr<const CBlockTable> Open(
        const CSourcePointer& replayed, const CGeometry& geometry, ERuns runs, CFailure& failure);

    /// The table that a model of the whole disk stands for; null for one whose blocks or chunks
    /// have no size.
    [[nodiscard]] static VHDX_DISK_API std::shared_ptr<const CBlockTable> Of(
        std::shared_ptr<const NVHDX::CBlocks> blocks, const NVHDX::CFileParameters& parameters);

    VHDX_DISK_API ~CBlockTable();

    /// As `CAccessor::LoadBlocks` gives them.
    [[nodiscard]] VHDX_DISK_API const NVHDX::CFileParameters& Parameters() const;
    /// Blocks of the disk, and how many of them have the state.
    [[nodiscard]] VHDX_DISK_API std::uint64_t BlockCount() const;
    [[nodiscard]] VHDX_DISK_API std::uint64_t Count(NVHDX::CPayloadBlock::EState state) const;

    /// Reports all blocks of the disk in order, as runs that are as long as can be. Goes over the
    /// table once more where it was opened without runs or has more than 65,536 of them. False,
    /// with the reason in `failure`, when it cannot be read any more.
    [[nodiscard]] VHDX_DISK_API bool Runs(const CBlockRunCallback& callback,
                                          CFailure& failure) const;

    /// Fills `blocks` for the chunks that hold a part of [offset, offset + length) of the disk, as
    /// `CAccessor::LoadBlocks` would; the other chunks stay empty, so that only requests inside the
    /// range may be made of it. Takes memory for the range. False as `Runs`, and for a range that
    /// is not inside the disk.
    [[nodiscard]] VHDX_DISK_API bool LoadBlocks(NVHDX::CBlocks& blocks, std::uint64_t offset,
                                                std::uint64_t length, CFailure& failure) const;

private:
    CBlockTable();

    struct CParts;
    std::unique_ptr<CParts> m_parts;
};

}  // namespace NVHDXDisk

#endif
