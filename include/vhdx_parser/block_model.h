#ifndef VHDX_PARSER_BLOCK_MODEL_H
#define VHDX_PARSER_BLOCK_MODEL_H

/// The in-memory form of a block allocation table (BAT).
///
/// The virtual disk is cut into payload blocks of equal size. `ratio` payload blocks form a chunk,
/// and each chunk of a differencing disk may own one sector bitmap block. Positions in the file are
/// kept in MiB, as the BAT keeps them. All types are values of the caller; a loaded model is not
/// changed by any request and may be read from several threads at once.

#include <array>
#include <cstdint>
#include <ios>
#include <memory>
#include <utility>
#include <vector>

#include <vhdx_parser/platform.h>

namespace NVHDX {

/// One payload entry of the BAT.
struct CPayloadBlock {
    /// What the file holds for the block. `Undefined`, `FullyPresent` and `PartiallyPresent` are
    /// the indexed states: only blocks in these states have data in the file.
    enum EState : std::int32_t {
        NotPresent = 1,
        Undefined = 2,
        Zero = 3,
        Unmapped = 4,
        FullyPresent = 5,
        PartiallyPresent = 6
    };

    std::uint64_t offset = 0;  ///< position of the block's data in the file, in MiB
    EState state = NotPresent;
};

/// The sector bitmap entry of one chunk.
struct CSectorBitmapBlock {
    std::uint64_t offset = 0;  ///< position of the 1 MiB sector bitmap in the file, in MiB
    std::int32_t state = 0;    ///< 2 when the bitmap is present in the file; requests act on 2 only
};

/// The bytes of one sector bitmap block: one bit for each logical sector of the chunk.
using CSectorBitmapArea = std::array<unsigned char, 1048576>;

/// A sector bitmap loaded into memory. Not initialised: 1 MiB that whoever makes one fills anyway.
struct CSectorBitmap {
    CSectorBitmapArea bits;
};

/// One chunk: its payload blocks in BAT order and its sector bitmap block.
///
/// Built in this order: `Init`, then `InitPayloadBlock` for each block or `AddAllPayloadBlocks`
/// once, then `Set` or `SetNoSectorBitmap`. Can be moved, not copied.
class CBlockChunk {
public:
    /// Marks a position whose block has no data in the file.
    static VHDX_PARSER_API const std::uint64_t m_payloadblkcollidxAbsent;

    VHDX_PARSER_API CBlockChunk();

    /// Takes everything but the loaded sector bitmap, which stays with the source: a loaded bitmap
    /// belongs to the place that loaded it. The source is left empty.
    VHDX_PARSER_API CBlockChunk(CBlockChunk&& other) noexcept;

    /// As the move constructor, and both sides keep the loaded sector bitmap that they had.
    /// A chunk that is assigned to itself keeps all but its payload blocks, which end as a vector's
    /// own self-assignment leaves them.
    VHDX_PARSER_API void operator=(CBlockChunk&& other) noexcept;

    VHDX_PARSER_API ~CBlockChunk();

    /// Starts a new index for `slots` block positions, all 0, in place of the old one. Count and
    /// payload blocks stay.
    VHDX_PARSER_API void Init(std::uint32_t slots);

    /// Appends a block. `GetPayloadBlock` will find it only when `state` is an indexed state.
    /// `offset` is in MiB. Past the slots that `Init` made the index grows.
    VHDX_PARSER_API void InitPayloadBlock(CPayloadBlock::EState state, std::uint64_t offset);

    /// Replaces all blocks by those of `payloadBlocks`, which is left empty. `GetPayloadBlock` will
    /// find every one of them, whatever its state (deliberately unlike `InitPayloadBlock`).
    VHDX_PARSER_API void AddAllPayloadBlocks(std::vector<CPayloadBlock>& payloadBlocks);

    /// Takes the sector bitmap block out of `sectorBitmapBlock`; the previous one is destroyed.
    VHDX_PARSER_API void Set(std::unique_ptr<CSectorBitmapBlock>& sectorBitmapBlock);

