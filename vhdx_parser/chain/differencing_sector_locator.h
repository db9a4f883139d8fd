#ifndef VHDX_PARSER_CHAIN_DIFFERENCING_SECTOR_LOCATOR_H
#define VHDX_PARSER_CHAIN_DIFFERENCING_SECTOR_LOCATOR_H

/// Where the sectors of one chunk lie in one file of a chain.

#include <cstdint>
#include <stdexcept>

#include <vhdx_parser/block_model.h>

#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/chain/differencing_sector_bits.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

/// Neighbouring sectors that one payload block answers for.
struct CSectorStretch {
    std::uint64_t first = 0;
    std::uint64_t end = 0;   ///< one past the last
    bool isPresent = false;  ///< the file holds the sectors, or those that `bits` says
    const CSectorBitmapArea* bits = nullptr;  ///< null: all or none of them
    std::uint64_t offset = 0;                 ///< position of `first` in the file, in bytes

    bool Covers(std::uint64_t sector) const { return first <= sector && sector < end; }
};

/// Locates the sectors of one chunk. Remembers the payload block of the last answer, so that
/// neighbouring sectors cost no second look-up. The model must outlive it.
///
/// The sector's position in the chunk, sector size × sector number, is a product of 32 bits that
/// wraps, deliberately: with sectors of 1 KiB and more the numbers beyond 4 GiB are answered from
/// the chunk's first blocks again.
class CSectorLocator {
public:
    CSectorLocator(const CBlocks& blocks, const CFileParameters& params, std::uint64_t chunkIndex);

    /// The stretch that holds the sector and begins at it or before.
    const CSectorStretch& StretchOf(std::uint64_t sector) {
        if (!m_stretch.Covers(sector)) {
            MoveTo(sector);
        }
        return m_stretch;
    }

    std::uint64_t SectorSize() const { return m_sectorSize; }

    /// Whether the file holds the sector, and its position. Sector numbers past the chunk are asked
    /// for as well; with a bitmap they raise `std::out_of_range`.
    bool Locate(std::uint64_t sector, std::uint64_t& offset) {
        const CSectorStretch& stretch = StretchOf(sector);
        if (!stretch.isPresent || (stretch.bits != nullptr && !IsSet(*stretch.bits, sector))) {
            return false;
        }
        offset = stretch.offset + (sector - stretch.first) * m_sectorSize;
        return true;
    }

private:
    static bool IsSet(const CSectorBitmapArea& bits, std::uint64_t sector) {
        if (sector >= SectorsPerChunk) {
            throw std::out_of_range("invalid array<T, N> subscript");
        }
        return IsSectorSet(bits, sector);
    }

    void MoveTo(std::uint64_t sector);
    std::uint64_t SectorsUpTo(std::uint64_t bytes) const;
    void LookUpBlock(std::uint64_t position, std::uint64_t byteInBlock);

    const CBlockChunk* m_chunk = nullptr;  ///< null when the file does not have the chunk
    std::uint32_t m_blockSize;
    std::uint32_t m_sectorSize;
    CSectorStretch m_stretch;
};

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX

#endif
