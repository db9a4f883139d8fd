#ifndef VHDX_DISK_TABLE_TABLE_ENTRIES_H
#define VHDX_DISK_TABLE_TABLE_ENTRIES_H

/// The entries of a block allocation table, one after the other: the one walk over a table.

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/source.h>

namespace NVHDXDisk {

/// Entries that follow one another in the table: payload entries of one chunk, or the sector bitmap
/// entry behind them.
struct CTablePiece {
    bool isBitmap = false;
    std::uint64_t index = 0;     ///< of the first payload block, or of the chunk
    std::uint64_t position = 0;  ///< of the first entry in the file, in bytes; 0 outside of a file
    std::span<const std::uint64_t> words;
};

/// Returns false to end the walk.
using CTablePieceCallback = std::function<bool(const CTablePiece&)>;

class ITableEntries {
public:
    virtual ~ITableEntries() = default;

    /// The entries from the start of a chunk on, of `chunks` chunks or as many as there are. False,
    /// with the reason in `failure`, when they cannot be read.
    [[nodiscard]] virtual bool ForEach(std::uint64_t firstChunk, std::uint64_t chunks,
                                       const CTablePieceCallback& callback,
                                       CFailure& failure) const = 0;

    [[nodiscard]] bool ForEach(const CTablePieceCallback& callback, CFailure& failure) const {
        return ForEach(0, ~std::uint64_t{0}, callback, failure);
    }
};

/// The `count` entries at a position of the source, 64 KiB at a time.
class CEntriesInFile final : public ITableEntries {
public:
    CEntriesInFile(CSourcePointer source, std::uint64_t position, std::uint64_t count,
                   std::uint64_t ratio)
        : m_source(std::move(source)), m_position(position), m_count(count), m_ratio(ratio) {}

    using ITableEntries::ForEach;
    bool ForEach(std::uint64_t firstChunk, std::uint64_t chunks,
                 const CTablePieceCallback& callback, CFailure& failure) const override;

private:
    bool Split(std::span<const std::uint64_t> words, std::uint64_t entry,
               const CTablePieceCallback& callback) const;

    CSourcePointer m_source;
    std::uint64_t m_position;
    std::uint64_t m_count;
    std::uint64_t m_ratio;
};

/// The entries that a model stands for, those of sector bitmaps too.
class CEntriesOfModel final : public ITableEntries {
public:
    explicit CEntriesOfModel(std::shared_ptr<const NVHDX::CBlocks> blocks)
        : m_blocks(std::move(blocks)) {}

    using ITableEntries::ForEach;
    bool ForEach(std::uint64_t firstChunk, std::uint64_t chunks,
                 const CTablePieceCallback& callback, CFailure& failure) const override;

private:
    std::shared_ptr<const NVHDX::CBlocks> m_blocks;
};

/// How many entries the table of a disk has: without a parent it ends with the last block.
[[nodiscard]] std::uint64_t EntryCount(const CGeometry& geometry);

/// The table of an opened container. None, with the reason in `failure`, when its region has no
/// room for what the geometry asks for.
[[nodiscard]] std::shared_ptr<const ITableEntries> FindTable(const CSourcePointer& source,
                                                             const CGeometry& geometry,
                                                             CFailure& failure);

/// What is said of a disk whose geometry is one, and whose table cannot be loaded.
inline constexpr const char* NoBlockTable =
    "the block allocation table is too short, cannot be read or has an impossible entry";

}  // namespace NVHDXDisk

#endif