    /// Says that the disk keeps no sector bitmap for this chunk. Nothing takes that back.
    VHDX_PARSER_API void SetNoSectorBitmap();

    /// False after `SetNoSectorBitmap`, else true, also when there is no sector bitmap block.
    [[nodiscard]] VHDX_PARSER_API bool IsSectorBitmapPresent() const;

    /// The owner of the sector bitmap block, which may be empty.
    [[nodiscard]] VHDX_PARSER_API const std::unique_ptr<CSectorBitmapBlock>& getSectorBitmatBlock()
        const;

    /// Every block that was added, whatever its state, in BAT order.
    [[nodiscard]] VHDX_PARSER_API const std::vector<CPayloadBlock>& getPayloadBlocks() const;

    /// The number of blocks that were added.
    [[nodiscard]] VHDX_PARSER_API std::uint64_t getCount() const;

    /// The block at a position in the chunk; null when it has no data in the file or the position
    /// is at or past `getCount()`. Valid until the chunk changes.
    [[nodiscard]] VHDX_PARSER_API const CPayloadBlock* GetPayloadBlock(
        std::uint64_t position) const;

    /// Reads the chunk's sector bitmap from the file into `area`, or writes `area` over it.
    ///
    /// False, with nothing traced, when the chunk has no sector bitmap block or its state is not 2;
    /// whether `SetNoSectorBitmap` was called does not matter. False after a trace line when the
    /// stream fails; a failed read leaves `area` partly overwritten.
    [[nodiscard]] VHDX_PARSER_API bool LoadSectorBitmap(std::basic_ios<unsigned char>& stream,
                                                        CSectorBitmapArea& area) const;
    [[nodiscard]] VHDX_PARSER_API bool SaveSectorBitmap(std::basic_ios<unsigned char>& stream,
                                                        CSectorBitmapArea& area) const;

    /// The bitmap that was loaded for this chunk, shared with whoever else holds it; may be empty.
    [[nodiscard]] const std::shared_ptr<CSectorBitmap>& getSectorBitmap() const {
        return m_sectorBitmap;
    }
    void SetSectorBitmap(std::shared_ptr<CSectorBitmap> sectorBitmap) {
        m_sectorBitmap = std::move(sectorBitmap);
    }

private:
    friend struct CChunkBlocks;

    std::uint64_t m_count = 0;

    // Which block each position names, without a slot for each of them. The first `m_zeroSlots`
    // positions name block 0: `Init` zeroed their slots under blocks that were there already. The
    // first `m_unconditionalSlots` name the block of the same position, whatever its state. Every
    // other position names the block of the same position when its state has data, else none.
    std::uint64_t m_zeroSlots = 0;
    std::uint64_t m_unconditionalSlots = 0;

    std::vector<CPayloadBlock> m_payloadBlocks;
    std::unique_ptr<CSectorBitmapBlock> m_sectorBitmapBlock;
    bool m_noSectorBitmap = false;
    std::shared_ptr<CSectorBitmap> m_sectorBitmap;
};

/// All chunks of a disk: chunk k covers the payload blocks from k × `ratio` to (k + 1) × `ratio`
/// - 1.
struct CBlocks {
    std::vector<CBlockChunk> chunks;
    std::uint64_t ratio = 0;  ///< payload blocks per chunk: logical sector size × 2^23 ÷ block size
};

/// The geometry of one disk. All ones mark a value that was not read yet.
struct CFileParameters {
    std::uint32_t payloadblksz = 0xFFFFFFFF;        ///< payload block size in bytes
    std::uint16_t logsectsz = 0xFFFF;               ///< logical sector size in bytes
    std::uint64_t virtdisksz = 0xFFFFFFFFFFFFFFFF;  ///< virtual disk size in bytes
    std::uint64_t maxFileOffset = 0;                ///< end of the furthest data block, in bytes
    std::uint64_t lastPayloadBlockIndex = 0;        ///< disk-wide index of that block
    bool requestNewBlockOffset = true;
    bool bDifferencing = false;  ///< the disk has a parent
};

}  // namespace NVHDX

#endif
